// A user's hands: movements at the pace of a person.
#pragma once

#include "testdesktop/InputInjector.h"

#include <chrono>

namespace lentora::demo {

struct Spot {
    int x = 0;
    int y = 0;
};

/// Pixels of the screen. Every movement throws `Failure` when the desktop does not take it, and
/// `Interrupted`.
class Hands {
public:
    explicit Hands(testdesktop::InputInjector& injector) : injector_(injector) {}

    /// Glides there in a time that suits the distance.
    void moveTo(Spot spot);
    /// Is there at once.
    void jumpTo(Spot spot);

    void press(testdesktop::Key key);
    void release(testdesktop::Key key);
    void tap(testdesktop::Key key);

    /// Two short presses, the second of which goes on.
    void pressTwiceAndHold(testdesktop::Key key);

    /// A whole pinch, until the fingers are as many times as far apart as at its begin.
    void pinchTo(double scale);

private:
    testdesktop::InputInjector& injector_;
    Spot at_;
};

} // namespace lentora::demo
