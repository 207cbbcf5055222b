#include "input/HotKey.h"

#include "support/StringTable.h"
#include "support/Text.h"

#include <algorithm>
#include <array>

namespace lentora {

namespace {

struct SpecialKey {
    std::uint16_t code;
    std::string_view label;
};

constexpr std::array<SpecialKey, 25> specialKeys{{
    {36, "↩"},   {76, "⌤"},    {48, "⇥"},    {51, "⌫"},    {117, "⌦"}, {123, "←"}, {124, "→"},
    {125, "↓"},  {126, "↑"},   {115, "↖"},   {119, "↘"},   {116, "⇞"}, {121, "⇟"}, {122, "F1"},
    {120, "F2"}, {99, "F3"},   {118, "F4"},  {96, "F5"},   {97, "F6"}, {98, "F7"}, {100, "F8"},
    {101, "F9"}, {109, "F10"}, {103, "F11"}, {111, "F12"},
}};

} // namespace

std::string HotKey::display() const {
    std::string text;
    if (modifiers & eventFlag::control)
        text += "⌃";
    if (modifiers & eventFlag::option)
        text += "⌥";
    if (modifiers & eventFlag::shift)
        text += "⇧";
    if (modifiers & eventFlag::command)
        text += "⌘";
    return text + keyLabel;
}

bool HotKey::matches(std::uint16_t code, EventFlags flags) const {
    return code == keyCode && (flags & eventFlag::shortcutModifiers) == modifiers;
}

std::string HotKey::label(std::uint16_t code, std::string_view characters,
                          const StringTable& strings) {
    if (code == keyCode::space)
        return strings.text("key.space");
    const auto* special = std::ranges::find(specialKeys, code, &SpecialKey::code);
    if (special != specialKeys.end())
        return std::string(special->label);
    return text::upperCased(text::trimmed(characters));
}

} // namespace lentora
