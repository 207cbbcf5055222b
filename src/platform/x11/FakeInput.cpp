#include "platform/x11/FakeInput.h"

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

std::optional<FakeInput> FakeInput::open(const Connection& connection) {
    const auto xinput = connection.extension(xcb_input_id);
    if (!xinput || !connection.extension(xcb_test_id))
        return std::nullopt;
    return FakeInput(connection, xinput->firstEvent);
}

void FakeInput::key(const Change& change) {
    keyEchoes_.push_back({change, send(change.down ? deviceKeyPress : deviceKeyRelease, change)});
}

void FakeInput::button(const Change& change) {
    buttonEchoes_.push_back(
        {change, send(change.down ? deviceButtonPress : deviceButtonRelease, change)});
}

unsigned FakeInput::send(std::uint8_t event, const Change& change) {
    return xcb_test_fake_input(connection_.get(),
                               static_cast<std::uint8_t>(firstInputEvent_ + event),
                               static_cast<std::uint8_t>(change.detail), XCB_CURRENT_TIME, XCB_NONE,
                               0, 0, static_cast<std::uint8_t>(change.device))
        .sequence;
}

bool FakeInput::sawKey(const Change& change, unsigned sequence) {
    if (takeEcho(keyEchoes_, change, sequence))
        return true;
    if (change.down)
        devices_[static_cast<xcb_keycode_t>(change.detail)] = change.device;
    return false;
}

bool FakeInput::sawButton(const Change& change, unsigned sequence) {
    return takeEcho(buttonEchoes_, change, sequence);
}

bool FakeInput::takeEcho(std::vector<Echo>& echoes, const Change& change, unsigned sequence) {
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

bool FakeInput::isExpectedKey(const Change& change) const {
    return std::ranges::find(keyEchoes_, change, &Echo::change) != keyEchoes_.end();
}

bool FakeInput::isExpectedButton(const Change& change) const {
    return std::ranges::find(buttonEchoes_, change, &Echo::change) != buttonEchoes_.end();
}

} // namespace lentora::x11
