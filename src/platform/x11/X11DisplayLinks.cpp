#include "platform/x11/X11DisplayLinks.h"

#include "platform/x11/RefreshSession.h"
#include "support/Lifetime.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace lentora::x11 {

namespace {

// Seconds. The server tells of a refresh when it is over, so two lie apart; a monitor that is off
// may have none, or any number.
constexpr double longestWait = 0.25;
constexpr double shortestInterval = 0.002;

// So many in a row do not come from a monitor. One may: what came while the main thread was busy is
// read late.
constexpr int mostShortIntervals = 3;

// Seconds. What runs that late says that the main thread was busy, and nothing of the server.
constexpr double late = 0.05;

// Seconds until a server that was given up is asked again.
constexpr double askAgainAfter = 2;

// Decides when to ask for the next refresh, and whom: the server, or a timer while the server does
// not tell, or tells what cannot be. Before a link rests, it has to hear of the pointer from then
// on; what the pointer did until then, one more call finds out.
class Link final : public DisplayLink, private RefreshListener {
public:
    Link(std::shared_ptr<RefreshSession> session, const Rect& display,
         DisplayLinks::OnRefresh onRefresh)
        : session_(std::move(session)),
          onRefresh_(std::make_shared<DisplayLinks::OnRefresh>(std::move(onRefresh))),
          display_(onRoot(session_->layout(), display)), window_(session_->add(*this, display_)),
          isTimed_(!session_->hasPresent()) {
        askNext();
        session_->send();
    }
    ~Link() override { session_->remove(window_); }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    void follow(const Rect& display) override {
        display_ = onRoot(session_->layout(), display);
        session_->move(window_, display_);
        session_->send();
    }

    void restUntilPointerMoves() override { mayRest_ = true; }

    void wake() override {
        mayRest_ = false;
        if (pace_ != Pace::resting)
            return;
        beatOn();
        session_->send();
    }

private:
    enum class Pace {
        beating,
        // Beating, and told of the pointer.
        listening,
        resting,
    };

    double now() const { return session_->services().clock.now(); }

    // RefreshListener.
    void monitorRefreshed(double timestamp, std::uint64_t count) override {
        // More than one question may have been open.
        if (count <= count_)
            return;
        const bool isShort = count_ > 0 && timestamp - lastRefresh_ < shortestInterval;
        shortIntervals_ = isShort ? shortIntervals_ + 1 : 0;
        lastRefresh_ = timestamp;
        count_ = count;
        if (shortIntervals_ >= mostShortIntervals)
            return giveUpServer();
        takeServer();
        if (pace_ != Pace::resting)
            beat(timestamp);
    }
    void pointerMoved() override { wake(); }

    void beat(double timestamp) {
        ++beats_;
        mayRest_ = false;
        const auto alive = lifetime_.watch();
        const auto held = onRefresh_;
        (*held)({.timestamp = timestamp,
                 .isAfterRest = std::exchange(hasRested_, false),
                 .lastLeftOut = timestamp - refreshInterval(session_->layout(), display_)});
        if (!alive)
            return;
        if (!mayRest_)
            return beatOn();
        if (pace_ == Pace::listening) {
            pace_ = Pace::resting;
            hasRested_ = true;
            return;
        }
        if (session_->listenToPointer(window_, true))
            pace_ = Pace::listening;
        askNext();
    }

    void beatOn() {
        if (std::exchange(pace_, Pace::beating) != Pace::beating)
            session_->listenToPointer(window_, false);
        askNext();
    }

    void askNext() {
        if (session_->isLost())
            return;
        if (isTimed_)
            return startTimer();
        session_->askForRefreshAfter(window_, count_);
        watchOver();
    }

    void startTimer() {
        const double time = now();
        // A late call does not delay all that follow.
        next_ = std::max(next_ + refreshInterval(session_->layout(), display_), time);
        session_->services().mainQueue.postAfter(
            next_ - time, [this, alive = lifetime_.watch(), timer = ++timer_] {
                if (!alive || timer != timer_)
                    return;
                askServerAgain();
                beat(now());
                if (alive)
                    session_->send();
            });
    }

    void giveUpServer() {
        isTimed_ = true;
        // Its numbers may begin anew.
        count_ = 0;
        shortIntervals_ = 0;
        askAgainAt_ = now() + askAgainAfter;
        if (pace_ != Pace::resting)
            askNext();
    }

    void askServerAgain() {
        if (!session_->hasPresent() || now() < askAgainAt_)
            return;
        askAgainAt_ = now() + askAgainAfter;
        session_->askForRefreshAfter(window_, count_);
    }

    // It answers, so that the timer is not needed.
    void takeServer() {
        isTimed_ = false;
        ++timer_;
    }

    void watchOver() {
        if (std::exchange(isWatched_, true))
            return;
        session_->services().mainQueue.postAfter(
            longestWait,
            [this, alive = lifetime_.watch(), beats = beats_, due = now() + longestWait] {
                if (!alive)
                    return;
                isWatched_ = false;
                const bool isLate = now() - due > late;
                // An answer may be there, and only not be read yet.
                session_->readArrived();
                if (!alive || isTimed_ || pace_ == Pace::resting)
                    return;
                if (beats_ != beats || isLate)
                    return watchOver();
                giveUpServer();
                session_->send();
            });
    }

    const std::shared_ptr<RefreshSession> session_;
    // Held while it is called, because the call may let go of the link.
    const std::shared_ptr<DisplayLinks::OnRefresh> onRefresh_;
    // On the root window.
    PixelRect display_;
    const xcb_window_t window_;

    Pace pace_ = Pace::beating;
    bool mayRest_ = false;
    bool hasRested_ = false;

    bool isTimed_;
    bool isWatched_ = false;
    // Of the timer that counts.
    int timer_ = 0;
    int shortIntervals_ = 0;
    // The server's number of the last refresh; 0 before the first.
    std::uint64_t count_ = 0;
    std::uint64_t beats_ = 0;
    // Times of the media clock: the last refresh that the server told of, the timer's next, and
    // when a server that was given up is asked again.
    double lastRefresh_ = 0;
    double next_ = 0;
    double askAgainAt_ = 0;
    Lifetime lifetime_;
};

} // namespace

std::unique_ptr<X11DisplayLinks> X11DisplayLinks::open(X11DisplayLinksOptions options,
                                                       const DisplayLinkServices& services,
                                                       std::string& error) {
    auto connection = Connection::open(options.display, error);
    if (!connection)
        return nullptr;
    return std::unique_ptr<X11DisplayLinks>(new X11DisplayLinks(
        std::make_shared<RefreshSession>(std::move(connection), std::move(options), services)));
}

X11DisplayLinks::X11DisplayLinks(std::shared_ptr<RefreshSession> session)
    : session_(std::move(session)) {}

X11DisplayLinks::~X11DisplayLinks() = default;

std::uint64_t X11DisplayLinks::refreshesTold() const {
    return session_->refreshesTold();
}

std::unique_ptr<DisplayLink> X11DisplayLinks::start(const Rect& display, OnRefresh onRefresh) {
    return std::make_unique<Link>(session_, display, std::move(onRefresh));
}

} // namespace lentora::x11
