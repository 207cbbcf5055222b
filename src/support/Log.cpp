#include "support/Log.h"

#include <cstdio>
#include <deque>
#include <utility>

namespace lentora {

namespace {

std::string formatted(const TimeOfDay& time) {
    char text[16];
    const int length = std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", time.hour % 100,
                                     time.minute % 100, time.second % 100, time.millisecond % 1000);
    return {text, static_cast<std::size_t>(length)};
}

} // namespace

// Shared with the queued work, which may run after the log itself is gone. `ring` is touched on
// the log's queue only, `onLine` on the main thread only.
struct Log::State {
    std::string filePath;
    std::string previousFilePath;
    std::deque<std::string> ring;
    std::function<void(const std::string&)> onLine;
};

Log::Log(Services services, const std::string& directory)
    : services_(services), state_(std::make_shared<State>()) {
    state_->filePath = directory + "/spike.log";
    state_->previousFilePath = directory + "/spike.previous.log";
    services_.files.createDirectories(directory);
    services_.files.remove(state_->previousFilePath);
    services_.files.rename(state_->filePath, state_->previousFilePath);
    services_.files.writeAtomically(state_->filePath,
                                    "===== Lentora spike log — launch " +
                                        formatted(services_.clock.localTimeOfDay()) + " =====\n");
}

Log::~Log() = default;

void Log::log(std::string_view category, std::string_view message) {
    LogRecord record{std::string(category), std::string(message), {}};
    const std::string time = formatted(services_.clock.localTimeOfDay());
    record.line.reserve(time.size() + category.size() + message.size() + 6);
    record.line.append("[").append(time).append("] [").append(category).append("] ");
    record.line.append(message);

    services_.queue.post([services = services_, state = state_, record = std::move(record)] {
        services.unifiedLog.write(record);
        services.files.appendToExisting(state->filePath, record.line + "\n");
        state->ring.push_back(record.line);
        if (state->ring.size() > ringMax)
            state->ring.pop_front();
        services.mainQueue.post([state, line = record.line] {
            // A copy: the subscriber may replace itself in the call.
            if (const auto onLine = state->onLine)
                onLine(line);
        });
    });
}

std::vector<std::string> Log::snapshot() const {
    std::vector<std::string> lines;
    services_.queue.runAndWait([&] { lines.assign(state_->ring.begin(), state_->ring.end()); });
    return lines;
}

void Log::setOnLine(std::function<void(const std::string&)> onLine) {
    state_->onLine = std::move(onLine);
}

const std::string& Log::filePath() const {
    return state_->filePath;
}

const std::string& Log::previousFilePath() const {
    return state_->previousFilePath;
}

} // namespace lentora
