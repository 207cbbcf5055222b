// The texts that users read, looked up by dotted keys.
#pragma once

#include <string>
#include <string_view>

namespace lentora {

enum class Locale {
    en,
    it,
    es,
    /// Every text is its own key: for traces that must not change with the wording.
    keys,
};

class StringTable {
public:
    explicit StringTable(Locale locale) : locale_(locale) {}

    /// The text of `key` in UTF-8; the key itself when the locale has none. Any thread.
    std::string text(std::string_view key) const;

private:
    Locale locale_;
};

} // namespace lentora
