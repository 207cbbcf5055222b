// The output of a replay: one JSON object a line.
#pragma once

#include "input/EventFlags.h"
#include "platform/Defaults.h"

#include <ostream>
#include <string>
#include <string_view>

namespace lentora::replay {

/// One JSON object, built key by key in the order in which the keys are to stand.
class TraceObject {
public:
    TraceObject& add(std::string_view key, std::string_view value);
    TraceObject& add(std::string_view key, const char* value);
    TraceObject& add(std::string_view key, bool value);
    /// The shortest text that reads back to the same double.
    TraceObject& add(std::string_view key, double value);
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

} // namespace lentora::replay
