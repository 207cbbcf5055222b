// The keyboard shortcut that opens a lens without a trackpad.
#pragma once

#include "input/EventFlags.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace lentora {

class StringTable;

struct HotKey {
    std::uint16_t keyCode = 6;
    /// The modifiers that must be held with the key, a subset of eventFlag::shortcutModifiers.
    EventFlags modifiers = eventFlag::control | eventFlag::shift;
    /// What is shown for the key.
    std::string keyLabel = "Z";

    bool operator==(const HotKey&) const = default;

    /// The shortcut as menus show it: modifier symbols in their fixed order, then the label.
    std::string display() const;

    /// Whether a key event with this code and these flags is the shortcut: exactly its modifiers,
    /// keys that are no shortcut modifiers (Caps Lock, Fn) left out of account.
    bool matches(std::uint16_t code, EventFlags flags) const;

    /// The label of a key. `characters` is what the key types without its modifiers, in UTF-8;
    /// the result is empty when that is empty or blank and the key has no name of its own.
    static std::string label(std::uint16_t code, std::string_view characters,
                             const StringTable& strings);
};

} // namespace lentora
