// The output of a replay: one JSON object a line.
#pragma once

#include "input/EventFlags.h"
#include "platform/Defaults.h"
#include "platform/sim/SimCaptureStreams.h"
#include "support/Rect.h"

#include <concepts>
#include <string>
#include <string_view>

namespace lentora::replay {

/// A whole number; a Boolean is none.
template <typename T>
concept WholeNumber = std::integral<T> && !std::same_as<T, bool>;

/// One JSON array, built element by element.
class TraceArray {
public:
    TraceArray& add(std::string_view value);
    TraceArray& add(double value);
    TraceArray& add(WholeNumber auto value) { return addRaw(std::to_string(value)); }

    std::string text() const { return "[" + elements_ + "]"; }

private:
    TraceArray& addRaw(std::string_view json);

    std::string elements_;
};

/// One JSON object, built key by key in the order in which the keys are to stand.
class TraceObject {
public:
    TraceObject& add(std::string_view key, std::string_view value);
    TraceObject& add(std::string_view key, const char* value);
    TraceObject& add(std::string_view key, bool value);
    /// The shortest text that reads back to the same double.
    TraceObject& add(std::string_view key, double value);
    TraceObject& add(std::string_view key, WholeNumber auto value) {
        return addRaw(key, std::to_string(value));
    }
    // [x, y], [width, height] and [x, y, width, height].
    TraceObject& add(std::string_view key, Point value);
    TraceObject& add(std::string_view key, Size value);
    TraceObject& add(std::string_view key, const Rect& value);
    TraceObject& add(std::string_view key, const TraceArray& value);
    TraceObject& addSetting(std::string_view key, const DefaultsValue& value);
    TraceObject& add(std::string_view key, const TraceObject& value);
    /// As a string, in hexadecimal.
    TraceObject& addFlags(std::string_view key, EventFlags value);

    std::string text() const { return "{" + members_ + "}"; }

private:
    TraceObject& addRaw(std::string_view key, std::string_view json);

    std::string members_;
};

/// A line's first keys.
TraceObject traceLine(double time, std::string_view event);

/// The line for a capture stream that began to run, or has stopped.
TraceObject streamLine(double time, const sim::SimCaptureStreams::Change& change);

} // namespace lentora::replay
