// The moving picture: a thread that takes pictures of the desktop.
#pragma once

#include "demo/Camera.h"

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lentora::demo {

/// Frames are PNG files in a folder. The file `frames` there has a line for each: how long it is
/// seen, in hundredths of a second, its name, and its caption. What does not change is one frame.
class Film {
public:
    /// Throws `Failure` when the camera cannot be set up.
    Film(const std::string& display, std::string folder);

    /// Ends, and drops what is not finished.
    ~Film() = default;
    Film(const Film&) = delete;
    Film& operator=(const Film&) = delete;

    /// From now on pictures are taken.
    void begin();

    /// What is said below the pictures from now on: one line.
    void setCaption(const std::string& caption);

    /// Ends, and writes `frames`. Throws `Failure`, also when a frame could not be written.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    struct Frame {
        std::string name;
        std::string caption;
        Clock::time_point time;
    };

    void run(const std::stop_token& stop);
    void add(const Picture& picture, const std::string& caption, Clock::time_point time);
    std::string caption();

    const Camera camera_;
    const std::string folder_;
    std::mutex captionMutex_;
    std::string caption_;
    // The thread's, until it has ended.
    std::vector<Frame> frames_;
    std::string error_;
    std::jthread thread_;
};

} // namespace lentora::demo
