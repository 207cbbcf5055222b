// What the user chose. A typed layer over the defaults store: every property is read from the
// store on every access, and a value that is missing or makes no sense reads as its default.
#pragma once

#include "input/GateModifier.h"
#include "input/HotKey.h"
#include "platform/Defaults.h"

#include <optional>

namespace lentora {

/// Main thread.
class Settings {
public:
    explicit Settings(Defaults& defaults) : defaults_(defaults) {}

    /// The gate key. Never `command`, which detaches a locked lens.
    GateModifier gate() const;

    /// Whether the shortcut opens a lens.
    bool keyboardEnabled() const;

    /// Whether pinches are listened to.
    bool trackpadEnabled() const;

    /// A shortcut that is out of range, has no label, or asks for no modifier but Shift reads as
    /// the default, Control+Shift+Z.
    HotKey hotKey() const;

    /// Whether the pinch decides how large a lens opens, and not `fixedZoomLevel`.
    bool continuousZoom() const;

    /// Zoom factors, as they were stored: not held to any range, nor to one another.
    double fixedZoomLevel() const;
    double maxZoomLevel() const;

private:
    std::optional<std::int64_t> integer(std::string_view key) const;
    bool boolean(std::string_view key, bool fallback) const;
    double number(std::string_view key, double fallback) const;
    std::optional<std::string> string(std::string_view key) const;

    Defaults& defaults_;
};

} // namespace lentora
