#include "capture/WindowChoice.h"

#include "capture/Geometry.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace lentora {

namespace {

// The least width and height of a window that can be meant, in points.
constexpr double leastSide = 40;
constexpr double leastAlpha = 0.1;
// A floating window beyond these parts of the display's width and height is a backdrop.
constexpr double largeFloatingShare = 0.7;
// A window that another one covers beyond this part of its area is not what the user looks at.
constexpr double mostlyHiddenShare = 0.8;
// Floating widgets are on the layers from 1 to below the panels that wait for an answer.
constexpr int lowestWidgetLayer = 1;
constexpr int highestWidgetLayer = windowLayer::modalPanel - 1;

class Chooser {
public:
    explicit Chooser(const ChoiceInput& input) : input_(input) {
        shareable_.reserve(input.content.windows.size());
        for (const ShareableWindow& window : input.content.windows)
            shareable_.insert_or_assign(window.windowID, &window);
    }

    WindowChoice choose() {
        if (auto target = focusedTarget())
            return {std::move(*target), std::move(log_)};
        const WInfo* hit = firstUnderPointer([](const WInfo&) { return true; });
        if (hit == nullptr)
            return refusal(WindowTargetError::noWindow, "no magnifiable window under cursor");
        const WInfo& candidate = behindWidget(*hit);
        if (const WInfo* cover = coverOf(candidate)) {
            return refusal(WindowTargetError::noWindow,
                           "mostly occluded: cand '" + candidate.owner + "' " +
                               rs(candidate.bounds) + " by '" + cover->owner +
                               "' layer=" + std::to_string(cover->layer) + " " + rs(cover->bounds) +
                               " -> ignoring");
        }
        const WInfo& chosen = amongSiblings(candidate);
        const ShareableWindow* window = shareableWindow(chosen.id);
        if (window == nullptr) {
            return refusal(WindowTargetError::protected_,
                           "no SCWindow matching id " + std::to_string(chosen.id) +
                               " — window is protected from capture");
        }
        const ShareableDisplay* display = displayOf(window->frame);
        if (display == nullptr)
            return {WindowTargetError::noWindow, std::move(log_)};
        CaptureTarget target = makeTarget(chosen, *window, *display);
        log_.push_back("chosen (fully visible) '" + target.title + "' [" + target.appName +
                       "] cgFrame=" + rs(target.cgFrame) + hiding(target));
        return {std::move(target), std::move(log_)};
    }

private:
    // The window that has the keyboard wins over everything in front of it.
    std::optional<CaptureTarget> focusedTarget() {
        if (!input_.focusedWindow)
            return std::nullopt;
        const auto focused = std::ranges::find(input_.windows, *input_.focusedWindow, &WInfo::id);
        if (focused == input_.windows.end() || !isUnderPointer(*focused) || !isEligible(*focused))
            return std::nullopt;
        const WInfo& chosen = amongSiblings(*focused);
        const ShareableWindow* window = shareableWindow(chosen.id);
        const ShareableDisplay* display = window == nullptr ? nullptr : displayOf(window->frame);
        if (display == nullptr)
            return std::nullopt;
        CaptureTarget target = makeTarget(chosen, *window, *display);
        log_.push_back("CHOSEN via AX focused window " + truncated(chosen.bounds.width) + "x" +
                       truncated(chosen.bounds.height) + " '" + target.appName + "'" +
                       hiding(target));
        return target;
    }

    // A small thing that floats over the document is not meant: the document behind it is.
    const WInfo& behindWidget(const WInfo& hit) {
        if (hit.layer < lowestWidgetLayer || hit.layer > highestWidgetLayer)
            return hit;
        const WInfo* normal = firstUnderPointer(
            [](const WInfo& window) { return window.layer == windowLayer::normal; });
        if (normal == nullptr)
            return hit;
        log_.push_back("skipping floating widget '" + hit.owner + "' (layer " +
                       std::to_string(hit.layer) + ") -> normal '" + normal->owner + "' " +
                       rs(normal->bounds));
        return *normal;
    }

    // The front-most window that hides most of `window`.
    const WInfo* coverOf(const WInfo& window) const {
        const double area = std::max(window.bounds.area(), 1.0);
        for (const WInfo& front : inFrontOf(window)) {
            const double covered = intersection(front.bounds, window.bounds).area();
            if (covered / area > mostlyHiddenShare && isEligible(front))
                return &front;
        }
        return nullptr;
    }

    // What the user means when pointing at a window of an application of several parts: the
    // largest of the parts there, and the front-most of these.
    const WInfo& amongSiblings(const WInfo& window) {
        if (isIndependent(window.pid))
            return window;
        const WInfo* largest = nullptr;
        for (const WInfo& sibling : input_.windows) {
            if (sibling.pid == window.pid && isUnderPointer(sibling) && isEligible(sibling) &&
                (largest == nullptr || sibling.bounds.area() > largest->bounds.area()))
                largest = &sibling;
        }
        return largest == nullptr ? window : *largest;
    }

    CaptureTarget makeTarget(const WInfo& chosen, const ShareableWindow& window,
                             const ShareableDisplay& display) {
        return {.scWindow = window,
                .cgFrame = window.frame,
                .title = window.title.value_or(""),
                .appName = window.owningApplication ? window.owningApplication->name : "?",
                .scDisplay = display,
                .excludeWindows = occludersOf(chosen)};
    }

    // The parts of one application stay in its picture; documents do not stay in each other's.
    std::vector<ShareableWindow> occludersOf(const WInfo& chosen) {
        std::vector<ShareableWindow> occluders;
        const auto first = std::ranges::find(input_.windows, chosen.id, &WInfo::id);
        for (const WInfo& front : inFrontOf(*first)) {
            if (!isEligible(front) || !intersects(front.bounds, chosen.bounds) ||
                (front.pid == chosen.pid && !isIndependent(chosen.pid)))
                continue;
            if (const ShareableWindow* window = shareableWindow(front.id))
                occluders.push_back(*window);
        }
        return occluders;
    }

    const ShareableDisplay* displayOf(const Rect& frame) const {
        const auto& displays = input_.content.displays;
        for (const ShareableDisplay& display : displays) {
            if (display.frame.contains(frame.center()))
                return &display;
        }
        return displays.empty() ? nullptr : &displays.front();
    }

    bool isEligible(const WInfo& window) const {
        return eligibility(window, input_.screen) == Eligibility::eligible;
    }
    bool isUnderPointer(const WInfo& window) const {
        return window.bounds.contains(input_.pointer);
    }

    template <typename Condition>
    const WInfo* firstUnderPointer(Condition condition) const {
        const auto found = std::ranges::find_if(input_.windows, [&](const WInfo& window) {
            return isUnderPointer(window) && condition(window) && isEligible(window);
        });
        return found == input_.windows.end() ? nullptr : &*found;
    }

    /// `window` is an element of the list.
    std::span<const WInfo> inFrontOf(const WInfo& window) const {
        return {input_.windows.data(), &window};
    }

    const ShareableWindow* shareableWindow(std::uint32_t id) const {
        const auto found = shareable_.find(id);
        return found == shareable_.end() ? nullptr : found->second;
    }

    bool isIndependent(int pid) {
        const auto known = std::ranges::find(asked_, pid, &std::pair<int, bool>::first);
        if (known != asked_.end())
            return known->second;
        return asked_.emplace_back(pid, input_.isIndependent(pid)).second;
    }

    static std::string hiding(const CaptureTarget& target) {
        return " hiding " + std::to_string(target.excludeWindows.size()) + " front window(s)";
    }

    WindowChoice refusal(WindowTargetError error, std::string message) {
        log_.push_back(std::move(message));
        return {error, std::move(log_)};
    }

    const ChoiceInput& input_;
    std::unordered_map<std::uint32_t, const ShareableWindow*> shareable_;
    // The focused window's process, and the candidate's: two at most.
    std::vector<std::pair<int, bool>> asked_;
    std::vector<std::string> log_;
};

} // namespace

std::vector<WInfo> windowInfos(std::vector<WindowListEntry> entries) {
    std::vector<WInfo> windows;
    windows.reserve(entries.size());
    for (WindowListEntry& entry : entries) {
        if (!entry.number || !entry.ownerPid || !entry.layer || !entry.bounds)
            continue;
        windows.push_back({.id = *entry.number,
                           .pid = *entry.ownerPid,
                           .layer = *entry.layer,
                           .bounds = *entry.bounds,
                           .alpha = entry.alpha.value_or(1),
                           .owner = std::move(entry.ownerName).value_or("?")});
    }
    return windows;
}

Eligibility eligibility(const WInfo& window, Size screen) {
    const Rect& bounds = window.bounds;
    if (window.layer < windowLayer::normal)
        return Eligibility::belowNormalLayer;
    if (window.layer >= windowLayer::screenSaver)
        return Eligibility::screenSaverLayer;
    // Written so that what is not a number is not eligible either.
    if (!(bounds.width >= leastSide && bounds.height >= leastSide))
        return Eligibility::tooSmall;
    if (!(window.alpha >= leastAlpha))
        return Eligibility::transparent;
    if (window.layer > windowLayer::normal && bounds.width > largeFloatingShare * screen.width &&
        bounds.height > largeFloatingShare * screen.height)
        return Eligibility::largeFloating;
    return Eligibility::eligible;
}

std::string_view description(Eligibility eligibility) {
    switch (eligibility) {
    case Eligibility::eligible:
        return "eligible";
    case Eligibility::belowNormalLayer:
        return "belongs to the desktop: below the normal layer";
    case Eligibility::screenSaverLayer:
        return "floats above everything: on the screen saver's layer or higher";
    case Eligibility::tooSmall:
        return "smaller than 40 x 40 points";
    case Eligibility::transparent:
        return "less than 10 % opaque";
    case Eligibility::largeFloating:
        return "floats and covers most of the display";
    }
    return "?";
}

WindowChoice chooseWindow(const ChoiceInput& input) {
    return Chooser(input).choose();
}

} // namespace lentora
