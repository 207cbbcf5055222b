#include "platform/posix/UserLocale.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace lentora::test {
namespace {

constexpr std::array<const char*, 3> variables{"LC_ALL", "LC_MESSAGES", "LANG"};

class UserLocale : public testing::Test {
protected:
    UserLocale() {
        for (std::size_t i = 0; i < variables.size(); ++i) {
            if (const char* value = std::getenv(variables[i]))
                before[i] = value;
        }
    }
    ~UserLocale() override {
        for (std::size_t i = 0; i < variables.size(); ++i)
            set(variables[i], before[i] ? before[i]->c_str() : nullptr);
    }

    static void set(const char* variable, const char* value) {
        if (value != nullptr)
            ::setenv(variable, value, 1);
        else
            ::unsetenv(variable);
    }

    // $LC_ALL, $LC_MESSAGES and $LANG.
    static Locale localeWith(const char* all, const char* messages, const char* lang) {
        set("LC_ALL", all);
        set("LC_MESSAGES", messages);
        set("LANG", lang);
        return posix::userLocale();
    }

    std::array<std::optional<std::string>, 3> before;
};

TEST_F(UserLocale, IsTheFirstThatIsSaidAndEnglishWhereThereAreNoTexts) {
    EXPECT_EQ(localeWith(nullptr, nullptr, nullptr), Locale::en);
    EXPECT_EQ(localeWith(nullptr, nullptr, "it_IT.UTF-8"), Locale::it);
    EXPECT_EQ(localeWith(nullptr, "es_ES@euro", "it_IT.UTF-8"), Locale::es);
    EXPECT_EQ(localeWith("it", "es_ES", "de_DE"), Locale::it);
    EXPECT_EQ(localeWith("C", "es_ES", "it_IT"), Locale::en);
    EXPECT_EQ(localeWith("", "", "es"), Locale::es);
    EXPECT_EQ(localeWith(nullptr, nullptr, "est_EE"), Locale::en);
    EXPECT_EQ(localeWith(nullptr, nullptr, "de_IT"), Locale::en);
}

} // namespace
} // namespace lentora::test
