#include "platform/sim/SimDesktop.h"
#include "support/Settings.h"

#include <gtest/gtest.h>

namespace lentora {
namespace {

class SettingsTest : public testing::Test {
protected:
    void store(const char* key, DefaultsValue value) { defaults.setValue(key, std::move(value)); }
    void storeShortcut(DefaultsValue code, DefaultsValue modifiers, DefaultsValue label) {
        store("hotkeyKeyCode", std::move(code));
        store("hotkeyModifiers", std::move(modifiers));
        store("hotkeyLabel", std::move(label));
    }

    sim::SimDefaults defaults;
    Settings settings{defaults};
};

using Integer = std::int64_t;

TEST_F(SettingsTest, AFreshStoreReadsAsTheDefaults) {
    EXPECT_EQ(settings.gate(), GateModifier::option);
    EXPECT_FALSE(settings.keyboardEnabled());
    EXPECT_TRUE(settings.trackpadEnabled());
    EXPECT_EQ(settings.hotKey(), (HotKey{6, 0x60000, "Z"}));
}

TEST_F(SettingsTest, TheGateIsNeverCommand) {
    store("gateModifier", std::string("optionRight"));
    EXPECT_EQ(settings.gate(), GateModifier::optionRight);
    store("gateModifier", std::string("command"));
    EXPECT_EQ(settings.gate(), GateModifier::option);
    store("gateModifier", Integer{3});
    EXPECT_EQ(settings.gate(), GateModifier::option);
}

TEST_F(SettingsTest, ABooleanOfAnotherTypeReadsAsItsDefault) {
    store("keyboardEnabled", std::string("true"));
    store("trackpadEnabled", Integer{0});
    EXPECT_FALSE(settings.keyboardEnabled());
    EXPECT_TRUE(settings.trackpadEnabled());
    store("keyboardEnabled", true);
    store("trackpadEnabled", false);
    EXPECT_TRUE(settings.keyboardEnabled());
    EXPECT_FALSE(settings.trackpadEnabled());
}

TEST_F(SettingsTest, AShortcutThatMakesNoSenseReadsAsTheDefault) {
    const HotKey usual;
    storeShortcut(Integer{40}, Integer{0x180000}, std::string("K"));
    EXPECT_EQ(settings.hotKey(), (HotKey{40, 0x180000, "K"}));
    storeShortcut(40.0, 1572864.0, std::string("K"));
    EXPECT_EQ(settings.hotKey(), (HotKey{40, 0x180000, "K"}));
    storeShortcut(Integer{70000}, Integer{0x180000}, std::string("K"));
    EXPECT_EQ(settings.hotKey(), usual);
    storeShortcut(Integer{-1}, Integer{0x180000}, std::string("K"));
    EXPECT_EQ(settings.hotKey(), usual);
    storeShortcut(Integer{40}, Integer{-1}, std::string("K"));
    EXPECT_EQ(settings.hotKey(), usual);
    storeShortcut(Integer{40}, Integer{0x20000}, std::string("K"));
    EXPECT_EQ(settings.hotKey(), usual);
    storeShortcut(Integer{40}, Integer{0x180000}, std::string());
    EXPECT_EQ(settings.hotKey(), usual);
    storeShortcut(40.5, Integer{0x180000}, std::string("K"));
    EXPECT_EQ(settings.hotKey(), usual);
    storeShortcut(1e300, Integer{0x180000}, std::string("K"));
    EXPECT_EQ(settings.hotKey(), usual);
}

} // namespace
} // namespace lentora
