// What the keys of the server's keyboard mean to us: which are modifiers and on which side, and
// which of our key codes each of the others has.
#pragma once

#include "input/EventFlags.h"
#include "platform/x11/Connection.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace lentora::x11 {

/// One bit for each of the eight modifiers of the core protocol: Shift, Lock, Control, Mod1–Mod5.
using ModifierMask = std::uint16_t;

inline constexpr ModifierMask allModifiers = 0xFF;

class KeyboardMap {
public:
    /// What the server's two mapping requests answer. `keysyms` holds `keysymsPerKeycode` entries
    /// for each key code from `firstKeycode` on; `modifiers` the key codes of each of the eight
    /// modifiers, 0 for none.
    struct Mapping {
        xcb_keycode_t firstKeycode = 8;
        int keysymsPerKeycode = 0;
        std::vector<xcb_keysym_t> keysyms;
        std::array<std::vector<xcb_keycode_t>, 8> modifiers;
    };

    explicit KeyboardMap(const Mapping& mapping);

    /// Asks the server. Nothing when it is gone. Waits for one round trip.
    static std::optional<KeyboardMap> read(const Connection& connection);

    /// The bits of the flags word that a key sets while it is down; 0 for a key that is no
    /// modifier. Alt and Meta are Option, Super is Command. The third-level key (AltGr) is the
    /// right Option key: it sits in its place and does its work.
    EventFlags modifierFlags(xcb_keycode_t keycode) const { return flags_[keycode]; }

    /// The key code that the core knows the key by. A key is known by its place, but a key that
    /// was made an Escape key is one, and only such a key is.
    std::optional<std::uint16_t> coreKeyCode(xcb_keycode_t keycode) const;

    /// The keys that have a core key code.
    std::vector<xcb_keycode_t> keycodesOf(std::uint16_t coreKeyCode) const;

    /// The core modifiers that keys of a family set, given the family's bit (eventFlag::option):
    /// one bit for each modifier that any of its keys is bound to.
    ModifierMask masksOf(EventFlags family) const;

    /// A key code that means nothing: no key of this keyboard types or does anything with it.
    std::optional<xcb_keycode_t> unusedKeycode() const { return unusedKeycode_; }

    /// The modifiers that are on without a key being held: Caps Lock, Num Lock, Scroll Lock.
    ModifierMask lockMasks() const { return lockMasks_; }

private:
    std::array<EventFlags, 256> flags_{};
    std::array<std::int32_t, 256> coreKeyCodes_{};
    std::array<ModifierMask, 256> modifiersOfKey_{};
    ModifierMask lockMasks_ = 0;
    std::optional<xcb_keycode_t> unusedKeycode_;
};

} // namespace lentora::x11
