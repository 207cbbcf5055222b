#include "demo/Tour.h"

#include "demo/Waiting.h"
#include "png/PngFile.h"

#include <cstdio>
#include <iostream>
#include <utility>

namespace lentora::demo {

namespace {

using std::chrono::milliseconds;
using testdesktop::Key;

// What a viewer needs to see what has happened.
constexpr milliseconds glance{400};

// Parts of the screen. The hands of a clock that ticks are less than the first, a lens is more than
// the second.
constexpr double stillness = 0.003;
constexpr double lensSize = 0.05;

} // namespace

Tour::Tour(DemoDesktop& desktop, std::string folder, Film* film)
    : desktop_(desktop), folder_(std::move(folder)), film_(film), camera_(desktop.displayName()),
      hands_(desktop.injector()) {}

void Tour::run() {
    hands_.jumpTo(desktop_.page().at(0.8, 0.08));
    bareDesktop_ = awaitCalm();
    say("A page with small print");
    if (film_ != nullptr)
        film_->begin();
    station("desktop");
    heldLens();
    lockedLens();
    retarget();
    holdStill();
    close();
}

void Tour::heldLens() {
    say("Hold Alt and spread two fingers: a lens opens over the window below the pointer");
    hands_.moveTo(desktop_.page().at(0.06, 0.62));
    hands_.press(Key::AltL);
    desktop_.awaitLog("gate active");
    hands_.pinchTo(1.6);
    desktop_.awaitLog("FIRST FRAME on screen");
    awaitLens();
    station("lens");
    say("Move the pointer: the lens shows what is there");
    hands_.moveTo(desktop_.page().at(0.75, 0.64));
    station("lens-follows");
    say("Let go of Alt: the lens is gone");
    hands_.release(Key::AltL);
    desktop_.awaitLog("RELEASE (gateUp)");
    awaitNoLens();
    station("closed");
}

void Tour::lockedLens() {
    hands_.moveTo(desktop_.page().at(0.3, 0.55));
    say("Press Alt twice and hold it: a badge says that the next lens will stay");
    hands_.pressTwiceAndHold(Key::AltL);
    desktop_.awaitLog("ARMED");
    station("armed");
    say("Spread two fingers and let go of everything: the lens stays");
    hands_.pinchTo(1.5);
    desktop_.awaitLog("FIRST FRAME on screen");
    awaitLens();
    hands_.release(Key::AltL);
    station("locked");
    say("It follows the pointer");
    hands_.moveTo(desktop_.page().at(0.06, 0.35));
    station("locked-follows");
}

void Tour::retarget() {
    say("Alt twice, held, and a pinch over another window: the lens moves there");
    hands_.moveTo(desktop_.terminal().at(0.55, 0.6));
    hands_.pressTwiceAndHold(Key::AltL);
    hands_.pinchTo(1.15);
    desktop_.awaitLog("RETARGET: move");
    hands_.release(Key::AltL);
    station("other-window");
}

void Tour::holdStill() {
    say("Hold Super: the pointer moves, the lens holds still");
    hands_.press(Key::SuperL);
    desktop_.awaitLog("detach on");
    const Picture before = awaitCalm();
    hands_.moveTo(desktop_.terminal().at(0.15, 0.3));
    station("held-still");
    if (difference(before, awaitCalm()) > lensSize)
        throw Failure("the lens moved although Super was held");
    hands_.release(Key::SuperL);
    desktop_.awaitLog("detach off");
    pause(glance);
}

void Tour::close() {
    say("Press Esc: the lens closes");
    hands_.tap(Key::Escape);
    desktop_.awaitLog("RELEASE (escKey)");
    awaitNoLens();
    station("escape");
    pause(glance);
}

void Tour::awaitLens() {
    await([this] { return difference(camera_.take(false), bareDesktop_) > lensSize; },
          "no lens is to be seen");
}

void Tour::awaitNoLens() {
    await([this] { return difference(camera_.take(false), bareDesktop_) < stillness; },
          "the lens does not go away");
}

Picture Tour::awaitCalm() const {
    constexpr milliseconds lookInterval{60};
    constexpr int calmLooks = 5;
    constexpr int mostLooks = 50;
    Picture last = camera_.take(false);
    for (int calm = 0, looks = 0; calm < calmLooks && looks < mostLooks; ++looks) {
        pause(lookInterval);
        Picture next = camera_.take(false);
        calm = difference(last, next) < stillness ? calm + 1 : 0;
        last = std::move(next);
    }
    return last;
}

void Tour::say(const std::string& what) {
    said_ = what;
    if (film_ != nullptr)
        film_->setCaption(what);
}

void Tour::station(const std::string& name) {
    awaitCalm();
    char number[16];
    std::snprintf(number, sizeof number, "%02d-", ++stations_);
    const std::string file = number + name + ".png";
    if (const auto error = png::write(camera_.take(), folder_ + "/" + file))
        throw Failure("the picture " + file + " cannot be written: " + *error);
    std::cout << file << ": " << said_ << std::endl;
    pause(glance);
}

} // namespace lentora::demo
