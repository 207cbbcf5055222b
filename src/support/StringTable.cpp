#include "support/StringTable.h"

#include <algorithm>
#include <array>

namespace lentora {

namespace {

struct Entry {
    std::string_view key;
    std::string_view en;
    std::string_view it;
    std::string_view es;
};

constexpr std::array<Entry, 10> entries{{
    {"gate.command", "Command (⌘)", "Comando (⌘)", "Comando (⌘)"},
    {"gate.control", "Control (⌃)", "Control (⌃)", "Control (⌃)"},
    {"gate.controlLeft", "Left Control (⌃)", "Control sinistro (⌃)", "Control izquierdo (⌃)"},
    {"gate.controlRight", "Right Control (⌃)", "Control destro (⌃)", "Control derecho (⌃)"},
    {"gate.fn", "Fn", "Fn", "Fn"},
    {"gate.option", "Option (⌥)", "Opzione (⌥)", "Opción (⌥)"},
    {"gate.optionLeft", "Left Option (⌥)", "Opzione sinistro (⌥)", "Opción izquierda (⌥)"},
    {"gate.optionRight", "Right Option (⌥)", "Opzione destro (⌥)", "Opción derecha (⌥)"},
    {"gate.shift", "Shift (⇧)", "Maiuscole (⇧)", "Mayúsculas (⇧)"},
    {"key.space", "Space", "Spazio", "Espacio"},
}};

static_assert(std::ranges::is_sorted(entries, {}, &Entry::key));

} // namespace

std::string StringTable::text(std::string_view key) const {
    const auto* found = std::ranges::lower_bound(entries, key, {}, &Entry::key);
    if (found == entries.end() || found->key != key)
        return std::string(key);
    switch (locale_) {
    case Locale::en:
        return std::string(found->en);
    case Locale::it:
        return std::string(found->it);
    case Locale::es:
        return std::string(found->es);
    case Locale::keys:
        return std::string(key);
    }
    return std::string(key);
}

} // namespace lentora
