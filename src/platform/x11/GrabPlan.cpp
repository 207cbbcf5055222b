#include "platform/x11/GrabPlan.h"

#include <array>
#include <initializer_list>
#include <vector>

namespace lentora::x11 {

namespace {

// The modifiers under which the server is to withhold what the gate takes. A gate that any key of
// its family opens is known by the server's own state: it decides by itself, with no moment
// between the key and the pinch in which a pinch could slip through. That state does not tell
// sides, so a gate with a side is grabbed for only while its key is held.
std::vector<std::uint32_t> gateModifiers(const SwallowInterest& interest, const KeyboardMap& map) {
    const EventFlags bits =
        familyMask(interest.gate) & (eventFlag::shortcutModifiers | eventFlag::fn);
    const bool hasSide = !isHeld(interest.gate, bits);
    if (hasSide && !interest.gateHeld)
        return {};
    const std::uint32_t gate = map.masksOf(bits);
    // A key without a modifier of its own (Fn) is nothing that the server could go by.
    if (gate == 0) {
        return interest.gateHeld ? std::vector<std::uint32_t>{Grab::anyModifier}
                                 : std::vector<std::uint32_t>{};
    }
    std::vector<std::uint32_t> masks;
    for (std::uint32_t mask = 0; mask <= allModifiers; ++mask) {
        if ((mask & gate) != 0)
            masks.push_back(mask);
    }
    return masks;
}

// Every single modifier that stands for a family; a family may have several (Alt and AltGr).
std::vector<std::uint32_t> bitsOf(std::uint32_t masks) {
    std::vector<std::uint32_t> bits;
    for (std::uint32_t bit = 1; bit <= allModifiers; bit <<= 1) {
        if ((masks & bit) != 0)
            bits.push_back(bit);
    }
    return bits;
}

// The masks under which a shortcut is pressed: each of its modifiers by any of its keys, with any
// of the locks on.
std::vector<std::uint32_t> shortcutModifiers(EventFlags modifiers, const KeyboardMap& map) {
    std::vector<std::uint32_t> masks{0};
    for (const EventFlags family :
         {eventFlag::shift, eventFlag::control, eventFlag::option, eventFlag::command}) {
        if ((modifiers & family) == 0)
            continue;
        std::vector<std::uint32_t> extended;
        for (const std::uint32_t mask : masks) {
            for (const std::uint32_t bit : bitsOf(map.masksOf(family)))
                extended.push_back(mask | bit);
        }
        masks = std::move(extended);
    }
    for (const std::uint32_t lock : bitsOf(map.lockMasks())) {
        const std::size_t count = masks.size();
        for (std::size_t i = 0; i < count; ++i)
            masks.push_back(masks[i] | lock);
    }
    return masks;
}

} // namespace

std::set<Grab> planGrabs(const SwallowInterest& interest, const KeyboardMap& map, bool wheelZooms) {
    using Pinch = SwallowInterest::Pinch;
    std::set<Grab> grabs;
    if (interest.pinch == Pinch::always)
        grabs.insert({Grab::Kind::pinch, 0, Grab::anyModifier});
    if (interest.pinch != Pinch::never) {
        for (const std::uint32_t modifiers : gateModifiers(interest, map)) {
            if (interest.pinch == Pinch::withGate)
                grabs.insert({Grab::Kind::pinch, 0, modifiers});
            const auto grabButtons = [&](std::initializer_list<std::uint32_t> buttons) {
                for (const std::uint32_t button : buttons)
                    grabs.insert({Grab::Kind::button, button, modifiers});
            };
            if (wheelZooms)
                grabButtons({wheelUp, wheelDown});
            // A click without the gate's modifier is plain already.
            if (interest.plainClicks)
                grabButtons({leftButton, rightButton});
        }
    }
    if (interest.escape) {
        for (const xcb_keycode_t keycode : map.keycodesOf(keyCode::escape))
            grabs.insert({Grab::Kind::key, keycode, Grab::anyModifier});
    }
    if (interest.shortcut) {
        for (const xcb_keycode_t keycode : map.keycodesOf(interest.shortcut->keyCode)) {
            for (const std::uint32_t modifiers :
                 shortcutModifiers(interest.shortcut->modifiers, map))
                grabs.insert({Grab::Kind::key, keycode, modifiers, true});
        }
    }
    return grabs;
}

} // namespace lentora::x11
