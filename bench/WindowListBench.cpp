// What it costs to know the windows of a desktop: reading all of them from a real server, and
// asking again when nothing or something has changed. Prints a table in Markdown.
#include "platform/x11/Connection.h"
#include "platform/x11/WindowSession.h"
#include "platform/x11/X11WindowServices.h"
#include "testdesktop/TestDesktop.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lentora {
namespace {

using Clock = std::chrono::steady_clock;
using x11::XcbPtr;

constexpr int windowCount = 200;
constexpr int rounds = 200;

xcb_atom_t atomNamed(const x11::Connection& connection, const std::string& name) {
    const XcbPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection.get(),
        xcb_intern_atom(connection.get(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    return reply ? reply->atom : xcb_atom_t{0};
}

// Windows as applications make them, with the properties that they mostly have.
class Windows {
public:
    explicit Windows(std::unique_ptr<x11::Connection> connection)
        : connection_(std::move(connection)), name_(atomNamed(*connection_, "_NET_WM_NAME")),
          utf8_(atomNamed(*connection_, "UTF8_STRING")),
          type_(atomNamed(*connection_, "_NET_WM_WINDOW_TYPE")),
          normal_(atomNamed(*connection_, "_NET_WM_WINDOW_TYPE_NORMAL")),
          desktop_(atomNamed(*connection_, "_NET_WM_DESKTOP")) {
        for (int i = 0; i < windowCount; ++i)
            add(i);
        finish();
    }

    void rename(int window, int number) {
        set(windows_[static_cast<std::size_t>(window)], name_, utf8_,
            "A document with a title of usual length " + std::to_string(number));
    }

    void raise(int window) {
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(connection_->get(), windows_[static_cast<std::size_t>(window)],
                             XCB_CONFIG_WINDOW_STACK_MODE, &above);
    }

    void finish() {
        const XcbPtr<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
            connection_->get(), xcb_get_input_focus(connection_->get()), nullptr));
    }

private:
    void add(int i) {
        xcb_connection_t* const c = connection_->get();
        const xcb_window_t window = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, connection_->root(),
                          static_cast<std::int16_t>(5 * i), static_cast<std::int16_t>(3 * i), 600,
                          400, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        windows_.push_back(window);
        rename(i, i);
        set(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, std::string("editor\0Editor\0", 14));
        set(window, type_, XCB_ATOM_ATOM, normal_);
        set(window, desktop_, XCB_ATOM_CARDINAL, 0);
        xcb_map_window(c, window);
    }

    void set(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, const std::string& text) {
        xcb_change_property(connection_->get(), XCB_PROP_MODE_REPLACE, window, property, type, 8,
                            static_cast<std::uint32_t>(text.size()), text.data());
    }
    void set(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, std::uint32_t value) {
        xcb_change_property(connection_->get(), XCB_PROP_MODE_REPLACE, window, property, type, 32,
                            1, &value);
    }

    std::unique_ptr<x11::Connection> connection_;
    const xcb_atom_t name_, utf8_, type_, normal_, desktop_;
    std::vector<xcb_window_t> windows_;
};

struct Sample {
    double milliseconds = 0;
    int roundTrips = 0;
};

void print(const char* what, std::vector<Sample> samples) {
    std::ranges::sort(samples, {}, &Sample::milliseconds);
    const auto at = [&](double part) {
        return samples[static_cast<std::size_t>(part * static_cast<double>(samples.size() - 1))];
    };
    std::printf("| %s | %.3f | %.3f | %.3f | %d |\n", what, at(0).milliseconds,
                at(0.5).milliseconds, at(0.99).milliseconds, at(0.5).roundTrips);
}

template <typename Action>
double timed(const Action& action) {
    const auto before = Clock::now();
    action();
    return std::chrono::duration<double, std::milli>(Clock::now() - before).count();
}

void measureReading(const std::string& display) {
    std::vector<Sample> samples;
    std::string error;
    for (int i = 0; i < rounds; ++i) {
        const auto session = x11::WindowSession::open(display, error);
        const int before = session->roundTrips();
        Sample sample;
        sample.milliseconds = timed([&] { session->refresh(); });
        sample.roundTrips = session->roundTrips() - before;
        samples.push_back(sample);
    }
    print("read all", std::move(samples));
}

void measureAsking(const char* what, x11::X11Desktop& desktop, const x11::X11WindowList& list,
                   const std::function<void(int)>& change) {
    std::vector<Sample> samples;
    for (int i = 0; i < rounds; ++i) {
        change(i);
        const int before = desktop.roundTrips();
        Sample sample;
        sample.milliseconds = timed([&] { list.onScreenWindows(); });
        sample.roundTrips = desktop.roundTrips() - before;
        samples.push_back(sample);
    }
    print(what, std::move(samples));
}

int run() {
    auto [server, error] = testdesktop::TestDesktop::start();
    std::unique_ptr<x11::Connection> connection;
    if (server)
        connection = x11::Connection::open(server->displayName(), error);
    if (!connection) {
        std::fprintf(stderr, "bench_windows: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    Windows windows(std::move(connection));
    std::printf("%d windows, %d rounds\n\n", windowCount, rounds);
    std::printf("| | min ms | median ms | p99 ms | round trips |\n|---|---|---|---|---|\n");
    measureReading(server->displayName());

    const auto desktop = x11::X11Desktop::open({.display = server->displayName()}, error);
    posix::DesktopEntries entries({});
    x11::AppIdentities identities(entries);
    const x11::X11WindowList list(*desktop, identities);
    measureAsking("ask, nothing changed", *desktop, list, [](int) {});
    measureAsking("ask, one title changed", *desktop, list, [&](int i) {
        windows.rename(i % windowCount, i);
        windows.finish();
    });
    measureAsking("ask, 200 titles changed", *desktop, list, [&](int i) {
        for (int window = 0; window < windowCount; ++window)
            windows.rename(window, i);
        windows.finish();
    });
    measureAsking("ask, one window raised", *desktop, list, [&](int i) {
        windows.raise(i % windowCount);
        windows.finish();
    });
    return EXIT_SUCCESS;
}

} // namespace
} // namespace lentora

int main() {
    return lentora::run();
}
