#include "platform/x11/ModifierTracker.h"

namespace lentora::x11 {

void ModifierTracker::keyChanged(xcb_keycode_t keycode, bool down, const KeyboardMap& map) {
    // A key may have stopped being a modifier while it was held.
    if (map.modifierFlags(keycode) != 0 || !down)
        down_.set(keycode, down);
}

void ModifierTracker::keysAre(std::span<const std::uint8_t> keys, const KeyboardMap& map) {
    for (std::size_t keycode = 0; keycode < down_.size() && keycode / 8 < keys.size(); ++keycode) {
        const bool down = (keys[keycode / 8] >> keycode % 8 & 1) != 0;
        down_.set(keycode, down && map.modifierFlags(static_cast<xcb_keycode_t>(keycode)) != 0);
    }
}

EventFlags ModifierTracker::flags(const KeyboardMap& map) const {
    EventFlags flags = 0;
    for (std::size_t keycode = 0; keycode < down_.size(); ++keycode) {
        if (down_.test(keycode))
            flags |= map.modifierFlags(static_cast<xcb_keycode_t>(keycode));
    }
    return flags;
}

} // namespace lentora::x11
