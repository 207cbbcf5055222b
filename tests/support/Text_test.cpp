#include "support/Text.h"

#include <gtest/gtest.h>

namespace lentora::text {
namespace {

TEST(Text, UpperCasesWhatKeysCarry) {
    EXPECT_EQ(upperCased("az09;é÷ßÿ"), "AZ09;É÷SSŸ");
    EXPECT_EQ(upperCased("āčłžĳŉ"), "ĀČŁŽĲŉ");
    EXPECT_EQ(upperCased("αςωЖжыђ"), "ΑΣΩЖЖЫЂ");
    EXPECT_EQ(upperCased("ışțơưəәөӣӯήµ"), "IŞȚƠƯƏӘӨӢӮΉΜ");
    EXPECT_EQ(upperCased("日本"), "日本");
}

TEST(Text, LeavesBrokenTextAsItIs) {
    EXPECT_EQ(upperCased("a\xC3"), "A\xC3");
    EXPECT_EQ(upperCased("\xF0\x9F\x98"), "\xF0\x9F\x98");
    EXPECT_EQ(upperCased("\xC0\xAF\xFFz"), "\xC0\xAF\xFFZ");
    EXPECT_EQ(trimmed(" \xE2\x80 "), "\xE2\x80");
}

TEST(Text, TrimsUnicodeSpaceAtTheEndsOnly) {
    EXPECT_EQ(trimmed("\u2003\n a b\u3000"), "a b");
    EXPECT_EQ(trimmed(" \u2028"), "");
    EXPECT_EQ(trimmed(""), "");
}

TEST(Text, PrintableIsValidTextOnOneLineWhateverComes) {
    EXPECT_EQ(printable("a\tb\r\nc\u2028d\u00A0e"), "a b  c d e");
    EXPECT_EQ(printable("\x1B[1m\u0085\u009B\u202Ex\u2066y\u200F"), "[1m xy");
    // Halves of pairs, what is longer than it has to be, beyond the last character.
    EXPECT_EQ(printable("\xED\xA0\x80."), "\uFFFD\uFFFD\uFFFD.");
    EXPECT_EQ(printable("\xE0\x80\xAF."), "\uFFFD\uFFFD\uFFFD.");
    EXPECT_EQ(printable("\xF4\x90\x80\x80."), "\uFFFD\uFFFD\uFFFD\uFFFD.");
    EXPECT_EQ(printable("\xC3(\xFF\x80"), "\uFFFD(\uFFFD\uFFFD");
    // Cut off in the middle of a character.
    EXPECT_EQ(printable("é\xC3"), "é");
    EXPECT_EQ(printable("\xF0\x9F\x98"), "");
    EXPECT_EQ(printable("\xF0\x9F("), "\uFFFD\uFFFD(");
    EXPECT_EQ(fromLatin1("a\xE9\x80"), "a\u00E9\u0080");
}

TEST(Text, FixedRoundsTheExactValueAndHasRoomForEveryDouble) {
    EXPECT_EQ(fixed(0.04, 3), "0.040");
    EXPECT_EQ(fixed(-1234567.0625, 3), "-1234567.062");
    EXPECT_EQ(fixed(1e300, 1).size(), 303U);
}

TEST(Text, ControlCharactersStayOnTheLine) {
    EXPECT_EQ(onOneLine("a\nb\x1B[31m\x7F è"), "a\\u000Ab\\u001B[31m\\u007F è");
}

} // namespace
} // namespace lentora::text
