#include "replay/JsonNode.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace lentora::replay {

namespace {

// One step of a JSON pointer: RFC 6901, section 3.
std::string escaped(std::string_view key) {
    std::string out;
    for (const char c : key) {
        if (c == '~')
            out += "~0";
        else if (c == '/')
            out += "~1";
        else
            out += c;
    }
    return out;
}

} // namespace

void JsonNode::fail(const std::string& message) const {
    throw FormatError(pointer_, message);
}

void JsonNode::requireObject(std::initializer_list<std::string_view> keys) const {
    if (!value_->is_object())
        fail("must be an object");
    for (const auto& [key, value] : value_->items()) {
        if (std::ranges::find(keys, key) == keys.end())
            throw FormatError(pointer_ + "/" + escaped(key), "unknown key");
    }
}

std::optional<JsonNode> JsonNode::find(std::string_view key) const {
    const auto found = value_->find(key);
    if (found == value_->end())
        return std::nullopt;
    return JsonNode(*found, pointer_ + "/" + escaped(key));
}

JsonNode JsonNode::at(std::string_view key) const {
    if (const auto node = find(key))
        return *node;
    throw FormatError(pointer_ + "/" + escaped(key), "is missing");
}

bool JsonNode::boolean() const {
    if (!value_->is_boolean())
        fail("must be true or false");
    return value_->get<bool>();
}

double JsonNode::number() const {
    if (!value_->is_number())
        fail("must be a number");
    // Far beyond any desktop, and far from where sums stop being numbers.
    constexpr double limit = 1e9;
    const double value = value_->get<double>();
    if (!(std::abs(value) <= limit))
        fail("must be from -1e9 to 1e9");
    return value;
}

double JsonNode::number(double min, const char* what) const {
    const double value = number();
    if (value < min)
        fail(what);
    return value;
}

std::int64_t JsonNode::integer(std::int64_t min, std::int64_t max) const {
    if (!value_->is_number_integer())
        fail("must be an integer");
    const bool tooLarge = value_->is_number_unsigned() &&
                          value_->get<std::uint64_t>() > static_cast<std::uint64_t>(max);
    if (tooLarge || value_->get<std::int64_t>() < min || value_->get<std::int64_t>() > max)
        fail("must be from " + std::to_string(min) + " to " + std::to_string(max));
    return value_->get<std::int64_t>();
}

std::string JsonNode::string() const {
    if (!value_->is_string())
        fail("must be a string");
    return value_->get<std::string>();
}

EventFlags JsonNode::flags() const {
    if (value_->is_number_unsigned())
        return value_->get<std::uint64_t>();
    if (value_->is_string()) {
        const auto text = value_->get<std::string>();
        EventFlags flags = 0;
        const char* end = text.data() + text.size();
        if (text.starts_with("0x") && text.size() > 2) {
            const auto result = std::from_chars(text.data() + 2, end, flags, 16);
            if (result.ec == std::errc() && result.ptr == end)
                return flags;
        }
    }
    fail("must be flags: a whole number or a string such as \"0x80020\"");
}

std::vector<double> JsonNode::numbers(std::size_t count, const char* what) const {
    if (!value_->is_array() || value_->size() != count)
        fail(what);
    std::vector<double> numbers;
    for (const JsonNode& element : elements())
        numbers.push_back(element.number());
    return numbers;
}

Point JsonNode::point() const {
    const auto n = numbers(2, "must be a point: [x, y]");
    return {n[0], n[1]};
}

Rect JsonNode::rect() const {
    const auto n = numbers(4, "must be a rectangle: [x, y, width, height]");
    if (n[2] < 0 || n[3] < 0)
        fail("must have a width and a height of 0 or more");
    return {n[0], n[1], n[2], n[3]};
}

DefaultsValue JsonNode::defaultsValue() const {
    if (value_->is_boolean())
        return value_->get<bool>();
    if (value_->is_number_integer())
        return integer(INT64_MIN, INT64_MAX);
    if (value_->is_number())
        return value_->get<double>();
    if (value_->is_string())
        return value_->get<std::string>();
    fail("must be true, false, a number or a string");
}

std::vector<JsonNode> JsonNode::elements() const {
    if (!value_->is_array())
        fail("must be an array");
    std::vector<JsonNode> nodes;
    for (std::size_t i = 0; i < value_->size(); ++i)
        nodes.emplace_back((*value_)[i], pointer_ + "/" + std::to_string(i));
    return nodes;
}

std::vector<std::pair<std::string, JsonNode>> JsonNode::members() const {
    if (!value_->is_object())
        fail("must be an object");
    std::vector<std::pair<std::string, JsonNode>> nodes;
    for (const auto& [key, value] : value_->items())
        nodes.emplace_back(key, JsonNode(value, pointer_ + "/" + escaped(key)));
    return nodes;
}

bool JsonNode::boolean(std::string_view key, bool fallback) const {
    const auto node = find(key);
    return node ? node->boolean() : fallback;
}

double JsonNode::number(std::string_view key, double fallback) const {
    const auto node = find(key);
    return node ? node->number() : fallback;
}

std::int64_t JsonNode::integer(std::string_view key, std::int64_t fallback, std::int64_t min,
                               std::int64_t max) const {
    const auto node = find(key);
    return node ? node->integer(min, max) : fallback;
}

std::string JsonNode::string(std::string_view key, std::string fallback) const {
    const auto node = find(key);
    return node ? node->string() : std::move(fallback);
}

EventFlags JsonNode::flags(std::string_view key, EventFlags fallback) const {
    const auto node = find(key);
    return node ? node->flags() : fallback;
}

} // namespace lentora::replay
