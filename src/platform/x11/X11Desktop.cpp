#include "platform/x11/X11Desktop.h"

#include "platform/x11/WindowSession.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace lentora::x11 {

namespace {

using namespace std::chrono_literals;

// After events have come, more of them wait that long until they are looked at, so that a program
// that changes something all the time wakes the thread only so often. Who asks is not kept waiting.
constexpr auto breather = 20ms;

} // namespace

std::unique_ptr<X11Desktop> X11Desktop::open(X11DesktopOptions options, std::string& error) {
    auto session = WindowSession::open(options.display, error);
    if (!session)
        return nullptr;
    Snapshot first = session->refresh();
    if (!first) {
        error = "the X server went away";
        return nullptr;
    }
    return std::unique_ptr<X11Desktop>(
        new X11Desktop(std::move(options), std::move(session), std::move(first)));
}

X11Desktop::X11Desktop(X11DesktopOptions options, std::unique_ptr<WindowSession> session,
                       Snapshot first)
    : options_(std::move(options)), session_(std::move(session)),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), roundTrips_(session_->roundTrips()),
      last_(std::move(first)), thread_([this] { run(); }) {
    pthread_setname_np(thread_.native_handle(), "lentora.windows");
}

X11Desktop::~X11Desktop() {
    stopping_ = true;
    wakeUp();
    thread_.join();
}

void X11Desktop::wakeUp() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wake_.get(), &one, sizeof one);
}

X11Desktop::Snapshot X11Desktop::current() {
    // An answer runs on the thread that would have to serve it.
    if (std::this_thread::get_id() == thread_.get_id())
        return refresh();
    std::unique_lock lock(mutex_);
    const std::uint64_t ticket = ++asked_;
    wakeUp();
    const bool done =
        served_.wait_for(lock, options_.patience, [&] { return ended_ || answered_ >= ticket; });
    return done && !ended_ ? last_ : nullptr;
}

void X11Desktop::fetch(Answer answer) {
    {
        const std::lock_guard lock(mutex_);
        if (!ended_) {
            waiting_.push_back(std::move(answer));
            wakeUp();
            return;
        }
    }
    answer(nullptr);
}

X11Desktop::Snapshot X11Desktop::last() const {
    const std::lock_guard lock(mutex_);
    return last_;
}

std::optional<std::uint64_t> X11Desktop::generationOf(WindowId id) {
    const Snapshot snapshot = current();
    const DesktopWindow* const window = snapshot ? snapshot->find(id) : nullptr;
    return window == nullptr ? std::nullopt : std::optional(window->generation);
}

// The thread

void X11Desktop::run() {
    while (!stopping_) {
        if (!serve())
            break;
        wait();
    }
    std::vector<Answer> late;
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        late.swap(waiting_);
    }
    served_.notify_all();
    if (stopping_)
        return;
    for (const Answer& answer : late)
        answer(nullptr);
    if (options_.serverLost)
        options_.serverLost();
}

// Answers everybody who waits; false when the server is gone.
bool X11Desktop::serve() {
    for (;;) {
        session_->noteEvents();
        if (session_->isLost())
            return false;
        std::vector<Answer> answers;
        std::uint64_t asked = 0;
        {
            const std::lock_guard lock(mutex_);
            if (answered_ == asked_ && waiting_.empty() && !session_->isLayoutStale())
                return true;
            asked = asked_;
            answers.swap(waiting_);
        }
        const Snapshot snapshot = refresh();
        {
            const std::lock_guard lock(mutex_);
            if (snapshot)
                answered_ = asked;
        }
        served_.notify_all();
        for (const Answer& answer : answers)
            answer(snapshot);
    }
}

X11Desktop::Snapshot X11Desktop::refresh() {
    Snapshot snapshot = session_->refresh();
    roundTrips_ = session_->roundTrips();
    if (snapshot) {
        const std::lock_guard lock(mutex_);
        last_ = snapshot;
    }
    return snapshot;
}

void X11Desktop::wait() {
    std::array<pollfd, 2> sources{
        {{wake_.get(), POLLIN, 0}, {session_->fileDescriptor(), POLLIN, 0}}};
    ::poll(sources.data(), sources.size(), -1);
    if ((sources[0].revents & POLLIN) == 0)
        ::poll(sources.data(), 1, static_cast<int>(breather / 1ms));
    if ((sources[0].revents & POLLIN) != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = ::read(wake_.get(), &count, sizeof count);
    }
}

} // namespace lentora::x11
