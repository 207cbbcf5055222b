// Magnifiers as their users have them: as programs beside the one that is magnified, seen on the
// screen. From a pinch to the lens, from a change to the magnified change, and what that costs, for
// this program, for others, and for a client that does the least that is possible (BareLens.cpp).
// All are measured on one test desktop, in turns.
#include "lens/Magnifiers.h"
#include "lens/Measurement.h"
#include "lens/Table.h"
#include "testdesktop/TestDesktop.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lentora::bench {
namespace {

constexpr int usualRounds = 1;

struct Options {
    int rounds = usualRounds;
    // None: all of them.
    std::vector<std::string> only;
};

// A folder of its own that goes away with it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "bench_lens.XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr)
            path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

bool options(std::span<char*> arguments, Options& options) {
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        const std::string_view name = arguments[i];
        if (i + 1 == arguments.size())
            return false;
        if (name == "--rounds")
            options.rounds = std::atoi(arguments[i + 1]);
        else if (name == "--only")
            options.only.emplace_back(arguments[i + 1]);
        else
            return false;
    }
    return options.rounds > 0;
}

int run(const Options& options) {
    auto [desktop, error] =
        testdesktop::TestDesktop::start({.screenWidth = screenWidth, .screenHeight = screenHeight});
    if (!desktop) {
        std::fprintf(stderr, "bench_lens: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    const TemporaryFolder folder;
    Measurement measurement(*desktop);
    const auto magnifiers = allMagnifiers(
        std::filesystem::canonical("/proc/self/exe").parent_path(), measurement.source());
    std::vector<Column> columns{{"nobody", "", {}}};
    for (const Magnifier& magnifier : magnifiers)
        columns.push_back({magnifier.name, magnifier.setting, {}});
    for (int round = 0; round < options.rounds; ++round) {
        measurement.withNobody(columns.front().result);
        for (std::size_t i = 0; i < magnifiers.size(); ++i) {
            const Magnifier& magnifier = magnifiers[i];
            Result& result = columns[i + 1].result;
            if (!options.only.empty() &&
                std::ranges::find(options.only, magnifier.name) == options.only.end())
                continue;
            std::fprintf(stderr, "round %d on %s: %s, %s\n", round + 1,
                         desktop->displayName().c_str(), magnifier.name.c_str(),
                         magnifier.setting.c_str());
            if (!std::filesystem::exists(magnifier.program))
                result.failure = "not installed";
            else if (result.failure.empty())
                measurement.with(
                    magnifier,
                    folder.path() + "/" + std::to_string(round) + "." + std::to_string(i), result);
        }
    }
    printTable(columns);
    return EXIT_SUCCESS;
}

} // namespace
} // namespace lentora::bench

int main(int argc, char** argv) {
    lentora::bench::Options options;
    if (!lentora::bench::options({argv + 1, static_cast<std::size_t>(argc - 1)}, options)) {
        std::fprintf(stderr, "usage: bench_lens [--rounds N] [--only PROGRAM]...\n");
        return EXIT_FAILURE;
    }
    try {
        return lentora::bench::run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_lens: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
