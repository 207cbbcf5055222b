#include "platform/posix/UserLocale.h"

#include <cstdlib>
#include <string_view>

namespace lentora::posix {

namespace {

std::string_view messagesLocale() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && value[0] != '\0')
            return value;
    }
    return {};
}

} // namespace

Locale userLocale() {
    const std::string_view name = messagesLocale();
    // it, it_IT, it_IT.UTF-8, it_IT@euro
    const std::string_view language = name.substr(0, name.find_first_of("_.@"));
    if (language == "it")
        return Locale::it;
    if (language == "es")
        return Locale::es;
    return Locale::en;
}

} // namespace lentora::posix
