// Small operations on UTF-8 text that do not depend on the process's locale.
#pragma once

#include <string>
#include <string_view>

namespace lentora::text {

/// `text` without the white space and line ends at both ends (ASCII and U+00A0, U+2000–U+200A,
/// U+2028, U+2029, U+202F, U+205F, U+3000, U+0085).
std::string_view trimmed(std::string_view text);

/// `text` in upper case: ASCII, Latin, Greek and Cyrillic letters that a key can carry; "ß"
/// becomes "SS". Bytes that are no valid UTF-8 stay as they are.
std::string upperCased(std::string_view text);

/// `text` with ASCII letters in lower case.
std::string asciiLowerCased(std::string_view text);

/// Foreign text made safe to print and to log: valid UTF-8 on one line. What is no valid UTF-8
/// becomes U+FFFD, except a character that the end of the text cuts off, which goes. Tabs and line
/// ends become spaces; other control characters, and those that turn the direction of writing,
/// go.
std::string printable(std::string_view text);

/// Latin-1 as UTF-8.
std::string fromLatin1(std::string_view text);

/// `text` with its control characters written as "\\u000A", so that it stays on its line.
std::string onOneLine(std::string_view text);

/// `value` with a fixed number of decimals and a decimal point in every locale.
std::string fixed(double value, int decimals);

/// `seconds` in milliseconds, cut off to a whole number.
std::string wholeMilliseconds(double seconds);

/// `format` with its first "{}" replaced by `argument`; without one, as it is.
std::string filled(std::string_view format, std::string_view argument);

} // namespace lentora::text
