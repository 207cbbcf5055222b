#include "platform/x11/PlainClicks.h"

#include <algorithm>

namespace lentora::x11 {

namespace {

FakeInput::Change opposite(FakeInput::Change change) {
    change.down = !change.down;
    return change;
}

} // namespace

void PlainClicks::passOn(const xcb_input_button_press_event_t& press, EventFlags taken,
                         const ModifierTracker& modifiers, const KeyboardMap& map,
                         PassiveGrabs& grabs) {
    const std::uint32_t button =
        lastPress_.device == press.sourceid ? lastPress_.detail : press.detail;
    clickRelease_ = {button, press.sourceid, false};
    grabs.withoutButtonGrabs(press.detail, [&] {
        for (std::size_t i = 0; i < modifiers.down().size(); ++i) {
            const auto keycode = static_cast<xcb_keycode_t>(i);
            const FakeInput::Change release{keycode, fakes_.deviceOfKey(keycode), false};
            const bool isTaken =
                modifiers.down().test(i) && (map.modifierFlags(keycode) & taken) != 0;
            if (!isTaken || release.device == 0 ||
                std::ranges::find(lifted_, release) != lifted_.end())
                continue;
            fakes_.key(release);
            lifted_.push_back(release);
        }
        fakes_.button(clickRelease_);
        fakes_.button(opposite(clickRelease_));
    });
}

void PlainClicks::sawKey(const FakeInput::Change& change) {
    // Really let go of, or pressed anew: the key is what the server says it is.
    std::erase(lifted_, FakeInput::Change{change.detail, change.device, false});
    // Let go of just before we press it again in the device's name: that press would stay.
    if (!change.down && fakes_.isExpectedKey(opposite(change)))
        fakes_.key(change);
}

void PlainClicks::sawButton(const FakeInput::Change& change) {
    if (change.down) {
        lastPress_ = change;
        return;
    }
    if (change != clickRelease_)
        return;
    // Let go of before our press could take the place of the user's: nobody else will end it.
    if (fakes_.isExpectedButton(opposite(change)))
        fakes_.button(change);
    endClick();
}

void PlainClicks::endClick() {
    clickRelease_ = {};
    for (const FakeInput::Change& release : lifted_)
        fakes_.key(opposite(release));
    lifted_.clear();
    xcb_flush(connection_.get());
}

} // namespace lentora::x11
