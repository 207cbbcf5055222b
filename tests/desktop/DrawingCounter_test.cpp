#include "platform/x11/DrawingCounter.h"
#include "testdesktop/TestDesktop.h"

#include <gtest/gtest.h>
#include <xcb/xcbext.h>

#include <poll.h>
#include <sys/socket.h>

#include <memory>
#include <optional>
#include <string>

namespace lentora::test {
namespace {

// How long a question may stay without an answer until its sender counts as held back.
constexpr int quietMs = 150;
constexpr int patienceMs = 10'000;

class DrawingCounterTest : public testing::Test {
protected:
    void SetUp() override {
        auto start = testdesktop::TestDesktop::start({.withTouchpad = false});
        ASSERT_TRUE(start.desktop) << start.error;
        desktop = std::move(start.desktop);
        std::string error;
        drawer = x11::Connection::open(desktop->displayName(), error);
        reader = x11::Connection::open(desktop->displayName(), error);
        ASSERT_TRUE(drawer && reader) << error;
        counter.emplace(*drawer);
        finish(*drawer);
    }

    static void finish(const x11::Connection& connection) {
        const x11::XcbPtr<xcb_get_input_focus_reply_t> done(xcb_get_input_focus_reply(
            connection.get(), xcb_get_input_focus(connection.get()), nullptr));
    }

    // Sends a question behind what the reader waits for.
    void ask() {
        question = xcb_get_input_focus(reader->get());
        xcb_flush(reader->get());
    }

    bool isAnswered(int withinMs) {
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        pollfd source{reader->fileDescriptor(), POLLIN, 0};
        while (xcb_poll_for_reply(reader->get(), question.sequence, &reply, &error) == 0) {
            if (::poll(&source, 1, withinMs) != 1)
                return false;
        }
        const x11::XcbPtr<void> ownedReply(reply);
        const x11::XcbPtr<xcb_generic_error_t> ownedError(error);
        return reply != nullptr;
    }

    std::unique_ptr<testdesktop::TestDesktop> desktop;
    std::unique_ptr<x11::Connection> drawer;
    std::unique_ptr<x11::Connection> reader;
    std::optional<x11::DrawingCounter> counter;
    xcb_get_input_focus_cookie_t question{};
};

TEST_F(DrawingCounterTest, HoldsAReaderBackUntilTheMomentAndNoLonger) {
    const auto first = counter->mark();
    const auto second = counter->mark();
    xcb_flush(drawer->get());
    const auto third = counter->mark();

    for (const auto& past : {second, first, x11::DrawingCounter::Moment{}}) {
        x11::DrawingCounter::await(*reader, past);
        ask();
        EXPECT_TRUE(isAnswered(patienceMs)) << past.value;
    }
    x11::DrawingCounter::await(*reader, third);
    ask();
    EXPECT_FALSE(isAnswered(quietMs));
    xcb_flush(drawer->get());
    EXPECT_TRUE(isAnswered(patienceMs));
    const x11::XcbPtr<xcb_generic_event_t> event(xcb_poll_for_event(reader->get()));
    EXPECT_FALSE(event);
}

TEST_F(DrawingCounterTest, LetsAReaderGoWhenTheCounterOrItsClientGoes) {
    auto never = counter->mark();
    ++never.value;
    x11::DrawingCounter::await(*reader, never);
    ask();
    EXPECT_FALSE(isAnswered(quietMs));
    counter.reset();
    xcb_flush(drawer->get());
    EXPECT_TRUE(isAnswered(patienceMs));

    counter.emplace(*drawer);
    never = counter->mark();
    ++never.value;
    finish(*drawer);
    x11::DrawingCounter::await(*reader, never);
    ask();
    EXPECT_FALSE(isAnswered(quietMs));
    const std::unique_ptr<x11::Connection> gone = std::move(drawer);
    ::shutdown(gone->fileDescriptor(), SHUT_RDWR);
    EXPECT_TRUE(isAnswered(patienceMs));
    counter.reset();
}

} // namespace
} // namespace lentora::test
