#include "replay/Trace.h"

#include "replay/JsonNode.h"

#include <array>
#include <charconv>
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

TraceArray& TraceArray::addRaw(std::string_view json) {
    if (!elements_.empty())
        elements_ += ",";
    elements_.append(json);
    return *this;
}

TraceArray& TraceArray::add(std::string_view value) {
    return addRaw(quoted(value));
}

TraceArray& TraceArray::add(double value) {
    return addRaw(digits(value));
}

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

TraceObject& TraceObject::add(std::string_view key, Point value) {
    return add(key, TraceArray().add(value.x).add(value.y));
}

TraceObject& TraceObject::add(std::string_view key, Size value) {
    return add(key, TraceArray().add(value.width).add(value.height));
}

TraceObject& TraceObject::add(std::string_view key, const Rect& value) {
    return add(key, TraceArray().add(value.x).add(value.y).add(value.width).add(value.height));
}

TraceObject& TraceObject::add(std::string_view key, const TraceArray& value) {
    return addRaw(key, value.text());
}

TraceObject& TraceObject::addSetting(std::string_view key, const DefaultsValue& value) {
    return std::visit([&](const auto& held) -> TraceObject& { return add(key, held); }, value);
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

TraceObject streamLine(double time, const sim::SimCaptureStreams::Change& change) {
    TraceArray excluded;
    for (const ShareableWindow& window : change.filter.excludedWindows)
        excluded.add(window.windowID);
    TraceObject line = traceLine(time, "stream");
    line.add("running", change.running).add("windows", excluded);
    if (const auto& included = change.filter.includingApplications) {
        TraceArray applications;
        for (const ShareableApplication& application : *included)
            applications.add(application.pid);
        line.add("applications", applications);
    }
    return line.add("source", change.configuration.sourceRect)
        .add("pixels", Size{static_cast<double>(change.configuration.width),
                            static_cast<double>(change.configuration.height)})
        .add("interval", change.configuration.minimumFrameInterval);
}

} // namespace lentora::replay
