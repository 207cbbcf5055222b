#include "replay/StepReader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>

namespace lentora::replay {

namespace {

constexpr std::int64_t maxId = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t maxPid = std::numeric_limits<int>::max();
constexpr std::int64_t maxLayer = std::numeric_limits<int>::max();

bool isColor(std::string_view text) {
    return text.size() == 7 && text[0] == '#' &&
           text.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string_view::npos;
}

std::optional<std::string> optionalString(const JsonNode& node, std::string_view key) {
    if (const auto found = node.find(key))
        return found->string();
    return std::nullopt;
}

sim::Window readWindow(const JsonNode& node) {
    node.requireObject({"id", "pid", "bounds", "layer", "alpha", "owner", "bundle", "title", "app",
                        "shareable", "listed", "color"});
    sim::Window window;
    window.id = static_cast<std::uint32_t>(node.at("id").integer(1, maxId));
    window.pid = static_cast<int>(node.at("pid").integer(0, maxPid));
    window.bounds = node.at("bounds").rect();
    window.layer = static_cast<int>(node.integer("layer", 0, -maxLayer - 1, maxLayer));
    window.alpha = node.number("alpha", window.alpha);
    window.owner = node.string("owner", window.owner);
    window.bundle = optionalString(node, "bundle");
    window.title = optionalString(node, "title");
    window.app = optionalString(node, "app");
    window.shareable = node.boolean("shareable", window.shareable);
    window.listed = node.boolean("listed", window.listed);
    window.color = node.string("color", window.color);
    if (!isColor(window.color))
        node.at("color").fail("must be a color such as \"#808080\"");
    return window;
}

// The steps, one reader each.

Action readFlags(const JsonNode& node) {
    node.requireObject({"t", "do", "flags"});
    return InputEvent{.type = EventType::flagsChanged, .flags = node.at("flags").flags()};
}

Action readKey(const JsonNode& node) {
    node.requireObject({"t", "do", "code", "down", "flags", "repeat", "chars"});
    InputEvent event;
    event.type = node.boolean("down", true) ? EventType::keyDown : EventType::keyUp;
    event.keyCode = static_cast<std::uint16_t>(node.at("code").integer(0, 0xFFFF));
    event.flags = node.flags("flags", 0);
    event.isAutorepeat = node.boolean("repeat", false);
    // What the key types matters to the shortcut recorder, not to the tap.
    (void)node.string("chars", "");
    return event;
}

Action readMouse(const JsonNode& node) {
    node.requireObject({"t", "do", "type", "flags"});
    return InputEvent{.type = node.at("type").oneOf<EventType>({
                          {"leftDown", EventType::leftMouseDown},
                          {"leftUp", EventType::leftMouseUp},
                          {"rightDown", EventType::rightMouseDown},
                          {"rightUp", EventType::rightMouseUp},
                          {"leftDragged", EventType::leftMouseDragged},
                      }),
                      .flags = node.flags("flags", 0)};
}

Action readMagnify(const JsonNode& node) {
    node.requireObject({"t", "do", "delta", "phase", "flags"});
    InputEvent event{.type = EventType::magnify, .flags = node.flags("flags", 0)};
    event.magnification = node.at("delta").number();
    if (const auto phase = node.find("phase")) {
        event.phase = phase->oneOf<GesturePhase>({
            {"began", GesturePhase::began},
            {"changed", GesturePhase::changed},
            {"ended", GesturePhase::ended},
            {"cancelled", GesturePhase::cancelled},
        });
    }
    return event;
}

template <EventType type>
Action readPlain(const JsonNode& node) {
    node.requireObject({"t", "do"});
    return InputEvent{.type = type};
}

Action readUnconvertible(const JsonNode& node) {
    node.requireObject({"t", "do"});
    return InputEvent{.type = EventType::gesture, .isConvertible = false};
}

Action readTapDisabled(const JsonNode& node) {
    node.requireObject({"t", "do", "by"});
    return InputEvent{.type = node.at("by").oneOf<EventType>({
                          {"timeout", EventType::tapDisabledByTimeout},
                          {"userInput", EventType::tapDisabledByUserInput},
                      })};
}

Action readPointerStep(const JsonNode& node) {
    node.requireObject({"t", "do", "at"});
    return PointerStep{node.at("at").point()};
}

Action readWindowsStep(const JsonNode& node) {
    node.requireObject({"t", "do", "windows"});
    return WindowsStep{readWindows(node.at("windows"))};
}

Action readDisplaysStep(const JsonNode& node) {
    node.requireObject({"t", "do", "displays"});
    return DisplaysStep{readDisplays(node.at("displays"))};
}

Action readFrontmostStep(const JsonNode& node) {
    node.requireObject({"t", "do", "frontmost"});
    return FrontmostStep{readFrontmost(node.at("frontmost"))};
}

Action readPermissionsStep(const JsonNode& node) {
    node.requireObject({"t", "do", "permissions"});
    return PermissionsStep{readPermissions(node.at("permissions"))};
}

Action readActivate(const JsonNode& node) {
    node.requireObject({"t", "do", "pid"});
    return ActivateStep{static_cast<int>(node.at("pid").integer(0, maxPid))};
}

Action readSetting(const JsonNode& node) {
    node.requireObject({"t", "do", "key", "value"});
    return SettingStep{node.at("key").string(), node.at("value").defaultsValue()};
}

Action readCall(const JsonNode& node) {
    node.requireObject({"t", "do", "op", "locked"});
    CallStep step;
    step.op = node.at("op").oneOf<CallOp>({
        {"debugForceEngage", CallOp::debugForceEngage},
        {"debugForceRelease", CallOp::debugForceRelease},
        {"forceRelease", CallOp::forceRelease},
        {"cancelEngage", CallOp::cancelEngage},
        {"stop", CallOp::stop},
        {"start", CallOp::start},
        {"keyboardOpen", CallOp::keyboardOpen},
        {"closeSession", CallOp::closeSession},
        {"quit", CallOp::quit},
        {"keyboardSetLocked", CallOp::keyboardSetLocked},
    });
    if (step.op == CallOp::keyboardSetLocked)
        step.locked = node.at("locked").boolean();
    else if (const auto locked = node.find("locked"))
        locked->fail("only goes with \"op\": \"keyboardSetLocked\"");
    return step;
}

Action readFrame(const JsonNode& node) {
    node.requireObject({"t", "do", "status", "surface"});
    FrameStep step;
    // The statuses with which a running stream delivers; they are numbered as the service does.
    step.status = static_cast<SampleStatus>(node.integer("status", 0, 0, 3));
    step.surface = node.boolean("surface", true);
    return step;
}

Action readCapture(const JsonNode& node) {
    node.requireObject({"t", "do", "frames"});
    return CaptureStep{node.at("frames").boolean()};
}

Action readPng(const JsonNode& node) {
    node.requireObject({"t", "do", "file"});
    const JsonNode file = node.at("file");
    const std::string name = file.string();
    // It lands in the folder that the user names, and nowhere else.
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos)
        file.fail("must be a file name, without folders");
    return PngStep{name};
}

// A step without keys of its own.
template <typename Plain>
Action readBare(const JsonNode& node) {
    node.requireObject({"t", "do"});
    return Plain{};
}

struct StepKind {
    std::string_view name;
    Action (*read)(const JsonNode&);
};

constexpr std::array<StepKind, 22> stepKinds{{
    {"flags", readFlags},
    {"key", readKey},
    {"mouse", readMouse},
    {"magnify", readMagnify},
    {"scroll", readPlain<EventType::scrollWheel>},
    {"gesture", readPlain<EventType::gesture>},
    {"smartMagnify", readPlain<EventType::smartMagnify>},
    {"unconvertible", readUnconvertible},
    {"tapDisabled", readTapDisabled},
    {"pointer", readPointerStep},
    {"windows", readWindowsStep},
    {"displays", readDisplaysStep},
    {"frontmost", readFrontmostStep},
    {"permissions", readPermissionsStep},
    {"activate", readActivate},
    {"setting", readSetting},
    {"call", readCall},
    {"frame", readFrame},
    {"capture", readCapture},
    {"target", readBare<TargetStep>},
    {"dump", readBare<DumpStep>},
    {"png", readPng},
}};

// Fails where the launch does not create what the step is for.
void requireLaunched(const JsonNode& node, const Action& action, Launch launch) {
    const auto* call = std::get_if<CallStep>(&action);
    if (launch != Launch::application && call && call->op == CallOp::quit)
        node.at("op").fail("needs the application: not with this \"launch\"");
    if (launch != Launch::backend)
        return;
    if (call && call->op >= CallOp::keyboardOpen)
        node.at("op").fail("needs the zoom session: not with \"launch\": \"backend\"");
    if (std::holds_alternative<PngStep>(action))
        node.at("do").fail("\"png\" needs the zoom session: not with \"launch\": \"backend\"");
}

} // namespace

std::vector<Screen> readDisplays(const JsonNode& node) {
    std::vector<Screen> displays;
    for (const JsonNode& element : node.elements()) {
        element.requireObject({"frame", "scale"});
        Screen display;
        display.frame = element.at("frame").rect();
        display.scale = element.number("scale", display.scale);
        if (!(display.scale > 0))
            element.at("scale").fail("must be greater than 0");
        displays.push_back(display);
    }
    if (displays.empty())
        node.fail("must hold at least one display");
    return displays;
}

std::vector<sim::Window> readWindows(const JsonNode& node) {
    std::vector<sim::Window> windows;
    std::set<std::uint32_t> ids;
    for (const JsonNode& element : node.elements()) {
        windows.push_back(readWindow(element));
        if (!ids.insert(windows.back().id).second)
            element.at("id").fail("another window has the same id");
    }
    return windows;
}

sim::Frontmost readFrontmost(const JsonNode& node) {
    node.requireObject({"pid", "focused"});
    sim::Frontmost frontmost;
    frontmost.pid = static_cast<int>(node.at("pid").integer(0, maxPid));
    if (const auto focused = node.find("focused"))
        frontmost.focused = static_cast<std::uint32_t>(focused->integer(1, maxId));
    return frontmost;
}

sim::GrantedPermissions readPermissions(const JsonNode& node) {
    node.requireObject({"screenRecording", "accessibility", "inputMonitoring"});
    sim::GrantedPermissions permissions;
    permissions.screenRecording = node.boolean("screenRecording", true);
    permissions.accessibility = node.boolean("accessibility", true);
    permissions.inputMonitoring = node.boolean("inputMonitoring", true);
    return permissions;
}

Step readStep(const JsonNode& node, Launch launch, double earliest) {
    if (!node.isObject())
        node.fail("must be an object");
    Step step;
    step.time = node.at("t").number(0, "must be 0 or more");
    if (step.time < earliest)
        node.at("t").fail("must not be before the step before it");
    const JsonNode name = node.at("do");
    step.name = name.string();
    const auto* kind = std::ranges::find(stepKinds, step.name, &StepKind::name);
    if (kind == stepKinds.end())
        name.fail("unknown step \"" + step.name + "\"");
    step.action = kind->read(node);
    requireLaunched(node, step.action, launch);
    return step;
}

} // namespace lentora::replay
