// A place in a JSON document that knows where it is. Asking it for something it does not hold
// ends the reading with an error that names the place.
#pragma once

#include "replay/Scenario.h"

#include <nlohmann/json.hpp>

#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lentora::replay {

using Json = nlohmann::ordered_json;

/// Thrown while a scenario is read; caught where the reading began.
class FormatError : public std::runtime_error {
public:
    FormatError(const std::string& place, const std::string& message)
        : std::runtime_error(message), pointer(place.empty() ? "/" : place) {}

    std::string pointer;
};

class JsonNode {
public:
    JsonNode(const Json& value, std::string pointer)
        : value_(&value), pointer_(std::move(pointer)) {}

    [[noreturn]] void fail(const std::string& message) const;

    bool isObject() const { return value_->is_object(); }

    /// Fails when this is no object, or has a key that is not among `keys`.
    void requireObject(std::initializer_list<std::string_view> keys) const;

    /// The value of a key of this object.
    std::optional<JsonNode> find(std::string_view key) const;
    JsonNode at(std::string_view key) const;

    bool boolean() const;
    double number() const;
    double number(double min, const char* what) const;
    std::int64_t integer(std::int64_t min, std::int64_t max) const;
    std::string string() const;
    /// A number, or a string such as "0x80020".
    EventFlags flags() const;
    Point point() const;
    Rect rect() const;
    DefaultsValue defaultsValue() const;
    std::vector<JsonNode> elements() const;
    std::vector<std::pair<std::string, JsonNode>> members() const;

    /// The enumerator whose name the string is.
    template <typename Enum>
    Enum oneOf(std::initializer_list<std::pair<std::string_view, Enum>> names) const {
        const std::string text = string();
        std::string known;
        for (const auto& [name, value] : names) {
            if (name == text)
                return value;
            known += (known.empty() ? "\"" : ", \"") + std::string(name) + "\"";
        }
        fail("unknown value \"" + text + "\"; known are " + known);
    }

    // The value of a key, or a fallback where the key is absent.
    bool boolean(std::string_view key, bool fallback) const;
    double number(std::string_view key, double fallback) const;
    std::int64_t integer(std::string_view key, std::int64_t fallback, std::int64_t min,
                         std::int64_t max) const;
    std::string string(std::string_view key, std::string fallback) const;
    EventFlags flags(std::string_view key, EventFlags fallback) const;

private:
    std::vector<double> numbers(std::size_t count, const char* what) const;

    const Json* value_;
    std::string pointer_;
};

} // namespace lentora::replay
