// The one logger of the program. Every line goes to the file of this launch, to the system's
// log, and to a ring of recent lines that a window may show live.
#pragma once

#include "platform/Clock.h"
#include "platform/Executor.h"
#include "platform/MainQueue.h"
#include "platform/TextFiles.h"
#include "platform/UnifiedLog.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lentora {

class Log {
public:
    /// Lines the ring keeps.
    static constexpr std::size_t ringMax = 500;

    /// What the log is built on. `queue` is the log's own ("lentora.log"): nothing else runs on it.
    /// All of it outlives the log and the work the log has queued.
    struct Services {
        TextFiles& files;
        SerialQueue& queue;
        UnifiedLog& unifiedLog;
        WallClock& clock;
        MainQueue& mainQueue;
    };

    /// Starts the log of this launch in `directory`: makes the folder, moves the file of the last
    /// launch aside, writes the banner. Waits for the disk. A folder that cannot be written to
    /// costs the file, nothing else.
    Log(Services services, const std::string& directory);
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /// Records one line. The message is used as it is: line feeds included, nothing escaped or
    /// cut. Any thread; formats and queues, never waits for the disk, reports no failure.
    void log(std::string_view category, std::string_view message);

    /// The most recent lines, oldest first, without line ends. Waits for lines queued before.
    /// Any thread but the log's queue.
    std::vector<std::string> snapshot() const;

    /// Called with every new line, after it is in the ring. Set and called on the main thread;
    /// one subscriber at a time. Lines logged before are not repeated.
    void setOnLine(std::function<void(const std::string&)> onLine);

    /// Where this launch writes, and where the previous launch's file is kept.
    const std::string& filePath() const;
    const std::string& previousFilePath() const;

private:
    struct State;
    Services services_;
    std::shared_ptr<State> state_;
};

} // namespace lentora
