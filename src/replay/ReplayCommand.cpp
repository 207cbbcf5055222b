#include "replay/ReplayCommand.h"

#include "png/PngFile.h"
#include "replay/Replay.h"
#include "support/Text.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <utility>

namespace lentora::replay {

namespace {

namespace fs = std::filesystem;

constexpr int exitTrouble = 1;
constexpr int exitBadScenario = 2;

// A folder for the log files of one replay that nobody asked to keep.
class TemporaryHome {
public:
    TemporaryHome() {
        std::error_code error;
        std::string name = (fs::temp_directory_path(error) / "lentora-replay-XXXXXX").string();
        if (!error && ::mkdtemp(name.data()) != nullptr)
            path_ = name;
    }
    ~TemporaryHome() {
        std::error_code ignored;
        if (!path_.empty())
            fs::remove_all(path_, ignored);
    }
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

std::variant<std::string, ScenarioError> readAll(const std::string& path) {
    if (path == "-")
        return std::string(std::istreambuf_iterator<char>(std::cin), {});
    std::error_code error;
    if (fs::is_directory(path, error))
        return ScenarioError{"/", "cannot be read: it is a folder"};
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open() || file.bad())
        return ScenarioError{"/", std::string("cannot be read: ") + std::strerror(errno)};
    return text;
}

// What is wrong where pictures are to be written and nobody said where to.
std::optional<ScenarioError> missingFolder(const Scenario& scenario, const std::string& folder) {
    if (!folder.empty())
        return std::nullopt;
    for (std::size_t i = 0; i < scenario.steps.size(); ++i) {
        if (std::holds_alternative<PngStep>(scenario.steps[i].action))
            return ScenarioError{"/steps/" + std::to_string(i) + "/do",
                                 "\"png\" needs a folder to write to; give one with --png-dir"};
    }
    return std::nullopt;
}

} // namespace

int runReplayCommand(const ReplayArguments& arguments, TextFiles& files) {
    const auto fail = [&](const ScenarioError& error) {
        std::cerr << "lentora: replay: "
                  << text::onOneLine(arguments.scenario + ": " + error.pointer + ": " +
                                     error.message)
                  << '\n';
        return exitBadScenario;
    };
    const auto content = readAll(arguments.scenario);
    if (const auto* error = std::get_if<ScenarioError>(&content))
        return fail(*error);
    const auto scenario = readScenario(std::get<std::string>(content));
    if (const auto* error = std::get_if<ScenarioError>(&scenario))
        return fail(*error);

    if (const auto error = missingFolder(std::get<Scenario>(scenario), arguments.pngFolder))
        return fail(*error);

    std::optional<TemporaryHome> temporary;
    std::string home = arguments.home;
    if (home.empty())
        home = temporary.emplace().path();
    if (home.empty()) {
        std::cerr << "lentora: replay: cannot make a temporary home folder; give one with --home\n";
        return exitTrouble;
    }
    std::vector<std::string> pictureErrors;
    const auto violations =
        replay(std::get<Scenario>(scenario),
               {.home = home,
                .files = files,
                .print = [](std::string_view line) { std::cout << line << '\n'; },
                .writePicture =
                    [&](const Picture& picture, const std::string& file) {
                        const std::string path = (fs::path(arguments.pngFolder) / file).string();
                        if (const auto error = png::write(picture, path))
                            pictureErrors.push_back(path + ": " + *error);
                    }});
    std::cout.flush();
    for (const std::string& error : pictureErrors)
        std::cerr << "lentora: replay: " << text::onOneLine(error) << '\n';
    for (const std::string& violation : violations)
        std::cerr << "lentora: replay: " << arguments.scenario << ": contract broken: " << violation
                  << '\n';
    if (!std::cout) {
        std::cerr << "lentora: replay: the trace cannot be written\n";
        return exitTrouble;
    }
    return violations.empty() && pictureErrors.empty() ? EXIT_SUCCESS : exitTrouble;
}

} // namespace lentora::replay
