#include "platform/x11/PassiveGrabs.h"

#include "platform/x11/XInput.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace lentora::x11 {

namespace {

std::uint8_t grabType(Grab::Kind kind) {
    switch (kind) {
    case Grab::Kind::button:
        return XCB_INPUT_GRAB_TYPE_BUTTON;
    case Grab::Kind::key:
        return XCB_INPUT_GRAB_TYPE_KEYCODE;
    case Grab::Kind::pinch:
        return XCB_INPUT_GRAB_TYPE_GESTURE_PINCH_BEGIN;
    }
    return XCB_INPUT_GRAB_TYPE_KEYCODE;
}

// The raw events are in the masks because a client that has a grab gets those of the grabbed
// device through the grab alone.
std::uint32_t eventMask(Grab::Kind kind) {
    switch (kind) {
    case Grab::Kind::button:
        return xi::maskOf(XCB_INPUT_BUTTON_PRESS) | xi::maskOf(XCB_INPUT_BUTTON_RELEASE) |
               xi::maskOf(XCB_INPUT_RAW_BUTTON_PRESS) | xi::maskOf(XCB_INPUT_RAW_BUTTON_RELEASE);
    case Grab::Kind::key:
        return xi::maskOf(XCB_INPUT_KEY_PRESS) | xi::maskOf(XCB_INPUT_KEY_RELEASE) |
               xi::maskOf(XCB_INPUT_RAW_KEY_PRESS) | xi::maskOf(XCB_INPUT_RAW_KEY_RELEASE);
    case Grab::Kind::pinch:
        return xi::maskOf(XCB_INPUT_GESTURE_PINCH_BEGIN) |
               xi::maskOf(XCB_INPUT_GESTURE_PINCH_UPDATE) |
               xi::maskOf(XCB_INPUT_GESTURE_PINCH_END) | xi::maskOf(XCB_INPUT_RAW_BUTTON_PRESS) |
               xi::maskOf(XCB_INPUT_RAW_BUTTON_RELEASE);
    }
    return 0;
}

// Request numbers wrap around.
bool isBefore(unsigned a, unsigned b) {
    return static_cast<std::int32_t>(a - b) < 0;
}

std::set<Grab> difference(const std::set<Grab>& a, const std::set<Grab>& b) {
    std::set<Grab> out;
    std::ranges::set_difference(a, b, std::inserter(out, out.end()));
    return out;
}

// Calls `send` with each run of grabs that one request can carry: they differ in their modifiers
// alone.
void forEachRequest(const std::set<Grab>& grabs, const auto& send) {
    for (auto first = grabs.begin(); first != grabs.end();) {
        const auto last = std::find_if(first, grabs.end(), [&](const Grab& grab) {
            return grab.kind != first->kind || grab.detail != first->detail;
        });
        const std::vector<Grab> run(first, last);
        std::vector<std::uint32_t> modifiers;
        std::ranges::transform(run, std::back_inserter(modifiers), &Grab::modifiers);
        send(run, modifiers);
        first = last;
    }
}

} // namespace

void PassiveGrabs::install(const std::set<Grab>& plan) {
    // Letting go comes first: taking "any modifier" away takes the others of its kind along.
    const std::set<Grab> surplus = difference(installed_, plan);
    ungrab(surplus);
    const bool anyRemoved = std::ranges::any_of(
        surplus, [](const Grab& grab) { return grab.modifiers == Grab::anyModifier; });
    std::set<Grab> wanted = anyRemoved ? plan : difference(plan, installed_);
    std::erase_if(wanted, [&](const Grab& grab) {
        return grab.isShortcut && refused_.contains(grab) && installed_.contains(grab);
    });
    grab(wanted);
    installed_ = plan;
    std::erase_if(refused_, [&](const Grab& grab) { return !plan.contains(grab); });
}

void PassiveGrabs::grab(const std::set<Grab>& grabs) {
    forEachRequest(
        grabs, [&](const std::vector<Grab>& run, const std::vector<std::uint32_t>& modifiers) {
            const Grab& first = run.front();
            if (first.kind == Grab::Kind::pinch && !hasGestures_)
                return;
            for (const Grab& grab : run) {
                if (grab.isShortcut)
                    probeInCore(grab);
            }
            const std::uint32_t mask = eventMask(first.kind);
            const auto cookie = xcb_input_xi_passive_grab_device(
                connection_.get(), XCB_CURRENT_TIME, connection_.root(), XCB_NONE, first.detail,
                xi::allMasterDevices, static_cast<std::uint16_t>(modifiers.size()), 1,
                grabType(first.kind), XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_MODE_22_ASYNC,
                XCB_INPUT_GRAB_OWNER_NO_OWNER, &mask, modifiers.data());
            unanswered_.push_back({cookie, run});
            for (const Grab& grab : run) {
                if (grab.isShortcut)
                    probeInCore(grab);
            }
        });
}

void PassiveGrabs::ungrab(const std::set<Grab>& grabs) {
    forEachRequest(grabs, [&](const std::vector<Grab>& run,
                              const std::vector<std::uint32_t>& modifiers) {
        const Grab& first = run.front();
        if (first.kind == Grab::Kind::pinch && !hasGestures_)
            return;
        xcb_input_xi_passive_ungrab_device(
            connection_.get(), connection_.root(), first.detail, xi::allMasterDevices,
            static_cast<std::uint16_t>(modifiers.size()), grabType(first.kind), modifiers.data());
    });
}

void PassiveGrabs::probeInCore(const Grab& grab) {
    const auto key = static_cast<xcb_keycode_t>(grab.detail);
    const auto modifiers = static_cast<std::uint16_t>(grab.modifiers);
    const auto cookie = xcb_grab_key(connection_.get(), 0, connection_.root(), modifiers, key,
                                     XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    coreProbes_.push_back({cookie.sequence, grab});
    xcb_ungrab_key(connection_.get(), key, connection_.root(), modifiers);
}

xcb_void_cookie_t PassiveGrabs::tryInCore(const Grab& grab) {
    const auto key = static_cast<xcb_keycode_t>(grab.detail);
    const auto modifiers = static_cast<std::uint16_t>(grab.modifiers);
    const auto cookie = xcb_grab_key_checked(connection_.get(), 0, connection_.root(), modifiers,
                                             key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    xcb_ungrab_key(connection_.get(), key, connection_.root(), modifiers);
    return cookie;
}

void PassiveGrabs::sawError(const xcb_generic_error_t& error) {
    // Errors come in the order of the requests: those before it were granted.
    while (!coreProbes_.empty() && !isBefore(error.full_sequence, coreProbes_.front().sequence)) {
        const Grab grab = coreProbes_.front().grab;
        if (coreProbes_.front().sequence == error.full_sequence) {
            newlyRefused_.push_back(grab);
            // Ours would take the key away from the program that has it.
            ungrab({grab});
        }
        coreProbes_.pop_front();
    }
}

std::set<Grab> PassiveGrabs::installedButtonGrabs(std::uint32_t button) const {
    std::set<Grab> grabs;
    for (const Grab& grab : installed_) {
        if (grab.kind == Grab::Kind::button && grab.detail == button)
            grabs.insert(grab);
    }
    return grabs;
}

std::vector<Grab> PassiveGrabs::takeRefused() {
    // Errors that came before the answers of the last call have been seen by now: the probes up to
    // there were granted.
    while (!coreProbes_.empty() && isBefore(coreProbes_.front().sequence, lastAnswered_))
        coreProbes_.pop_front();
    std::vector<Grab> refused = std::exchange(newlyRefused_, {});
    while (!unanswered_.empty()) {
        void* answer = nullptr;
        xcb_generic_error_t* failure = nullptr;
        if (xcb_poll_for_reply(connection_.get(), unanswered_.front().cookie.sequence, &answer,
                               &failure) == 0)
            break;
        const XcbPtr<xcb_input_xi_passive_grab_device_reply_t> reply(
            static_cast<xcb_input_xi_passive_grab_device_reply_t*>(answer));
        const XcbPtr<xcb_generic_error_t> error(failure);
        const std::vector<Grab> grabs = std::move(unanswered_.front().grabs);
        lastAnswered_ = unanswered_.front().cookie.sequence;
        unanswered_.pop_front();
        if (!reply) {
            refused.insert(refused.end(), grabs.begin(), grabs.end());
            continue;
        }
        // The reply lists the modifiers that failed, and only those.
        const auto* infos = xcb_input_xi_passive_grab_device_modifiers(reply.get());
        const int count = xcb_input_xi_passive_grab_device_modifiers_length(reply.get());
        for (const Grab& grab : grabs) {
            const bool failed = std::any_of(infos, infos + count, [&](const auto& info) {
                return info.modifiers == grab.modifiers && info.status != 0;
            });
            if (failed)
                refused.push_back(grab);
            else if (!grab.isShortcut)
                refused_.erase(grab);
        }
    }
    // Said once for as long as it is wanted.
    std::erase_if(refused, [&](const Grab& grab) {
        return !installed_.contains(grab) || !refused_.insert(grab).second;
    });
    return refused;
}

void PassiveGrabs::retryRefused() {
    std::set<Grab> retried = refused_;
    // Our grab would take the key away from the program that still has it, if only for a moment:
    // the question comes first.
    std::vector<std::pair<Grab, xcb_void_cookie_t>> questions;
    for (const Grab& grab : refused_) {
        if (grab.isShortcut)
            questions.emplace_back(grab, tryInCore(grab));
    }
    for (const auto& [grab, cookie] : questions) {
        const XcbPtr<xcb_generic_error_t> refusal(xcb_request_check(connection_.get(), cookie));
        if (refusal)
            retried.erase(grab);
        else
            refused_.erase(grab);
    }
    grab(retried);
}

} // namespace lentora::x11
