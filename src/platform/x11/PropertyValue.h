// Values of window properties.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstring>
#include <optional>

namespace lentora::x11 {

/// The first value of a property of 32-bit numbers. Nothing where the property, or the window, does
/// not exist, or is something else. `reply` may be null.
inline std::optional<std::uint32_t> firstValue(const xcb_get_property_reply_t* reply) {
    std::uint32_t value = 0;
    if (reply == nullptr || reply->format != 32 ||
        xcb_get_property_value_length(reply) < static_cast<int>(sizeof value))
        return std::nullopt;
    std::memcpy(&value, xcb_get_property_value(reply), sizeof value);
    return value;
}

} // namespace lentora::x11
