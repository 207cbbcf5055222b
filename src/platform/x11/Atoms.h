// The names that properties, their types and their values go by on this server.
#pragma once

#include "platform/x11/Connection.h"

#include <array>
#include <cstddef>

namespace lentora::x11 {

enum class Atom {
    utf8String,
    wmState,
    netSupportingWmCheck,
    netClientList,
    netClientListStacking,
    netActiveWindow,
    netCurrentDesktop,
    netWmName,
    netWmDesktop,
    netWmWindowOpacity,
    netFrameExtents,
    gtkFrameExtents,
    netWmState,
    netWmStateAbove,
    netWmStateFullscreen,
    netWmStateMaximizedVert,
    netWmStateMaximizedHorz,
    netWmStateHidden,
    netWmWindowType,
    typeNormal,
    typeDialog,
    typeSplash,
    typeDesktop,
    typeDock,
    typeUtility,
    typeToolbar,
    typeMenu,
    typeDropdownMenu,
    typePopupMenu,
    typeTooltip,
    typeNotification,
    typeCombo,
    typeDragAndDrop,
    count,
};

class Atoms {
public:
    /// Asks for all of them with one round trip. A lost server leaves them none.
    explicit Atoms(const Connection& connection);

    xcb_atom_t operator[](Atom name) const { return atoms_[static_cast<std::size_t>(name)]; }

private:
    std::array<xcb_atom_t, static_cast<std::size_t>(Atom::count)> atoms_{};
};

} // namespace lentora::x11
