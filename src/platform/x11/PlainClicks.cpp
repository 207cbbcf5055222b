#include "platform/x11/PlainClicks.h"

#include "platform/x11/XInput.h"

#include <xcb/xtest.h>

#include <algorithm>

namespace lentora::x11 {

namespace {

// Events of XInput 1, counted from the extension's first event. XTEST takes them for events of
// one device; the device's number goes with them.
constexpr std::uint8_t deviceKeyPress = 1;
constexpr std::uint8_t deviceKeyRelease = 2;
constexpr std::uint8_t deviceButtonPress = 3;
constexpr std::uint8_t deviceButtonRelease = 4;

} // namespace

std::unique_ptr<PlainClicks> PlainClicks::open(const Connection& connection) {
    const auto xinput = connection.extension(xcb_input_id);
    if (!xinput || !connection.extension(xcb_test_id))
        return nullptr;
    return std::unique_ptr<PlainClicks>(new PlainClicks(connection, xinput->firstEvent));
}

void PlainClicks::passOn(const xcb_input_button_press_event_t& press, EventFlags taken,
                         const ModifierTracker& modifiers, const KeyboardMap& map,
                         PassiveGrabs& grabs) {
    const std::uint32_t button =
        lastPress_.device == press.sourceid ? lastPress_.detail : press.detail;
    grabs.withoutButtonGrabs(press.detail, [&] {
        for (std::size_t i = 0; i < modifiers.down().size(); ++i) {
            const auto keycode = static_cast<xcb_keycode_t>(i);
            const Key key{keycode, deviceOfKey_[keycode]};
            const bool isTaken =
                modifiers.down().test(i) && (map.modifierFlags(keycode) & taken) != 0;
            if (!isTaken || key.device == 0 || std::ranges::find(lifted_, key) != lifted_.end())
                continue;
            fakeKey(key, false);
            lifted_.push_back(key);
        }
        fakeButton({button, press.sourceid, false});
        fakeButton({button, press.sourceid, true});
    });
    clickRelease_ = {button, press.sourceid, false};
}

bool PlainClicks::sawKey(const xcb_input_raw_key_press_event_t& event, bool down) {
    const Change change{event.detail, event.sourceid, down};
    if (takeEcho(keyEchoes_, change, event.full_sequence))
        return true;
    const Key key{static_cast<xcb_keycode_t>(event.detail), event.sourceid};
    if (down)
        deviceOfKey_[key.keycode] = key.device;
    // Really let go of, or pressed anew: the key is what the server says it is.
    std::erase(lifted_, key);
    // Let go of just before we press it again in the device's name: that press would stay.
    if (!down && isExpected(keyEchoes_, {event.detail, event.sourceid, true}))
        fakeKey(key, false);
    return false;
}

void PlainClicks::sawButton(const xcb_input_raw_button_press_event_t& event, bool down) {
    const Change change{event.detail, event.sourceid, down};
    if (takeEcho(buttonEchoes_, change, event.full_sequence))
        return;
    if (down) {
        lastPress_ = change;
        return;
    }
    if (change != clickRelease_)
        return;
    // Let go of before our press could take the place of the user's: nobody else will end it.
    if (isExpected(buttonEchoes_, {change.detail, change.device, true}))
        fakeButton(change);
    endClick();
}

void PlainClicks::endClick() {
    clickRelease_ = {};
    for (const Key& key : lifted_)
        fakeKey(key, true);
    lifted_.clear();
    xcb_flush(connection_.get());
}

void PlainClicks::fakeKey(const Key& key, bool down) {
    const unsigned sequence =
        fake(down ? deviceKeyPress : deviceKeyRelease, key.keycode, key.device);
    keyEchoes_.push_back({{key.keycode, key.device, down}, sequence});
}

void PlainClicks::fakeButton(const Change& change) {
    const unsigned sequence =
        fake(change.down ? deviceButtonPress : deviceButtonRelease, change.detail, change.device);
    buttonEchoes_.push_back({change, sequence});
}

unsigned PlainClicks::fake(std::uint8_t event, std::uint32_t detail, xcb_input_device_id_t device) {
    return xcb_test_fake_input(connection_.get(),
                               static_cast<std::uint8_t>(firstInputEvent_ + event),
                               static_cast<std::uint8_t>(detail), XCB_CURRENT_TIME, XCB_NONE, 0, 0,
                               static_cast<std::uint8_t>(device))
        .sequence;
}

bool PlainClicks::takeEcho(std::vector<Echo>& echoes, const Change& change, unsigned sequence) {
    // The server is past these requests: what they were to change was so already.
    std::erase_if(echoes, [&](const Echo& echo) {
        return static_cast<std::int32_t>(echo.sequence - sequence) < 0;
    });
    const auto found = std::ranges::find_if(echoes, [&](const Echo& echo) {
        return echo.sequence == sequence && echo.change == change;
    });
    if (found == echoes.end())
        return false;
    echoes.erase(found);
    return true;
}

bool PlainClicks::isExpected(const std::vector<Echo>& echoes, const Change& change) {
    return std::ranges::find(echoes, change, &Echo::change) != echoes.end();
}

} // namespace lentora::x11
