// The per-user store of settings.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace lentora {

using DefaultsValue = std::variant<bool, std::int64_t, double, std::string>;

/// A value keeps the type it was stored with. Any thread.
class Defaults {
public:
    virtual ~Defaults() = default;

    /// Nothing when the key was never stored.
    virtual std::optional<DefaultsValue> value(std::string_view key) const = 0;

    /// Stores the value; it outlives the program.
    virtual void setValue(std::string_view key, DefaultsValue value) = 0;
};

} // namespace lentora
