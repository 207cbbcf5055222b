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
constexpr std::array<Entry, 18> entries{{
    {"gate.command", "Super", "Super", "Super"},
    {"gate.control", "Ctrl", "Ctrl", "Ctrl"},
    {"gate.controlLeft", "Left Ctrl", "Ctrl sinistro", "Ctrl izquierdo"},
    {"gate.controlRight", "Right Ctrl", "Ctrl destro", "Ctrl derecho"},
    {"gate.fn", "Fn", "Fn", "Fn"},
    {"gate.option", "Alt", "Alt", "Alt"},
    {"gate.optionLeft", "Left Alt", "Alt sinistro", "Alt izquierdo"},
    {"gate.optionRight", "Right Alt", "Alt destro", "Alt derecho"},
    {"gate.shift", "Shift", "Maiusc", "Mayús"},
    {"hud.cmd.close", "{} twice: close the lens", "{} due volte: chiudi la lente",
     "{} dos veces: cerrar la lente"},
    {"hud.cmd.detach", "Hold Super: hold the lens still", "Tieni premuto Super: ferma la lente",
     "Mantén Super: detener la lente"},
    {"hud.cmd.esc", "Esc: close the lens", "Esc: chiudi la lente", "Esc: cerrar la lente"},
    {"hud.cmd.kbclose", "Shortcut again: close the lens",
     "Di nuovo la scorciatoia: chiudi la lente", "Otra vez el atajo: cerrar la lente"},
    {"hud.noperm.body",
     "The desktop lacks what that takes. Start lentora in a terminal to see what.",
     "Al desktop manca ciò che serve. Avvia lentora in un terminale per sapere che cosa.",
     "Al escritorio le falta lo necesario. Inicia lentora en un terminal para saber qué."},
    {"hud.noperm.title", "Lentora cannot see the screen", "Lentora non può vedere lo schermo",
     "Lentora no puede ver la pantalla"},
    {"hud.protected.body", "Its contents cannot be captured now. Try again in a moment.",
     "Il suo contenuto ora non può essere catturato. Riprova tra un momento.",
     "Ahora no se puede capturar su contenido. Vuelve a intentarlo en un momento."},
    {"hud.protected.title", "This window cannot be magnified",
     "Questa finestra non può essere ingrandita", "Esta ventana no se puede ampliar"},
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
