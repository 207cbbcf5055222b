// Programs that write nonsense into their properties, change them without end, or take windows away
// while they are looked at.
#include "desktop/ThreadUsage.h"
#include "desktop/WindowFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

namespace lentora::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::SizeIs;

class HostileTest : public WindowFixture {
protected:
    xcb_window_t window() { return app->create({0, 0, 100, 100}); }

    x11::DesktopWindow seen(xcb_window_t id) {
        const x11::DesktopWindow* const found = now()->find(id);
        return found == nullptr ? x11::DesktopWindow{} : *found;
    }
};

TEST_F(HostileTest, TitlesAreBoundedValidTextOnOneLine) {
    const xcb_window_t id = window();
    const auto titleFor = [&](std::string_view bytes, const char* type = "UTF8_STRING") {
        app->setText(id, "_NET_WM_NAME", type, bytes);
        return seen(id).title;
    };
    EXPECT_EQ(titleFor("%n%s%s"), "%n%s%s");
    EXPECT_EQ(titleFor("a\x1B[31m\nb\r\tc\x7F"), "a[31m b  c");
    EXPECT_EQ(titleFor("caf\xE9 \xF0\x9F\x98\x80"), "caf\uFFFD \U0001F600");
    EXPECT_EQ(titleFor({"a\0b", 3}), "ab");
    EXPECT_EQ(titleFor("caf\xE9", "STRING"), "caf\u00E9");
    EXPECT_EQ(titleFor("  "), "");

    std::string huge(10'000'000, 'x');
    huge.replace(1022, 2, "\u20AC");
    EXPECT_EQ(titleFor(huge), std::string(1022, 'x'));

    // In a format that is no text at all, and then the one of old.
    app->setNumbers(id, "_NET_WM_NAME", "UTF8_STRING", {1, 2, 3});
    EXPECT_EQ(seen(id).title, "");
    app->setText(id, "WM_NAME", "STRING", "old");
    EXPECT_EQ(seen(id).title, "old");
    app->setText(id, "WM_NAME", "COMPOUND_TEXT", "\x1B%Gx");
    EXPECT_EQ(seen(id).title, "");
}

TEST_F(HostileTest, ClassesWithoutEndsAreTakenAsFarAsTheyGo) {
    const xcb_window_t id = window();
    const auto classFor = [&](std::string_view bytes) {
        app->setClass(id, bytes);
        return seen(id).instanceName + "|" + seen(id).className;
    };
    EXPECT_EQ(classFor({"one\0two\0", 8}), "one|two");
    EXPECT_EQ(classFor({"one\0two", 7}), "one|two");
    EXPECT_EQ(classFor("one"), "one|");
    EXPECT_EQ(classFor(""), "|");
    EXPECT_EQ(classFor({"\0\0\0\0", 4}), "|");
    EXPECT_EQ(classFor(std::string(100'000, 'x')), std::string(256, 'x') + "|");
}

TEST_F(HostileTest, PropertiesOfTheWrongKindSayNothing) {
    const xcb_window_t id = window();
    app->setText(id, "_NET_WM_STATE", "ATOM", "text");
    app->setNumbers(id, "_NET_WM_WINDOW_TYPE", "CARDINAL", {1, 2, 3});
    app->setNumbers(id, "_NET_WM_WINDOW_OPACITY", "CARDINAL", {});
    app->setNumbers(id, "_NET_WM_DESKTOP", "INTEGER", {7});
    app->setNumbers(id, "_GTK_FRAME_EXTENTS", "CARDINAL", {0xFFFFFFFF, 1, 1, 1});
    app->setText(app->root(), "RESOURCE_MANAGER", "STRING", "Xft.dpi: 1e300\nXft.dpi:");
    x11::DesktopWindow found = seen(id);
    EXPECT_EQ(found.bounds, (Rect{0, 0, 100, 100}));
    EXPECT_EQ(found.alpha, 1);
    EXPECT_EQ(found.layer, 0);
    EXPECT_TRUE(found.isOnScreen);
    // Shadows that leave nothing of the window.
    app->setNumbers(id, "_GTK_FRAME_EXTENTS", "CARDINAL", {50, 50, 10, 10});
    EXPECT_EQ(seen(id).bounds, (Rect{0, 0, 100, 100}));
    app->setNumbers(id, "_GTK_FRAME_EXTENTS", "CARDINAL", {10, 20, 5, 15});
    EXPECT_EQ(seen(id).bounds, (Rect{10, 5, 70, 80}));
    app->setNumbers(id, "_NET_WM_WINDOW_OPACITY", "CARDINAL", {0});
    EXPECT_EQ(seen(id).alpha, 0);
    EXPECT_EQ(seen(app->create({-5000, -5000, 20000, 20000})).bounds,
              (Rect{-5000, -5000, 20000, 20000}));
    EXPECT_EQ(seen(app->create({7, 8, 1, 1})).bounds, (Rect{7, 8, 1, 1}));
}

// A root window that lies about its manager, too.
TEST_F(HostileTest, ListsOfWindowsThatDoNotExistAreSearchedForOnce) {
    const xcb_window_t id = window();
    app->setNumbers(id, "_NET_SUPPORTING_WM_CHECK", "WINDOW", {id});
    app->setNumbers(app->root(), "_NET_SUPPORTING_WM_CHECK", "WINDOW", {id});
    app->setNumbers(app->root(), "_NET_CLIENT_LIST", "WINDOW", {0, 1, app->root(), 0xFFFFFFFF});
    app->setNumbers(app->root(), "_NET_ACTIVE_WINDOW", "WINDOW", {0xFFFFFFFF});
    EXPECT_EQ(seen(id).id, id);
    EXPECT_EQ(now()->focusedWindow, std::nullopt);
    const int before = desktop->roundTrips();
    now();
    // One to be in step, and one for the focused window that is not there.
    EXPECT_LE(desktop->roundTrips() - before, 2);
}

TEST_F(HostileTest, ATitleThatChangesTenThousandTimesASecondCostsNextToNothing) {
    const xcb_window_t id = window();
    EXPECT_EQ(seen(id).id, id);
    const ThreadUsage thread("lentora.windows");
    const auto before = thread.cpuTime();
    const auto began = std::chrono::steady_clock::now();
    constexpr int bursts = 100;
    constexpr int changesOfBurst = 100;
    const xcb_atom_t name = app->atom("_NET_WM_NAME");
    const xcb_atom_t utf8 = app->atom("UTF8_STRING");
    for (int burst = 0; burst < bursts; ++burst) {
        for (int change = 0; change < changesOfBurst; ++change) {
            const std::string title = std::to_string(burst * changesOfBurst + change);
            xcb_change_property(app->connection().get(), XCB_PROP_MODE_REPLACE, id, name, utf8, 8,
                                static_cast<std::uint32_t>(title.size()), title.data());
        }
        app->finish();
        // Somebody asks now and then.
        if (burst % 10 == 0) {
            EXPECT_TRUE(desktop->current());
        }
        ::poll(nullptr, 0, 10);
    }
    const auto elapsed = std::chrono::steady_clock::now() - began;
    const auto used = thread.cpuTime() - before;
    EXPECT_LT(used, elapsed / 10);
    RecordProperty("cpu_percent", static_cast<int>(100 * used / elapsed));
    EXPECT_EQ(seen(id).title, "9999");
}

TEST_F(HostileTest, NobodyIsAskedWhileNothingHappens) {
    window();
    now();
    const ThreadUsage thread("lentora.windows");
    // What it still had to do after its answer.
    ASSERT_TRUE(thread.awaitSleep());
    const auto before = thread.wakeUps();
    ::poll(nullptr, 0, 1000);
    EXPECT_EQ(thread.wakeUps(), before);
}

// The windows of a program that does everything with them that can be done, at random.
class RandomProgram {
public:
    RandomProgram(WindowClient& client, unsigned seed) : client_(client), random_(seed) {}

    void act() {
        if (windows_.size() < 5 || (windows_.size() < 60 && below(4) == 0))
            return create();
        const std::size_t at = below(windows_.size());
        const xcb_window_t window = windows_[at];
        switch (below(12)) {
        case 0:
        case 1:
            client_.destroy(window);
            free_.push_back(window);
            windows_.erase(windows_.begin() + static_cast<std::ptrdiff_t>(at));
            return;
        case 2:
            return client_.move(window, number(-100, 1900), number(-100, 1000));
        case 3:
            return client_.resize(window, number(1, 2000), number(1, 1200));
        case 4:
            return client_.raise(window);
        case 5:
            return client_.lower(window);
        case 6:
            return client_.putAbove(window, windows_[below(windows_.size())]);
        case 7:
            return client_.unmap(window);
        case 8:
            return client_.map(window);
        case 9:
            return setTitle(window);
        case 10:
            return client_.reparent(window, client_.root(), number(0, 500), number(0, 500));
        default:
            // Into another window, which may be inside of this one.
            return client_.reparent(window, windows_[below(windows_.size())], 5, 5);
        }
    }

private:
    std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_);
    }
    int number(int first, int last) {
        return std::uniform_int_distribution<int>(first, last)(random_);
    }
    void create() {
        WindowOptions options{.overrideRedirect = below(3) == 0, .mapped = below(4) != 0};
        // Numbers are used again, and those of children that went with their parents are free.
        if (!free_.empty() && below(2) == 0) {
            options.id = free_.back();
            free_.pop_back();
        }
        windows_.push_back(client_.create(
            {number(0, 1800), number(0, 1000), number(1, 600), number(1, 600)}, options));
        setTitle(windows_.back());
    }
    void setTitle(xcb_window_t window) {
        xcb_connection_t* const c = client_.connection().get();
        const std::string title = std::to_string(number(0, 1000));
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                            static_cast<std::uint32_t>(title.size()), title.data());
    }

    WindowClient& client_;
    std::mt19937 random_;
    std::vector<xcb_window_t> windows_;
    std::vector<xcb_window_t> free_;
};

std::vector<std::string> described(const x11::DesktopSnapshot& snapshot) {
    std::vector<std::string> lines;
    for (const x11::DesktopWindow& window : snapshot.windows) {
        const Rect& bounds = window.bounds;
        std::string line = std::to_string(window.id);
        for (const double number : {bounds.x, bounds.y, bounds.width, bounds.height})
            line += " " + std::to_string(static_cast<int>(number));
        lines.push_back(line + " layer " + std::to_string(window.layer) + " " + window.title +
                        (window.isOnScreen ? "" : " off"));
    }
    return lines;
}

// LENTORA_WINDOW_OPERATIONS sets how many.
TEST_F(HostileTest, WhatIsKnownIsWhatANewcomerSeesWhateverHappened) {
    const char* const wanted = std::getenv("LENTORA_WINDOW_OPERATIONS");
    const int operations = wanted != nullptr ? std::atoi(wanted) : 10'000;
    constexpr int rounds = 10;
    RandomProgram program(*app, 1);
    x11::X11WindowList list(*desktop, identities);
    for (int round = 0; round < rounds; ++round) {
        std::atomic<bool> done = false;
        std::thread acting([&] {
            for (int i = 0; i < operations / rounds; ++i)
                program.act();
            app->finish();
            done = true;
        });
        while (!done)
            EXPECT_TRUE(list.onScreenWindows());
        acting.join();
        const auto kept = now();
        std::string error;
        const auto newcomer = x11::X11Desktop::open({.display = server->displayName()}, error);
        ASSERT_TRUE(newcomer) << error;
        EXPECT_EQ(described(*kept), described(*newcomer->last())) << "round " << round;
    }
}

} // namespace
} // namespace lentora::test
