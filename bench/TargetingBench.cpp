// What choosing a window costs the core, by the number of windows on the screen.
#include "capture/IndependentApps.h"
#include "capture/WindowChoice.h"

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

namespace lentora {
namespace {

constexpr Size screen{1920, 1080};
constexpr Point pointer{960, 540};

/// `count` windows of ten processes. All but the last are beside the pointer and overlap the last,
/// which fills the display: nothing ends the search early, and all of them are left out.
struct Desktop {
    explicit Desktop(int count) {
        for (int i = 0; i < count; ++i) {
            const bool last = i == count - 1;
            const auto number = static_cast<std::uint32_t>(i + 1);
            WindowListEntry entry;
            entry.number = number;
            entry.ownerPid = last ? 1 : 100 + i % 10;
            entry.layer = 0;
            entry.bounds = last ? Rect{0, 0, screen.width, screen.height}
                                : Rect{static_cast<double>(i % 30), 10, 800, 400};
            entry.alpha = 1;
            entry.ownerName = "An application";
            entries.push_back(entry);
            ShareableWindow shareable;
            shareable.windowID = number;
            shareable.frame = *entry.bounds;
            shareable.title = "A document with a title of usual length";
            shareable.owningApplication = {.pid = *entry.ownerPid, .name = "An application"};
            content.windows.push_back(shareable);
        }
        content.displays.push_back({.displayID = 1, .frame = {0, 0, screen.width, screen.height}});
    }

    std::vector<WindowListEntry> entries;
    ShareableContent content;
    IndependentApps apps;
};

/// From the system's answers to the target. The copy of the list, which a real answer spares, is
/// counted in.
void chooseAWindow(benchmark::State& state) {
    const Desktop desktop(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const std::vector<WInfo> windows = windowInfos(desktop.entries);
        benchmark::DoNotOptimize(chooseWindow({
            .windows = windows,
            .content = desktop.content,
            .pointer = pointer,
            .screen = screen,
            .focusedWindow = std::nullopt,
            .isIndependent =
                [&](int /*pid*/) { return desktop.apps.contains("org.example.Editor"); },
        }));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(chooseAWindow)->Arg(10)->Arg(100)->Arg(1000)->Complexity(benchmark::oN);

} // namespace
} // namespace lentora
