#include "replay/Trace.h"

#include "replay/JsonNode.h"

#include <array>
#include <charconv>
#include <type_traits>
#include <variant>

namespace lentora::replay {

namespace {

std::string quoted(std::string_view text) {
    // Bytes that are no valid UTF-8 become U+FFFD: a line is always valid JSON.
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

template <typename Number>
std::string digits(Number value, auto... format) {
    std::array<char, 40> buffer{};
    const auto result =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format...);
    return {buffer.data(), result.ptr};
}

} // namespace

TraceObject& TraceObject::addRaw(std::string_view key, std::string_view json) {
    if (!members_.empty())
        members_ += ",";
    members_.append(quoted(key)).append(":").append(json);
    return *this;
}

TraceObject& TraceObject::add(std::string_view key, std::string_view value) {
    return addRaw(key, quoted(value));
}

TraceObject& TraceObject::add(std::string_view key, const char* value) {
    return add(key, std::string_view(value));
}

TraceObject& TraceObject::add(std::string_view key, bool value) {
    return addRaw(key, value ? "true" : "false");
}

TraceObject& TraceObject::add(std::string_view key, double value) {
    return addRaw(key, digits(value));
}

TraceObject& TraceObject::addSetting(std::string_view key, const DefaultsValue& value) {
    return std::visit(
        [&](const auto& held) -> TraceObject& {
            if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::int64_t>)
                return addRaw(key, digits(held));
            else
                return add(key, held);
        },
        value);
}

TraceObject& TraceObject::add(std::string_view key, const TraceObject& value) {
    return addRaw(key, value.text());
}

TraceObject& TraceObject::addFlags(std::string_view key, EventFlags value) {
    return add(key, "0x" + digits(value, 16));
}

TraceObject traceLine(double time, std::string_view event) {
    TraceObject line;
    line.add("t", time).add("ev", event);
    return line;
}

} // namespace lentora::replay
