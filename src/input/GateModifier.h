// The modifier key that opens the gate: while it is held, a pinch means the lens.
#pragma once

#include "input/EventFlags.h"

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lentora {

class StringTable;

enum class GateModifier {
    option,
    optionLeft,
    optionRight,
    control,
    controlLeft,
    controlRight,
    command,
    shift,
    fn,
};

/// Every case, in declaration order.
std::span<const GateModifier> allGateModifiers();

/// The cases that the preferences offer: all but `command`, which detaches a locked lens.
std::span<const GateModifier> selectableGateModifiers();

/// The name under which the settings store the case: the name of the case.
std::string_view rawValue(GateModifier gate);

/// Nothing for a name that is no case; names are case-sensitive.
std::optional<GateModifier> gateModifierFromRawValue(std::string_view rawValue);

/// The name that the user reads.
std::string displayName(GateModifier gate, const StringTable& strings);

/// Whether the gate key is down. Other modifiers may be down too: `option` is held by either
/// Option key, `optionLeft` by the left one alone.
bool isHeld(GateModifier gate, EventFlags flags);

/// Every bit that the keys of the gate's family can set, whatever side the gate names. Clicks
/// lose these bits, so that an application sees a plain click.
EventFlags familyMask(GateModifier gate);

} // namespace lentora
