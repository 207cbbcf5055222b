// What is in windows' properties. Other programs write them, so nothing in them can be trusted:
// what has the wrong type, format or size counts as absent, and texts are made safe.
#pragma once

#include "platform/x11/Atoms.h"
#include "platform/x11/WindowTracker.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lentora::x11 {

/// A property as it came from the server. The reply outlives it.
class PropertyValue {
public:
    /// `reply` may be null, as for a window that is gone.
    explicit PropertyValue(const xcb_get_property_reply_t* reply) : reply_(reply) {}

    /// 0 when there is no such property.
    xcb_atom_t type() const { return reply_ == nullptr ? xcb_atom_t{0} : reply_->type; }
    /// The 32-bit values; none when the property is not of that type and format.
    std::span<const std::uint32_t> values(xcb_atom_t type) const;
    std::optional<std::uint32_t> firstValue(xcb_atom_t type) const;
    /// The bytes; none in another format.
    std::string_view bytes() const;

private:
    const xcb_get_property_reply_t* reply_;
};

/// _NET_WM_NAME, or WM_NAME: one line of valid UTF-8, empty when there is none.
std::string titleOf(const PropertyValue& value, const Atoms& atoms);

struct ApplicationClass {
    std::string instanceName;
    std::string className;
};
/// WM_CLASS; either half may be empty.
ApplicationClass applicationClassOf(const PropertyValue& value);

/// _NET_WM_WINDOW_TYPE: the first that is known.
WindowType windowTypeOf(const PropertyValue& value, const Atoms& atoms);

/// _NET_WM_STATE.
WindowState windowStateOf(const PropertyValue& value, const Atoms& atoms);

/// _NET_WM_WINDOW_OPACITY: 0 … 1; 1 when it does not say.
double opacityOf(const PropertyValue& value);

/// _NET_FRAME_EXTENTS and _GTK_FRAME_EXTENTS; none when they cannot be meant.
Extents extentsOf(const PropertyValue& value);

/// Xft.dpi from the text of RESOURCE_MANAGER; nothing when it holds none that makes sense.
std::optional<double> dotsPerInch(std::string_view resources);

} // namespace lentora::x11
