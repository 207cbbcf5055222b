#include "platform/x11/GrabPlan.h"
#include "platform/x11/InputDevices.h"
#include "platform/x11/KeyboardMap.h"
#include "platform/x11/ModifierTracker.h"

#include <X11/keysym.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace lentora::x11 {
namespace {

using testing::ElementsAre;

// A PC keyboard with what a test says about some of its keys.
KeyboardMap mapWith(const std::map<int, xcb_keysym_t>& keysyms) {
    KeyboardMap::Mapping mapping;
    mapping.keysymsPerKeycode = 1;
    mapping.keysyms.resize(248);
    std::map<int, xcb_keysym_t> all{{9, XK_Escape},     {37, XK_Control_L}, {50, XK_Shift_L},
                                    {64, XK_Alt_L},     {66, XK_Caps_Lock}, {77, XK_Num_Lock},
                                    {108, XK_Alt_R},    {133, XK_Super_L},  {52, XK_z},
                                    {105, XK_Control_R}};
    for (const auto& [keycode, keysym] : keysyms)
        all[keycode] = keysym;
    for (const auto& [keycode, keysym] : all)
        mapping.keysyms[static_cast<std::size_t>(keycode - 8)] = keysym;
    mapping.modifiers = {{{50}, {66}, {37, 105}, {64}, {77}, {}, {133}, {108}}};
    return KeyboardMap(mapping);
}

TEST(KeyboardMap, TellsSidesByTheKey) {
    const KeyboardMap map = mapWith({{108, XK_ISO_Level3_Shift}});
    EXPECT_EQ(map.modifierFlags(64), eventFlag::option | eventFlag::leftOption);
    EXPECT_EQ(map.modifierFlags(108), eventFlag::option | eventFlag::rightOption);
    EXPECT_EQ(map.modifierFlags(133), eventFlag::command | eventFlag::leftCommand);
    EXPECT_EQ(map.modifierFlags(52), 0U);
    EXPECT_EQ(map.masksOf(eventFlag::option), XCB_MOD_MASK_1 | XCB_MOD_MASK_5);
    EXPECT_EQ(map.lockMasks(), XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2);
}

TEST(KeyboardMap, KnowsKeysByTheirPlaceAndEscapeByItsMeaning) {
    const KeyboardMap map = mapWith({});
    EXPECT_EQ(map.coreKeyCode(9), 53);
    EXPECT_EQ(map.coreKeyCode(23), 48);
    EXPECT_EQ(map.coreKeyCode(46), 37);
    EXPECT_EQ(map.coreKeyCode(52), 6);
    EXPECT_EQ(map.coreKeyCode(65), 49);
    EXPECT_EQ(map.coreKeyCode(119), 117);
    EXPECT_EQ(map.coreKeyCode(8), std::nullopt);

    const KeyboardMap swapped = mapWith({{66, XK_Escape}, {9, XK_Caps_Lock}});
    EXPECT_THAT(swapped.keycodesOf(53), ElementsAre(66));
    EXPECT_EQ(swapped.coreKeyCode(9), std::nullopt);
}

TEST(KeyboardMap, SurvivesMappingsThatContradictThemselves) {
    KeyboardMap::Mapping mapping;
    mapping.firstKeycode = 250;
    mapping.keysymsPerKeycode = 3;
    mapping.keysyms.assign(100, XK_Alt_L);
    EXPECT_NE(KeyboardMap(mapping).modifierFlags(255), 0U);
    mapping.keysymsPerKeycode = 0;
    EXPECT_EQ(KeyboardMap(mapping).modifierFlags(255), 0U);
}

TEST(ModifierTracker, TakesTheServersWordAndLetsGoOfWhatIsNoModifierAnyMore) {
    const KeyboardMap map = mapWith({});
    ModifierTracker tracker;
    tracker.keyChanged(64, true, map);
    tracker.keyChanged(108, true, map);
    tracker.keyChanged(52, true, map);
    EXPECT_EQ(tracker.flags(map), 0x80060U);
    std::array<std::uint8_t, 32> keys{};
    keys[108 / 8] = 1 << 108 % 8;
    keys[52 / 8] = 1 << 52 % 8;
    tracker.keysAre(keys, map);
    EXPECT_EQ(tracker.flags(map), 0x80040U);
    const KeyboardMap changed = mapWith({{108, XK_a}});
    tracker.keyChanged(108, false, changed);
    EXPECT_FALSE(tracker.isAnyDown());
}

std::size_t countOf(const std::set<Grab>& grabs, Grab::Kind kind) {
    return static_cast<std::size_t>(
        std::ranges::count_if(grabs, [&](const Grab& grab) { return grab.kind == kind; }));
}

TEST(GrabPlan, TakesTheGateByTheServersStateUnlessItHasASide) {
    const KeyboardMap map = mapWith({});
    SwallowInterest interest;
    interest.pinch = SwallowInterest::Pinch::withGate;
    const auto both = planGrabs(interest, map, false);
    // Every mask with Mod1 or Mod5.
    EXPECT_EQ(countOf(both, Grab::Kind::pinch), 192U);
    EXPECT_TRUE(both.contains({Grab::Kind::pinch, 0, XCB_MOD_MASK_1 | XCB_MOD_MASK_LOCK}));
    EXPECT_FALSE(both.contains({Grab::Kind::pinch, 0, XCB_MOD_MASK_CONTROL}));

    interest.gate = GateModifier::optionLeft;
    EXPECT_TRUE(planGrabs(interest, map, true).empty());
    interest.gateHeld = true;
    const auto held = planGrabs(interest, map, true);
    EXPECT_EQ(countOf(held, Grab::Kind::pinch), 192U);
    EXPECT_EQ(countOf(held, Grab::Kind::button), 2 * 192U);

    // No key of this keyboard has the modifier of its own that the server could go by.
    interest.gate = GateModifier::fn;
    EXPECT_TRUE(
        planGrabs(interest, map, false).contains({Grab::Kind::pinch, 0, Grab::anyModifier}));
}

TEST(GrabPlan, TakesTheShortcutWithEveryLockAndEscapeWithAnything) {
    const KeyboardMap map = mapWith({});
    SwallowInterest interest;
    interest.shortcut = HotKey{};
    auto grabs = planGrabs(interest, map, false);
    EXPECT_EQ(grabs.size(), 4U);
    const std::uint32_t exact = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT;
    EXPECT_TRUE(grabs.contains({Grab::Kind::key, 52, exact, true}));
    EXPECT_TRUE(
        grabs.contains({Grab::Kind::key, 52, exact | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2, true}));
    interest.escape = true;
    grabs = planGrabs(interest, map, false);
    EXPECT_TRUE(grabs.contains({Grab::Kind::key, 9, Grab::anyModifier}));
}

// Device records as the server sends them.
class Records {
public:
    Records& device(bool enabled, std::uint16_t classes, const std::string& name) {
        put(2), put(3), put(0), put(classes), put(static_cast<std::uint16_t>(name.size()));
        bytes.push_back(enabled ? 1 : 0);
        bytes.push_back(0);
        bytes.insert(bytes.end(), name.begin(), name.end());
        bytes.resize((bytes.size() + 3) / 4 * 4);
        return *this;
    }
    Records& deviceClass(std::uint16_t type, std::uint16_t words) {
        put(type), put(words);
        bytes.resize(bytes.size() + (words - std::size_t{1}) * 4);
        return *this;
    }

    std::vector<std::uint8_t> bytes;

private:
    void put(std::uint16_t value) {
        bytes.push_back(static_cast<std::uint8_t>(value));
        bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    }
};

TEST(InputDevices, FindsPinchesBehindClassesItDoesNotKnow) {
    Records records;
    records.device(true, 2, "mouse").deviceClass(1, 4).deviceClass(77, 6);
    EXPECT_FALSE(anyReportsPinches(records.bytes, 1));
    records.device(false, 1, "off").deviceClass(9, 2);
    EXPECT_FALSE(anyReportsPinches(records.bytes, 2));
    records.device(true, 2, "touchpad").deviceClass(2, 11).deviceClass(9, 2);
    EXPECT_TRUE(anyReportsPinches(records.bytes, 3));
}

TEST(InputDevices, StopsAtRecordsThatContradictTheirLengths) {
    Records records;
    records.device(true, 2, "touchpad").deviceClass(2, 11).deviceClass(9, 2);
    for (std::size_t size = 0; size < records.bytes.size(); ++size) {
        const std::vector<std::uint8_t> cut(
            records.bytes.begin(), records.bytes.begin() + static_cast<std::ptrdiff_t>(size));
        anyReportsPinches(cut, 1);
    }
    Records endless;
    endless.device(true, 1000, "x").deviceClass(2, 1);
    endless.bytes[endless.bytes.size() - 2] = 0;
    EXPECT_FALSE(anyReportsPinches(endless.bytes, 1000));
}

} // namespace
} // namespace lentora::x11
