#include "input/GateModifier.h"

#include "support/StringTable.h"

#include <algorithm>
#include <vector>

namespace lentora {

namespace {

using namespace eventFlag;

constexpr EventFlags optionFamily = option | leftOption | rightOption;
constexpr EventFlags controlFamily = control | leftControl | rightControl;
constexpr EventFlags commandFamily = command | leftCommand | rightCommand;
constexpr EventFlags shiftFamily = shift | leftShift | rightShift;

struct Entry {
    GateModifier gate;
    std::string_view rawValue;
    std::string_view displayNameKey;
    EventFlags heldBit;
    EventFlags familyMask;
};

// In declaration order: a case is its own index.
constexpr std::array<Entry, 9> entries{{
    {GateModifier::option, "option", "gate.option", option, optionFamily},
    {GateModifier::optionLeft, "optionLeft", "gate.optionLeft", leftOption, optionFamily},
    {GateModifier::optionRight, "optionRight", "gate.optionRight", rightOption, optionFamily},
    {GateModifier::control, "control", "gate.control", control, controlFamily},
    {GateModifier::controlLeft, "controlLeft", "gate.controlLeft", leftControl, controlFamily},
    {GateModifier::controlRight, "controlRight", "gate.controlRight", rightControl, controlFamily},
    {GateModifier::command, "command", "gate.command", command, commandFamily},
    {GateModifier::shift, "shift", "gate.shift", shift, shiftFamily},
    {GateModifier::fn, "fn", "gate.fn", fn, fn},
}};

constexpr auto allCases = [] {
    std::array<GateModifier, entries.size()> cases{};
    std::ranges::transform(entries, cases.begin(), &Entry::gate);
    return cases;
}();

constexpr auto selectableCases = [] {
    std::array<GateModifier, entries.size() - 1> cases{};
    std::ranges::copy_if(allCases, cases.begin(),
                         [](GateModifier gate) { return gate != GateModifier::command; });
    return cases;
}();

const Entry& entry(GateModifier gate) {
    return entries[static_cast<std::size_t>(gate)];
}

} // namespace

std::span<const GateModifier> allGateModifiers() {
    return allCases;
}

std::span<const GateModifier> selectableGateModifiers() {
    return selectableCases;
}

std::string_view rawValue(GateModifier gate) {
    return entry(gate).rawValue;
}

std::optional<GateModifier> gateModifierFromRawValue(std::string_view rawValue) {
    const auto* found = std::ranges::find(entries, rawValue, &Entry::rawValue);
    if (found == entries.end())
        return std::nullopt;
    return found->gate;
}

std::string displayName(GateModifier gate, const StringTable& strings) {
    return strings.text(entry(gate).displayNameKey);
}

bool isHeld(GateModifier gate, EventFlags flags) {
    return (flags & entry(gate).heldBit) != 0;
}

EventFlags familyMask(GateModifier gate) {
    return entry(gate).familyMask;
}

} // namespace lentora
