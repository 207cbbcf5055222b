#include "platform/x11/X11EventTap.h"

#include "platform/x11/TapSession.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace lentora::x11 {

std::optional<WheelZoom> wheelZoomFromName(std::string_view name) {
    if (name == "auto")
        return WheelZoom::automatic;
    if (name == "on")
        return WheelZoom::on;
    if (name == "off")
        return WheelZoom::off;
    return std::nullopt;
}

X11EventTap::X11EventTap(X11EventTapOptions options, Log& log)
    : options_(std::move(options)), log_(log), wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

X11EventTap::~X11EventTap() {
    stop();
}

void X11EventTap::start(TapLocation /*location*/, std::weak_ptr<EventTapClient> client) {
    stop();
    stopping_ = false;
    thread_ = std::thread([this, client = std::move(client)] { run(client); });
    pthread_setname_np(thread_.native_handle(), "lentora.tap");
}

void X11EventTap::stop() {
    if (!thread_.joinable())
        return;
    stopping_ = true;
    interestChanged();
    thread_.join();
}

void X11EventTap::interestChanged() {
    const std::uint64_t one = 1;
    // Full only when the thread has not looked for a very long time: it is awake already then.
    [[maybe_unused]] const ssize_t written = ::write(wake_.get(), &one, sizeof one);
}

void X11EventTap::run(const std::weak_ptr<EventTapClient>& client) {
    const auto session = TapSession::open(options_, log_, client);
    if (const auto present = client.lock())
        present->tapDidStart(session != nullptr);
    if (options_.started)
        options_.started(session != nullptr);
    if (session == nullptr)
        return;
    if (session->run(wake_.get(), stopping_) == TapSession::End::serverLost && options_.serverLost)
        options_.serverLost();
}

} // namespace lentora::x11
