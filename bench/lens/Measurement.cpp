#include "lens/Measurement.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace lentora::bench {
namespace {

using std::chrono::milliseconds;

constexpr int changesPerRound = 100;
constexpr int openingsPerRound = 15;
constexpr int loadSeconds = 5;
constexpr int changesPerSecond = 60;
constexpr milliseconds patience{3000};
/// A lens has faded in and a magnifier has seen the last change after this.
constexpr milliseconds settling{700};
/// Changes come at any moment of the longest period of a magnifier that polls.
constexpr milliseconds shortestPause{50};
constexpr milliseconds longestPause{300};

double elapsed(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

std::string hex(std::uint32_t color) {
    char text[16];
    std::snprintf(text, sizeof text, "#%06x", color);
    return text;
}

// Around all pixels that differ.
Area difference(const std::vector<std::uint32_t>& before, const std::vector<std::uint32_t>& after,
                int width) {
    int left = width;
    int top = -1;
    int right = 0;
    int bottom = 0;
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (isNear(before[i], after[i]))
            continue;
        const int x = static_cast<int>(i) % width;
        const int y = static_cast<int>(i) / width;
        left = std::min(left, x);
        right = std::max(right, x + 1);
        top = top < 0 ? y : top;
        bottom = y + 1;
    }
    return top < 0 ? Area{} : Area{left, top, right - left, bottom - top};
}

} // namespace

Measurement::Measurement(testdesktop::TestDesktop& desktop)
    : desktop_(desktop), windows_(desktop.displayName()), source_(desktop.displayName()),
      watch_(desktop.displayName()) {
    desktop_.injector().movePointer(pointer.x, pointer.y);
}

void Measurement::withNobody(Result& result) {
    const Spot spot{smallArea.x + smallArea.width / 2, smallArea.y + smallArea.height / 2};
    source_.reset();
    for (const Change what : {Change::whole, Change::small}) {
        const auto error = measureChanges(
            changesPerRound, what, source_.id(), spot, [] {},
            what == Change::whole ? result.whole : result.small);
        if (!error.empty())
            result.failure = error;
        source_.reset();
    }
    result.busy.push_back(measureLoad(true, -1, [] {}));
    result.idle.push_back(measureLoad(false, -1, [] {}));
}

void Measurement::with(const Magnifier& magnifier, const std::string& folder, Result& result) {
    source_.reset();
    RunningMagnifier running(desktop_, windows_, magnifier, folder);
    result.failure = running.prepare(source_.id());
    if (result.failure.empty() && magnifier.opens == Magnifier::Opens::withPinch)
        result.failure = measureOpening(running, result);
    if (result.failure.empty())
        result.failure = measureMagnifier(running, result);
    desktop_.injector().releaseAll();
}

// The lens is open before and after it.
std::string Measurement::measureOpening(RunningMagnifier& magnifier, Result& result) {
    for (int i = 0; i < openingsPerRound; ++i) {
        magnifier.close();
        if (magnifier.window() != source_.id())
            return "a lens does not close";
        // Each time: where a lens was, the server may have asked for the window to be drawn again.
        source_.reset();
        source_.fill(boxArea, bright);
        if (!magnifier.beginPinch())
            return "a pinch did not begin";
        watch_.begin(watch_.root(), magnifiedBoxSpot);
        const auto start = Clock::now();
        magnifier.engage();
        const auto first = watch_.await(std::nullopt, start + patience);
        const auto complete = first && isNear(watch_.read(magnifiedBoxSpot), bright)
                                  ? first
                                  : watch_.await(bright, start + patience);
        watch_.end();
        magnifier.endPinch();
        if (!first || !complete)
            return "lens " + std::to_string(i + 1) + " does not show the magnified window, but " +
                   hex(watch_.read(magnifiedBoxSpot));
        result.firstPixel.push_back(elapsed(start, *first));
        result.magnifiedPixel.push_back(elapsed(start, *complete));
    }
    source_.reset();
    std::this_thread::sleep_for(settling);
    return {};
}

std::string Measurement::measureMagnifier(RunningMagnifier& magnifier, Result& result) {
    Spot spot;
    const auto nudge = [&] {
        if (!magnifier.needsMotion())
            return;
        // It looks once for each movement.
        source_.finish();
        magnifier.movePointer();
    };
    std::string error = findSmallChange(magnifier, nudge, spot);
    for (const Change what : {Change::whole, Change::small}) {
        source_.reset();
        nudge();
        std::this_thread::sleep_for(settling);
        if (error.empty())
            error = measureChanges(changesPerRound, what, magnifier.window(), spot, nudge,
                                   what == Change::whole ? result.whole : result.small);
    }
    if (!error.empty())
        return error;
    result.busy.push_back(measureLoad(true, magnifier.pid(), nudge));
    result.idle.push_back(measureLoad(false, magnifier.pid(), [] {}));
    // Was that a magnifier at work?
    std::vector<double> unused;
    return measureChanges(1, Change::whole, magnifier.window(), spot, nudge, unused);
}

// Where the magnified change is seen is looked up, not computed: each magnifier has margins of its
// own.
std::string Measurement::findSmallChange(const RunningMagnifier& magnifier, const Nudge& nudge,
                                         Spot& spot) {
    source_.reset();
    nudge();
    std::this_thread::sleep_for(settling);
    const Area area = magnifier.area();
    const auto before = watch_.read(area);
    source_.change(Change::small);
    nudge();
    std::this_thread::sleep_for(settling);
    const Area change = difference(before, watch_.read(area), area.width);
    constexpr int slack = 2;
    if (std::abs(change.width - zoom * smallArea.width) > slack ||
        std::abs(change.height - zoom * smallArea.height) > slack)
        return "shows a change of 2x18 pixels as one of " + std::to_string(change.width) + "x" +
               std::to_string(change.height);
    spot = {area.x + change.x + (change.width - 1) / 2,
            area.y + change.y + (change.height - 1) / 2};
    return {};
}

std::string Measurement::measureChanges(int count, Change what, xcb_window_t shownIn,
                                        const Spot& spot, const Nudge& nudge,
                                        std::vector<double>& times) {
    std::uniform_int_distribution<milliseconds::rep> pause(shortestPause.count(),
                                                           longestPause.count());
    watch_.begin(shownIn, spot);
    std::string error;
    for (int i = 0; i < count && error.empty(); ++i) {
        std::this_thread::sleep_for(milliseconds(pause(random_)));
        const auto before = Clock::now();
        const std::uint32_t color = source_.change(what);
        nudge();
        if (const auto seen = watch_.await(color, before + patience))
            times.push_back(elapsed(before, *seen));
        else
            error = "a change is not shown";
    }
    watch_.end();
    return error;
}

Load Measurement::measureLoad(bool changing, pid_t program, const Nudge& nudge) {
    std::this_thread::sleep_for(settling);
    const auto start = Clock::now();
    const double programBefore = processorSeconds(program);
    const double serverBefore = processorSeconds(desktop_.serverPid());
    for (int i = 0; i < loadSeconds * changesPerSecond; ++i) {
        if (changing) {
            source_.change(Change::whole);
            nudge();
        }
        std::this_thread::sleep_until(
            start + (i + 1) * std::chrono::nanoseconds(1'000'000'000 / changesPerSecond));
    }
    const double wall = elapsed(start, Clock::now()) / 1000;
    return {.program = 100 * (processorSeconds(program) - programBefore) / wall,
            .server = 100 * (processorSeconds(desktop_.serverPid()) - serverBefore) / wall};
}

} // namespace lentora::bench
