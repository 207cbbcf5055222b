#include "demo/Film.h"

#include "demo/Waiting.h"
#include "png/PngFile.h"

#include <cstdio>
#include <fstream>
#include <utility>

namespace lentora::demo {

namespace {

constexpr std::chrono::milliseconds frameInterval{110};

} // namespace

Film::Film(const std::string& display, std::string folder)
    : camera_(display), folder_(std::move(folder)) {}

void Film::begin() {
    thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

void Film::setCaption(const std::string& caption) {
    const std::lock_guard lock(captionMutex_);
    caption_ = caption;
}

std::string Film::caption() {
    const std::lock_guard lock(captionMutex_);
    return caption_;
}

void Film::run(const std::stop_token& stop) {
    Picture last;
    try {
        for (auto next = Clock::now(); !stop.stop_requested(); next += frameInterval) {
            std::this_thread::sleep_until(next);
            const auto time = Clock::now();
            const std::string words = caption();
            Picture picture = camera_.take();
            if (picture == last && frames_.back().caption == words)
                continue;
            add(picture, words, time);
            last = std::move(picture);
        }
    } catch (const Failure& failure) {
        error_ = failure.what();
    }
    frames_.push_back({"", "", Clock::now()});
}

void Film::add(const Picture& picture, const std::string& caption, Clock::time_point time) {
    char name[32];
    std::snprintf(name, sizeof name, "%05zu.png", frames_.size());
    if (const auto error = png::write(picture, folder_ + "/" + name))
        throw Failure("a frame of the film cannot be written: " + *error);
    frames_.push_back({name, caption, time});
}

void Film::finish() {
    thread_.request_stop();
    thread_.join();
    if (!error_.empty())
        throw Failure(error_);
    std::ofstream list(folder_ + "/frames");
    for (std::size_t i = 0; i + 1 < frames_.size(); ++i) {
        using Hundredths = std::chrono::duration<long, std::centi>;
        const auto shown = std::chrono::round<Hundredths>(frames_[i + 1].time - frames_[0].time) -
                           std::chrono::round<Hundredths>(frames_[i].time - frames_[0].time);
        list << shown.count() << ' ' << frames_[i].name << ' ' << frames_[i].caption << '\n';
    }
    if (!list.flush())
        throw Failure("the film's list of frames cannot be written");
}

} // namespace lentora::demo
