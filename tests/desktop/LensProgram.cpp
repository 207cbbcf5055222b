#include "desktop/LensProgram.h"

#include <xcb/res.h>

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

namespace lentora::test {

namespace {

using testdesktop::Key;
using x11::XcbPtr;

constexpr int lookAgainMs = 2;
constexpr std::chrono::milliseconds freshStart{550};

// Points, from the pointer to the middle of the badge, and around it what it may cover with its
// shadow.
constexpr int badgeX = 32;
constexpr int badgeY = 16;
constexpr int badgeReach = 32;
// On the disc, between the glyph and the edge.
constexpr int onDisc = 12;

// Points.
constexpr int lensBorder = 2;
constexpr int lensCorner = 10;
constexpr int cardInset = 14;

std::string text(const xcb_get_property_reply_t& reply) {
    return {static_cast<const char*>(xcb_get_property_value(&reply)),
            static_cast<std::size_t>(xcb_get_property_value_length(&reply))};
}

} // namespace

void LensProgram::SetUp() {
    auto start = testdesktop::TestDesktop::start({.screenWidth = screenWidth,
                                                  .screenHeight = screenHeight,
                                                  .withoutExtension = withoutExtension});
    ASSERT_TRUE(start.desktop) << start.error;
    desktop = std::move(start.desktop);
    painter = std::make_unique<PaintingProgram>(desktop->displayName());
}

void LensProgram::setScale(int pixels) {
    scale = pixels;
    const std::string text = "Xft.dpi:\t" + std::to_string(96 * pixels) + "\n";
    xcb_change_property(painter->get(), XCB_PROP_MODE_REPLACE, painter->root(),
                        XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(text.size()), text.data());
    painter->finish();
}

void LensProgram::start(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), LENTORA_PROGRAM);
    std::vector<std::pair<std::string, std::string>> variables(environment.begin(),
                                                               environment.end());
    variables.emplace_back("DISPLAY", desktop->displayName());
    variables.emplace_back("HOME", home.path());
    program = std::make_unique<ChildProcess>(arguments, variables);
}

void LensProgram::launch(std::vector<std::string> arguments) {
    start(std::move(arguments));
    ASSERT_TRUE(program->awaitOutput("Ctrl+C ends")) << program->output();
    // The first key may bring the map of its keyboard with it.
    hands().tap(Key::ShiftL);
}

void LensProgram::pressGateTwice() {
    hands().tap(Key::AltL);
    hands().press(Key::AltL);
}

void LensProgram::openLocked() {
    pressGateTwice();
    ASSERT_TRUE(awaitLog("ARMED"));
    hands().pinch({1.0, 1.1});
    hands().release(Key::AltL);
    ASSERT_TRUE(awaitLog("lock ON"));
}

std::string LensProgram::log() const {
    const std::ifstream file(logPath());
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

int LensProgram::timesLogged(const std::string& text) const {
    const std::string all = log();
    int count = 0;
    for (auto at = all.find(text); at != std::string::npos; at = all.find(text, at + 1))
        ++count;
    return count;
}

bool LensProgram::awaitLog(const std::string& text, int times) const {
    return eventually([&] { return timesLogged(text) >= times; });
}

Picture LensProgram::screen(const PixelRect& part) const {
    return pixelsOf(painter->get(), painter->root(), part);
}

Picture LensProgram::stillPicture(const PixelRect& part) const {
    constexpr std::chrono::milliseconds rest{400};
    Picture seen = screen(part);
    auto since = std::chrono::steady_clock::now();
    EXPECT_TRUE(eventually([&] {
        Picture now = screen(part);
        if (now.pixels() != seen.pixels()) {
            seen = std::move(now);
            since = std::chrono::steady_clock::now();
        }
        return std::chrono::steady_clock::now() - since > rest;
    }));
    return seen;
}

bool LensProgram::eventually(const std::function<bool()>& isSo, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        ::poll(nullptr, 0, lookAgainMs);
    }
    return true;
}

void LensProgram::awaitFreshStart() {
    const auto begin = std::chrono::steady_clock::now();
    eventually([&] { return std::chrono::steady_clock::now() - begin > freshStart; });
}

testing::AssertionResult LensProgram::showsLens(const PixelRect& part, const Picture& window, int x,
                                                int y, double zoom) const {
    return showsStillLens(part, window, x, y, zoom, x, y);
}

testing::AssertionResult LensProgram::showsStillLens(const PixelRect& part, const Picture& window,
                                                     int x, int y, double zoom, int pointerX,
                                                     int pointerY) const {
    const Point focus{static_cast<double>(std::clamp(x - part.x, 0, part.width)),
                      static_cast<double>(std::clamp(y - part.y, 0, part.height))};
    const LensShape shape{.border = lensBorder * scale,
                          .corner = lensCorner * scale,
                          .hidden = {badgeArea(pointerX, pointerY).translated(-part.x, -part.y)}};
    double worst = 0;
    const bool shows = eventually([&] {
        worst = worstInside(screen(part), window, focus, zoom, shape);
        return worst <= filterTolerance;
    });
    return shows ? testing::AssertionSuccess()
                 : testing::AssertionFailure() << "off by " << worst << "\n"
                                               << log();
}

bool LensProgram::showsExactly(const PixelRect& part, const Picture& picture) const {
    return eventually([&] { return screen(part).pixels() == picture.pixels(); });
}

PixelRect LensProgram::badgeArea(int x, int y) const {
    return {x + (badgeX - badgeReach) * scale, y + (badgeY - badgeReach) * scale,
            2 * badgeReach * scale, 2 * badgeReach * scale};
}

testing::AssertionResult LensProgram::showsBadge(int x, int y) const {
    constexpr int white = 220;
    const PixelRect area = badgeArea(x, y);
    const int middle = badgeReach * scale;
    const int off = onDisc * scale;
    const auto isDisc = [&] {
        const Picture seen = screen(area);
        const auto isWhite = [&](int dx, int dy) {
            const Pixel& pixel = seen.at(middle + dx, middle + dy);
            return std::min({pixel.red, pixel.green, pixel.blue}) >= white;
        };
        return isWhite(off, 0) && isWhite(-off, 0) && isWhite(0, off) && isWhite(0, -off);
    };
    return eventually(isDisc) ? testing::AssertionSuccess()
                              : testing::AssertionFailure()
                                    << "no badge beside " << x << ", " << y << "\n"
                                    << log();
}

PixelRect LensProgram::cardCorner(const PixelRect& monitor) const {
    const int left = cardInset * scale;
    const int reach = 60 * scale;
    return {monitor.x + left, monitor.maxY() - left - reach, reach, reach};
}

bool LensProgram::isLensShown() const {
    xcb_connection_t* c = painter->get();
    const xcb_atom_t pidOfWindow = painter->atom("_NET_WM_PID");
    const XcbPtr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, painter->root()), nullptr));
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    return std::any_of(
        children, children + xcb_query_tree_children_length(tree.get()), [&](xcb_window_t window) {
            const auto attributesAsked = xcb_get_window_attributes(c, window);
            const auto pidAsked =
                xcb_get_property(c, 0, window, pidOfWindow, XCB_ATOM_CARDINAL, 0, 1);
            const XcbPtr<xcb_get_window_attributes_reply_t> attributes(
                xcb_get_window_attributes_reply(c, attributesAsked, nullptr));
            const XcbPtr<xcb_get_property_reply_t> pid(
                xcb_get_property_reply(c, pidAsked, nullptr));
            const auto ours = static_cast<std::uint32_t>(program->pid());
            return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE && pid &&
                   text(*pid) == std::string(reinterpret_cast<const char*>(&ours), sizeof ours);
        });
}

std::map<std::string, unsigned> LensProgram::resources() const {
    xcb_connection_t* c = painter->get();
    const xcb_res_client_id_spec_t all{XCB_NONE, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const XcbPtr<xcb_res_query_client_ids_reply_t> clients(
        xcb_res_query_client_ids_reply(c, xcb_res_query_client_ids(c, 1, &all), nullptr));
    std::map<std::string, unsigned> counts;
    for (auto id = xcb_res_query_client_ids_ids_iterator(clients.get()); id.rem > 0;
         xcb_res_client_id_value_next(&id)) {
        if (xcb_res_client_id_value_value_length(id.data) == 0 ||
            static_cast<pid_t>(*xcb_res_client_id_value_value(id.data)) != program->pid())
            continue;
        ++counts["connection"];
        const XcbPtr<xcb_res_query_client_resources_reply_t> found(
            xcb_res_query_client_resources_reply(
                c, xcb_res_query_client_resources(c, id.data->spec.client), nullptr));
        if (!found)
            continue;
        const auto* types = xcb_res_query_client_resources_types(found.get());
        for (int i = 0; i < xcb_res_query_client_resources_types_length(found.get()); ++i) {
            const XcbPtr<xcb_get_atom_name_reply_t> name(
                xcb_get_atom_name_reply(c, xcb_get_atom_name(c, types[i].resource_type), nullptr));
            const std::string kind(
                xcb_get_atom_name_name(name.get()),
                static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get())));
            // The server counts them to the window, not to those who want to hear of its shape.
            if (kind != "ShapeEvent")
                counts[kind] += types[i].count;
        }
    }
    return counts;
}

} // namespace lentora::test
