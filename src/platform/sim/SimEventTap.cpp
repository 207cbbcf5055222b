#include "platform/sim/SimEventTap.h"

#include <utility>

namespace lentora::sim {

namespace {

// The events a tap listens to, by type. The gesture bit brings every kind of gesture.
bool isOfInterest(EventType type) {
    switch (type) {
    case EventType::leftMouseDown:
    case EventType::leftMouseUp:
    case EventType::rightMouseDown:
    case EventType::rightMouseUp:
    case EventType::leftMouseDragged:
    case EventType::keyDown:
    case EventType::keyUp:
    case EventType::flagsChanged:
    case EventType::beginGesture:
    case EventType::endGesture:
    case EventType::gesture:
    case EventType::magnify:
    case EventType::smartMagnify:
    case EventType::tapDisabledByTimeout:
    case EventType::tapDisabledByUserInput:
        return true;
    case EventType::scrollWheel:
        return false;
    }
    return false;
}

bool isNotice(EventType type) {
    return type == EventType::tapDisabledByTimeout || type == EventType::tapDisabledByUserInput;
}

} // namespace

void SimEventTap::start(TapLocation /*location*/, std::weak_ptr<EventTapClient> client) {
    contracts_.requireRole(ThreadRole::main, "EventTap::start");
    if (started_)
        contracts_.noteViolation("EventTap::start while the tap is running");
    started_ = true;
    client_ = std::move(client);
    timeline_.schedule(0, ThreadRole::tap, [this, generation = ++generation_] {
        const auto running = client_.lock();
        if (generation != generation_ || !running)
            return;
        installed_ = permissions_.accessibility && permissions_.inputMonitoring;
        enabled_ = installed_;
        knownInterest_ = running->swallowInterest();
        running->tapDidStart(installed_);
    });
}

void SimEventTap::stop() {
    contracts_.requireRole(ThreadRole::main, "EventTap::stop");
    ++generation_;
    started_ = installed_ = enabled_ = false;
    client_.reset();
}

void SimEventTap::enable() {
    enabled_ = installed_;
}

void SimEventTap::interestChanged() {
    if (const auto client = client_.lock())
        knownInterest_ = client->swallowInterest();
}

std::optional<bool> SimEventTap::deliver(InputEvent& event) {
    const auto client = client_.lock();
    if (!client || !isEnabled() || !isOfInterest(event.type))
        return std::nullopt;
    if (isNotice(event.type))
        enabled_ = false;
    const ContractChecker::RoleScope scope(contracts_, ThreadRole::tap);
    if (client->swallowInterest() != knownInterest_)
        contracts_.noteViolation("the swallow interest changed and the tap was not told");
    const EventFlags flagsBefore = event.flags;
    const bool swallowed = client->handle(event);
    checkForeseen(knownInterest_, event, swallowed, flagsBefore);
    knownInterest_ = client->swallowInterest();
    return swallowed;
}

// A window system that withholds events by grabs acts on what was said before the event. What the
// client swallows has to be what it said.
void SimEventTap::checkForeseen(const SwallowInterest& foreseen, const InputEvent& event,
                                bool swallowed, EventFlags flagsBefore) {
    using Pinch = SwallowInterest::Pinch;
    bool expected = swallowed;
    if (event.type == EventType::magnify && event.isConvertible) {
        expected = foreseen.pinch == Pinch::always ||
                   (foreseen.pinch == Pinch::withGate && foreseen.gateHeld);
    } else if (event.type == EventType::keyDown && event.isConvertible) {
        const bool shortcut =
            foreseen.shortcut && foreseen.shortcut->matches(event.keyCode, flagsBefore);
        // Escape may itself be part of the shortcut, and Command+Escape is no Command+Tab.
        expected = shortcut || (foreseen.escape && event.keyCode == keyCode::escape);
    } else if (event.flags != flagsBefore) {
        if (!foreseen.plainClicks || event.flags != (flagsBefore & ~familyMask(foreseen.gate)))
            contracts_.noteViolation("an event's flags were rewritten unforeseen");
    }
    if (expected != swallowed)
        contracts_.noteViolation(swallowed ? "an event was swallowed unforeseen"
                                           : "an event that was to be swallowed was let pass");
}

} // namespace lentora::sim
