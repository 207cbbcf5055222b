#include "demo/Hands.h"

#include "demo/Waiting.h"

#include <algorithm>
#include <cmath>

namespace lentora::demo {

namespace {

using std::chrono::milliseconds;

// What touchpads and mice report at.
constexpr milliseconds reportInterval{16};

constexpr milliseconds shortPress{90};
constexpr milliseconds pinchTime{700};
constexpr double pixelsPerReport = 9;

void taken(bool isTaken) {
    if (!isTaken)
        throw Failure("the private desktop took no input");
}

/// A movement that starts and ends gently: 0 to 1 over 0 to 1.
double eased(double part) {
    return part * part * (3 - 2 * part);
}

template <typename Move>
void glide(int reports, const Move& move) {
    for (int i = 1; i <= reports; ++i) {
        pause(reportInterval);
        taken(move(eased(static_cast<double>(i) / reports)));
    }
}

} // namespace

void Hands::moveTo(Spot spot) {
    const double dx = spot.x - at_.x;
    const double dy = spot.y - at_.y;
    const int reports = std::clamp(static_cast<int>(std::hypot(dx, dy) / pixelsPerReport), 8, 60);
    const Spot from = at_;
    glide(reports, [&](double part) {
        at_ = {from.x + static_cast<int>(std::lround(part * dx)),
               from.y + static_cast<int>(std::lround(part * dy))};
        return injector_.movePointer(at_.x, at_.y);
    });
}

void Hands::jumpTo(Spot spot) {
    taken(injector_.movePointer(spot.x, spot.y));
    at_ = spot;
}

void Hands::press(testdesktop::Key key) {
    taken(injector_.press(key));
}

void Hands::release(testdesktop::Key key) {
    taken(injector_.release(key));
}

void Hands::tap(testdesktop::Key key) {
    press(key);
    pause(shortPress);
    release(key);
}

void Hands::pressTwiceAndHold(testdesktop::Key key) {
    tap(key);
    pause(shortPress);
    press(key);
}

void Hands::pinchTo(double scale) {
    taken(injector_.pinchBegin());
    glide(static_cast<int>(pinchTime / reportInterval),
          [&](double part) { return injector_.pinchUpdate(1 + part * (scale - 1)); });
    taken(injector_.pinchEnd());
}

} // namespace lentora::demo
