#include "replay/JsonNode.h"
#include "replay/Scenario.h"
#include "replay/StepReader.h"

#include <set>
#include <string>
#include <vector>

namespace lentora::replay {

namespace {

// JSON leaves open what two equal keys in an object mean; here they are a mistake.
class DuplicateKeyCheck {
public:
    bool operator()(int /*depth*/, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::object_start) {
            keys_.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            keys_.pop_back();
        } else if (event == Json::parse_event_t::key) {
            const auto key = parsed.get<std::string>();
            if (!keys_.back().insert(key).second)
                throw FormatError("",
                                  "not JSON: the key \"" + key + "\" occurs twice in an object");
        }
        return true;
    }

private:
    std::vector<std::set<std::string>> keys_;
};

// The library's texts begin with their own error number in brackets.
std::string notJson(const Json::exception& error) {
    const std::string what = error.what();
    const auto bracket = what.find("] ");
    return "not JSON: " + (bracket == std::string::npos ? what : what.substr(bracket + 2));
}

Json parsed(std::string_view text) {
    try {
        return Json::parse(text, DuplicateKeyCheck());
    } catch (const Json::parse_error& error) {
        throw FormatError("", notJson(error));
    }
}

sim::Timing readTiming(const JsonNode& node) {
    node.requireObject({"shareableContent", "startCapture", "stopCapture", "firstFrame",
                        "frameInterval", "refresh"});
    sim::Timing timing;
    timing.shareableContent = node.number("shareableContent", timing.shareableContent);
    timing.startCapture = node.number("startCapture", timing.startCapture);
    const auto positive = [&](std::string_view key, double fallback, bool zeroAllowed) {
        const auto found = node.find(key);
        const double value = found ? found->number() : fallback;
        if (value < 0 || (!zeroAllowed && value == 0))
            found->fail(zeroAllowed ? "must be 0 or more" : "must be greater than 0");
        return value;
    };
    timing.stopCapture = positive("stopCapture", timing.stopCapture, true);
    timing.firstFrame = positive("firstFrame", timing.firstFrame, true);
    timing.frameInterval = positive("frameInterval", timing.frameInterval, false);
    timing.refresh = positive("refresh", timing.refresh, false);
    return timing;
}

void readDesktop(const JsonNode& root, sim::DesktopState& desktop) {
    if (const auto node = root.find("displays"))
        desktop.displays = readDisplays(*node);
    if (const auto node = root.find("windows"))
        desktop.windows = readWindows(*node);
    if (const auto node = root.find("frontmost"))
        desktop.frontmost = readFrontmost(*node);
    if (const auto node = root.find("pointer"))
        desktop.pointer = node->point();
    if (const auto node = root.find("permissions"))
        desktop.permissions = readPermissions(*node);
    if (const auto node = root.find("timing"))
        desktop.timing = readTiming(*node);
}

Launch readLaunch(const JsonNode& root) {
    const auto node = root.find("launch");
    const Launch launch = node ? node->oneOf<Launch>({{"application", Launch::application},
                                                      {"session", Launch::session},
                                                      {"backend", Launch::backend}})
                               : Launch::application;
    if (launch == Launch::application)
        throw FormatError("/launch", "this version replays \"session\" and \"backend\" only");
    return launch;
}

BackendKind readBackendKind(const JsonNode& root) {
    const auto node = root.find("backend");
    if (!node)
        return BackendKind::tapSession;
    const auto kind = node->oneOf<BackendKind>({{"tapSession", BackendKind::tapSession},
                                                {"tapHID", BackendKind::tapHID},
                                                {"nseventGlobal", BackendKind::nseventGlobal}});
    if (kind == BackendKind::nseventGlobal)
        node->fail("this version replays \"tapSession\" and \"tapHID\" only");
    return kind;
}

Scenario readRoot(const JsonNode& root) {
    root.requireObject({"displays", "windows", "frontmost", "pointer", "permissions", "settings",
                        "backend", "locale", "timing", "steps", "tail", "launch", "alertAnswers"});
    Scenario scenario;
    scenario.launch = readLaunch(root);
    scenario.backend = readBackendKind(root);
    if (const auto node = root.find("locale")) {
        scenario.locale = node->oneOf<Locale>(
            {{"en", Locale::en}, {"it", Locale::it}, {"es", Locale::es}, {"keys", Locale::keys}});
    }
    readDesktop(root, scenario.desktop);
    if (const auto node = root.find("settings")) {
        scenario.settings.clear();
        for (const auto& [key, value] : node->members())
            scenario.settings.emplace_back(key, value.defaultsValue());
    }
    if (const auto node = root.find("alertAnswers")) {
        for (const JsonNode& answer : node->elements())
            scenario.alertAnswers.push_back(static_cast<int>(answer.integer(0, 100)));
    }
    if (const auto node = root.find("tail"))
        scenario.tail = node->number(0, "must be 0 or more");
    double earliest = 0;
    for (const JsonNode& node : root.at("steps").elements()) {
        scenario.steps.push_back(readStep(node, scenario.launch, earliest));
        earliest = scenario.steps.back().time;
    }
    return scenario;
}

} // namespace

std::variant<Scenario, ScenarioError> readScenario(std::string_view text) {
    try {
        const Json document = parsed(text);
        return readRoot(JsonNode(document, ""));
    } catch (const FormatError& error) {
        return ScenarioError{error.pointer, error.what()};
    } catch (const Json::exception& error) {
        return ScenarioError{"/", notJson(error)};
    }
}

} // namespace lentora::replay
