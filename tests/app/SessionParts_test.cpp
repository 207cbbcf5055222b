// What the settings mean to the backend and to the session, also when they are changed back.
#include "input/CGEventTapInputBackend.h"
#include "zoom/SessionHarness.h"

namespace lentora::test {
namespace {

using Pinch = SwallowInterest::Pinch;

TEST_F(SessionTest, TheSettingsDecideWhatTheBackendListensTo) {
    const auto listener = CGEventTapInputBackend::create(
        {desktop.eventTap, desktop.mainQueue, desktop.executor, desktop.timeline, log},
        TapLocation::session);
    const Settings settings(desktop.defaults);
    const auto interest = [&] {
        applySettings(settings, *listener);
        return listener->swallowInterest();
    };
    EXPECT_EQ(interest().shortcut, std::nullopt);
    EXPECT_EQ(interest().pinch, Pinch::withGate);

    desktop.defaults.setValue("keyboardEnabled", true);
    desktop.defaults.setValue("trackpadEnabled", false);
    desktop.defaults.setValue("gateModifier", std::string("control"));
    EXPECT_EQ(interest().shortcut, settings.hotKey());
    EXPECT_EQ(interest().pinch, Pinch::never);
    EXPECT_EQ(interest().gate, GateModifier::control);

    desktop.defaults.setValue("keyboardEnabled", false);
    EXPECT_EQ(interest().shortcut, std::nullopt);
}

TEST_F(SessionTest, TheSettingsDecideHowLargeALensOpens) {
    desktop.defaults.setValue("fixedZoomLevel", 9.0);
    desktop.defaults.setValue("gateModifier", std::string("control"));
    applySettings(Settings(desktop.defaults), strings, *zoom);
    EXPECT_EQ(zoom->fixedZoom, 4) << "no larger than the largest zoom";
    EXPECT_EQ(zoom->maxZoom, 4);
    EXPECT_FALSE(zoom->continuousZoom);
    EXPECT_EQ(zoom->gateName, displayName(GateModifier::control, strings));
}

} // namespace
} // namespace lentora::test
