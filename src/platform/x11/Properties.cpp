#include "platform/x11/Properties.h"

#include "support/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace lentora::x11 {

namespace {

// More than any frame or shadow has.
constexpr std::uint32_t largestExtent = 1000;

constexpr double smallestDpi = 24;
constexpr double largestDpi = 1000;

std::string textOf(const PropertyValue& value, const Atoms& atoms) {
    const std::string_view bytes = value.bytes();
    if (value.type() == atoms[Atom::utf8String])
        return text::printable(bytes);
    // Compound text is Latin-1 as long as it does not switch to another set.
    constexpr char escape = '\x1B';
    if (value.type() != XCB_ATOM_STRING && bytes.find(escape) != std::string_view::npos)
        return {};
    return text::printable(text::fromLatin1(bytes));
}

WindowType typeNamed(xcb_atom_t name, const Atoms& atoms) {
    const std::array<std::pair<Atom, WindowType>, 14> types{{
        {Atom::typeNormal, WindowType::normal},
        {Atom::typeDialog, WindowType::normal},
        {Atom::typeSplash, WindowType::normal},
        {Atom::typeDesktop, WindowType::desktop},
        {Atom::typeDock, WindowType::dock},
        {Atom::typeUtility, WindowType::utility},
        {Atom::typeToolbar, WindowType::utility},
        {Atom::typeMenu, WindowType::transient},
        {Atom::typeDropdownMenu, WindowType::transient},
        {Atom::typePopupMenu, WindowType::transient},
        {Atom::typeTooltip, WindowType::transient},
        {Atom::typeNotification, WindowType::notification},
        {Atom::typeCombo, WindowType::transient},
        {Atom::typeDragAndDrop, WindowType::transient},
    }};
    const auto* const found =
        std::ranges::find_if(types, [&](const auto& type) { return atoms[type.first] == name; });
    return found == types.end() ? WindowType::unstated : found->second;
}

} // namespace

std::span<const std::uint32_t> PropertyValue::values(xcb_atom_t type) const {
    if (reply_ == nullptr || reply_->format != 32 || reply_->type != type)
        return {};
    return {static_cast<const std::uint32_t*>(xcb_get_property_value(reply_)),
            static_cast<std::size_t>(xcb_get_property_value_length(reply_)) / 4};
}

std::optional<std::uint32_t> PropertyValue::firstValue(xcb_atom_t type) const {
    const auto all = values(type);
    return all.empty() ? std::nullopt : std::optional(all.front());
}

std::string_view PropertyValue::bytes() const {
    if (reply_ == nullptr || reply_->format != 8)
        return {};
    return {static_cast<const char*>(xcb_get_property_value(reply_)),
            static_cast<std::size_t>(xcb_get_property_value_length(reply_))};
}

std::string titleOf(const PropertyValue& value, const Atoms& atoms) {
    return std::string(text::trimmed(textOf(value, atoms)));
}

ApplicationClass applicationClassOf(const PropertyValue& value) {
    std::string_view rest = value.bytes();
    const auto part = [&] {
        const std::size_t end = std::min(rest.find('\0'), rest.size());
        const std::string_view name = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        return text::printable(text::fromLatin1(name));
    };
    std::string instanceName = part();
    return {std::move(instanceName), part()};
}

WindowType windowTypeOf(const PropertyValue& value, const Atoms& atoms) {
    for (const std::uint32_t name : value.values(XCB_ATOM_ATOM)) {
        const WindowType type = typeNamed(name, atoms);
        if (type != WindowType::unstated)
            return type;
    }
    return WindowType::unstated;
}

WindowState windowStateOf(const PropertyValue& value, const Atoms& atoms) {
    const auto states = value.values(XCB_ATOM_ATOM);
    const auto has = [&](Atom state) {
        return std::ranges::find(states, atoms[state]) != states.end();
    };
    return {.above = has(Atom::netWmStateAbove),
            .fullscreen = has(Atom::netWmStateFullscreen),
            .maximized = has(Atom::netWmStateMaximizedVert) && has(Atom::netWmStateMaximizedHorz),
            .hidden = has(Atom::netWmStateHidden)};
}

double opacityOf(const PropertyValue& value) {
    constexpr double opaque = 0xFFFFFFFF;
    return value.firstValue(XCB_ATOM_CARDINAL).value_or(0xFFFFFFFF) / opaque;
}

Extents extentsOf(const PropertyValue& value) {
    const auto sides = value.values(XCB_ATOM_CARDINAL);
    if (sides.size() < 4 || std::ranges::any_of(sides.first(4), [](std::uint32_t side) {
            return side > largestExtent;
        }))
        return {};
    const auto side = [&](std::size_t i) { return static_cast<int>(sides[i]); };
    return {.left = side(0), .right = side(1), .top = side(2), .bottom = side(3)};
}

std::optional<double> dotsPerInch(std::string_view resources) {
    constexpr std::string_view key = "Xft.dpi:";
    std::optional<double> found;
    while (!resources.empty()) {
        const std::size_t end = std::min(resources.find('\n'), resources.size());
        std::string_view line = resources.substr(0, end);
        resources.remove_prefix(std::min(end + 1, resources.size()));
        if (!line.starts_with(key))
            continue;
        line = text::trimmed(line.substr(key.size()));
        double value = 0;
        const auto result = std::from_chars(line.data(), line.data() + line.size(), value);
        if (result.ec == std::errc() && value >= smallestDpi && value <= largestDpi)
            found = value;
    }
    return found;
}

} // namespace lentora::x11
