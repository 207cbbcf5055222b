#include "platform/sim/SimDesktop.h"

#include <utility>

namespace lentora::sim {

std::optional<DefaultsValue> SimDefaults::value(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end())
        return std::nullopt;
    return found->second;
}

void SimDefaults::setValue(std::string_view key, DefaultsValue value) {
    values_.insert_or_assign(std::string(key), std::move(value));
}

bool SimTextFiles::createDirectories(const std::string& /*path*/) {
    return !failing;
}

bool SimTextFiles::remove(const std::string& path) {
    return !failing && files_.erase(path) > 0;
}

bool SimTextFiles::rename(const std::string& from, const std::string& to) {
    auto file = failing ? std::map<std::string, std::string>::node_type{} : files_.extract(from);
    if (file.empty())
        return false;
    files_.insert_or_assign(to, std::move(file.mapped()));
    return true;
}

bool SimTextFiles::writeAtomically(const std::string& path, std::string_view text) {
    if (!failing)
        files_.insert_or_assign(path, std::string(text));
    return !failing;
}

bool SimTextFiles::appendToExisting(const std::string& path, std::string_view text) {
    const auto found = files_.find(path);
    if (failing || found == files_.end())
        return false;
    found->second += text;
    return true;
}

std::optional<std::string> SimTextFiles::content(const std::string& path) const {
    const auto found = files_.find(path);
    if (found == files_.end())
        return std::nullopt;
    return found->second;
}

SimDesktop::SimDesktop()
    : timeline(contracts), mainQueue(timeline), executor(timeline), logQueue(contracts),
      eventTap(contracts, timeline, state.permissions) {}

void SimDesktop::checkNothingLeft() {
    if (eventTap.isRunning())
        contracts.noteViolation("the event tap was left running");
    if (panels.shownPanel())
        contracts.noteViolation("a panel was left on the screen");
    if (displayLinks.isRunning())
        contracts.noteViolation("a display link was left running");
    shareableContent.checkAllAnswered();
    captureStreams.checkNothingLeft();
}

} // namespace lentora::sim
