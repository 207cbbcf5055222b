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

// Keys are named as keyboards for this desktop print them.
constexpr std::array<Entry, 10> entries{{
    {"gate.command", "Super", "Super", "Super"},
    {"gate.control", "Ctrl", "Ctrl", "Ctrl"},
    {"gate.controlLeft", "Left Ctrl", "Ctrl sinistro", "Ctrl izquierdo"},
    {"gate.controlRight", "Right Ctrl", "Ctrl destro", "Ctrl derecho"},
    {"gate.fn", "Fn", "Fn", "Fn"},
    {"gate.option", "Alt", "Alt", "Alt"},
    {"gate.optionLeft", "Left Alt", "Alt sinistro", "Alt izquierdo"},
    {"gate.optionRight", "Right Alt", "Alt destro", "Alt derecho"},
    {"gate.shift", "Shift", "Maiusc", "Mayús"},
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
