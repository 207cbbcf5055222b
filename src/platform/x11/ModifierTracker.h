// Which modifier keys are down, by key: the modifier state of the server does not tell sides.
#pragma once

#include "input/EventFlags.h"
#include "platform/x11/KeyboardMap.h"

#include <bitset>
#include <cstdint>
#include <span>

namespace lentora::x11 {

class ModifierTracker {
public:
    /// A modifier key went down or up; other keys have no effect.
    void keyChanged(xcb_keycode_t keycode, bool down, const KeyboardMap& map);

    /// Takes the state of all keys as the server knows it: 32 bytes, one bit a key code.
    void keysAre(std::span<const std::uint8_t> keys, const KeyboardMap& map);

    bool isAnyDown() const { return down_.any(); }

    /// The modifier keys that are down, by key code.
    const std::bitset<256>& down() const { return down_; }

    EventFlags flags(const KeyboardMap& map) const;

private:
    std::bitset<256> down_;
};

} // namespace lentora::x11
