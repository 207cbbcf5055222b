#include "input/GateModifier.h"
#include "input/HotKey.h"
#include "input/InputBackend.h"
#include "support/StringTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lentora {
namespace {

TEST(GateModifier, IsReadFromItsExactName) {
    for (const GateModifier gate : allGateModifiers())
        EXPECT_EQ(gateModifierFromRawValue(rawValue(gate)), gate);
    EXPECT_EQ(gateModifierFromRawValue("optionLeft"), GateModifier::optionLeft);
    EXPECT_EQ(gateModifierFromRawValue("Option"), std::nullopt);
    EXPECT_EQ(gateModifierFromRawValue(""), std::nullopt);
}

TEST(GateModifier, SidesAreToldApartAndFamiliesAreNot) {
    const EventFlags right = 0x80000 | 0x40;
    EXPECT_FALSE(isHeld(GateModifier::optionLeft, right));
    EXPECT_TRUE(isHeld(GateModifier::optionRight, right));
    EXPECT_TRUE(isHeld(GateModifier::option, right | 0x100000));
    EXPECT_TRUE(isHeld(GateModifier::controlRight, 0x2000));
    EXPECT_FALSE(isHeld(GateModifier::controlLeft, 0x40000 | 0x2000));
    EXPECT_EQ(familyMask(GateModifier::optionLeft), 0x80060U);
    EXPECT_EQ(familyMask(GateModifier::controlRight), 0x42001U);
    EXPECT_EQ(familyMask(GateModifier::command), 0x100018U);
    EXPECT_EQ(familyMask(GateModifier::shift), 0x20006U);
    EXPECT_EQ(familyMask(GateModifier::fn), 0x800000U);
}

TEST(GateModifier, ThePreferencesOfferAllButCommand) {
    using enum GateModifier;
    EXPECT_THAT(selectableGateModifiers(),
                testing::ElementsAre(option, optionLeft, optionRight, control, controlLeft,
                                     controlRight, shift, fn));
}

TEST(GateModifier, HasANameInEveryLanguageAndItsKeyAsTheLastResort) {
    for (const GateModifier gate : allGateModifiers()) {
        const std::string key = displayName(gate, StringTable(Locale::keys));
        EXPECT_EQ(key, "gate." + std::string(rawValue(gate)));
        for (const Locale locale : {Locale::en, Locale::it, Locale::es})
            EXPECT_NE(displayName(gate, StringTable(locale)), key);
    }
    EXPECT_EQ(StringTable(Locale::en).text("no.such.key"), "no.such.key");
}

TEST(HotKey, ShowsItsModifiersInAFixedOrder) {
    EXPECT_EQ(HotKey{}.display(), "⌃⇧Z");
    EXPECT_EQ((HotKey{0, 0x1E0000, "A"}.display()), "⌃⌥⇧⌘A");
    EXPECT_EQ((HotKey{40, 0x1A0000, "K"}.display()), "⌥⇧⌘K");
}

TEST(HotKey, LabelsKeysByNameOrByWhatTheyType) {
    const StringTable strings(Locale::en);
    EXPECT_EQ(HotKey::label(49, " ", StringTable(Locale::keys)), "key.space");
    EXPECT_EQ(HotKey::label(49, " ", strings), "Space");
    EXPECT_EQ(HotKey::label(36, "\r", strings), "↩");
    EXPECT_EQ(HotKey::label(111, "", strings), "F12");
    EXPECT_EQ(HotKey::label(0, "a", strings), "A");
    EXPECT_EQ(HotKey::label(41, " ö\n", strings), "Ö");
    EXPECT_EQ(HotKey::label(0, " \t\u00A0", strings), "");
    EXPECT_NE((HotKey{6, 0x60000, "Z"}), (HotKey{6, 0x60000, "z"}));
}

TEST(BackendKind, IsReadFromItsExactName) {
    EXPECT_EQ(backendKindFromRawValue("tapHID"), BackendKind::tapHID);
    EXPECT_EQ(backendKindFromRawValue("nseventGlobal"), BackendKind::nseventGlobal);
    EXPECT_EQ(backendKindFromRawValue("taphid"), std::nullopt);
}

} // namespace
} // namespace lentora
