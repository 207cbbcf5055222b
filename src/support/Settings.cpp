#include "support/Settings.h"

#include <limits>

namespace lentora {

namespace {

constexpr double defaultFixedZoomLevel = 1.5;
constexpr double defaultMaxZoomLevel = 2.5;

} // namespace

GateModifier Settings::gate() const {
    const auto gate = gateModifierFromRawValue(string("gateModifier").value_or(""));
    if (!gate || *gate == GateModifier::command)
        return GateModifier::option;
    return *gate;
}

bool Settings::keyboardEnabled() const {
    return boolean("keyboardEnabled", false);
}

bool Settings::trackpadEnabled() const {
    return boolean("trackpadEnabled", true);
}

HotKey Settings::hotKey() const {
    const auto code = integer("hotkeyKeyCode");
    const auto modifiers = integer("hotkeyModifiers").value_or(0);
    const auto label = string("hotkeyLabel").value_or("");
    if (!code || *code < 0 || *code > std::numeric_limits<std::uint16_t>::max() || modifiers < 0)
        return {};
    constexpr EventFlags strong = eventFlag::control | eventFlag::option | eventFlag::command;
    const auto flags = static_cast<EventFlags>(modifiers);
    if (label.empty() || (flags & strong) == 0)
        return {};
    return {static_cast<std::uint16_t>(*code), flags, label};
}

bool Settings::continuousZoom() const {
    return boolean("continuousZoom", true);
}

double Settings::fixedZoomLevel() const {
    return number("fixedZoomLevel", defaultFixedZoomLevel);
}

double Settings::maxZoomLevel() const {
    return number("maxZoomLevel", defaultMaxZoomLevel);
}

// A number is an integer by its value, not by how it was stored.
std::optional<std::int64_t> Settings::integer(std::string_view key) const {
    const auto value = defaults_.value(key);
    if (!value)
        return std::nullopt;
    if (const auto* number = std::get_if<std::int64_t>(&*value))
        return *number;
    if (const auto* number = std::get_if<double>(&*value)) {
        constexpr double limit = 9007199254740992.0; // 2^53: every integer below is exact.
        if (*number > -limit && *number < limit &&
            *number == static_cast<double>(static_cast<std::int64_t>(*number)))
            return static_cast<std::int64_t>(*number);
    }
    return std::nullopt;
}

bool Settings::boolean(std::string_view key, bool fallback) const {
    const auto value = defaults_.value(key);
    if (!value)
        return fallback;
    const auto* flag = std::get_if<bool>(&*value);
    return flag != nullptr ? *flag : fallback;
}

double Settings::number(std::string_view key, double fallback) const {
    const auto value = defaults_.value(key);
    if (!value)
        return fallback;
    if (const auto* whole = std::get_if<std::int64_t>(&*value))
        return static_cast<double>(*whole);
    const auto* number = std::get_if<double>(&*value);
    return number != nullptr ? *number : fallback;
}

std::optional<std::string> Settings::string(std::string_view key) const {
    auto value = defaults_.value(key);
    if (!value)
        return std::nullopt;
    if (auto* text = std::get_if<std::string>(&*value))
        return std::move(*text);
    return std::nullopt;
}

} // namespace lentora
