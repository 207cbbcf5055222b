// The bookkeeping of the capture that needs no server: areas, and the windows as events tell.
#include "platform/x11/PixelRegion.h"
#include "platform/x11/ScreenSpace.h"
#include "platform/x11/WindowStack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

namespace lentora::x11 {
namespace {

using testing::ElementsAre;

constexpr xcb_window_t root = 1;

template <typename Event>
Event eventOf(std::uint8_t type) {
    Event event{};
    event.response_type = type;
    return event;
}

template <typename Event>
bool give(WindowStack& stack, const Event& event) {
    return stack.apply(reinterpret_cast<const xcb_generic_event_t&>(event));
}

void create(WindowStack& stack, xcb_window_t id) {
    auto event = eventOf<xcb_create_notify_event_t>(XCB_CREATE_NOTIFY);
    event.parent = root;
    event.window = id;
    event.width = 10;
    event.height = 10;
    give(stack, event);
}

void configure(WindowStack& stack, xcb_window_t id, xcb_window_t above, std::uint16_t width = 10) {
    auto event = eventOf<xcb_configure_notify_event_t>(XCB_CONFIGURE_NOTIFY);
    event.window = id;
    event.above_sibling = above;
    event.width = width;
    event.height = 10;
    give(stack, event);
}

std::vector<xcb_window_t> order(const WindowStack& stack) {
    std::vector<xcb_window_t> ids;
    for (const TopLevel& window : stack.windows())
        ids.push_back(window.id);
    return ids;
}

TEST(WindowStack, KeepsTheOrderThatEventsTell) {
    WindowStack stack(root);
    for (const xcb_window_t id : {10U, 20U, 30U, 40U})
        create(stack, id);
    configure(stack, 10, 30);
    EXPECT_THAT(order(stack), ElementsAre(20, 30, 10, 40));
    configure(stack, 40, XCB_NONE);
    EXPECT_THAT(order(stack), ElementsAre(40, 20, 30, 10));
    configure(stack, 40, 40); // Nonsense, and of a sibling that is gone.
    configure(stack, 20, 99);
    EXPECT_THAT(order(stack), ElementsAre(40, 20, 30, 10));
    auto circulate = eventOf<xcb_circulate_notify_event_t>(XCB_CIRCULATE_NOTIFY);
    circulate.window = 20;
    circulate.place = XCB_PLACE_ON_TOP;
    give(stack, circulate);
    circulate.window = 10;
    circulate.place = XCB_PLACE_ON_BOTTOM;
    give(stack, circulate);
    EXPECT_THAT(order(stack), ElementsAre(10, 40, 30, 20));
    auto reparent = eventOf<xcb_reparent_notify_event_t>(XCB_REPARENT_NOTIFY);
    reparent.window = 40;
    reparent.parent = 30;
    give(stack, reparent);
    EXPECT_THAT(order(stack), ElementsAre(10, 30, 20));
    reparent.parent = root;
    give(stack, reparent);
    EXPECT_THAT(order(stack), ElementsAre(10, 30, 20, 40));
    EXPECT_FALSE(give(stack, eventOf<xcb_key_press_event_t>(XCB_KEY_PRESS)));
}

TEST(WindowStack, KnowsWhenAWindowIsAnotherOneOrHasNewPixels) {
    WindowStack stack(root);
    create(stack, 10);
    const TopLevel first = *stack.find(10);
    EXPECT_FALSE(first.isMapped);
    auto map = eventOf<xcb_map_notify_event_t>(XCB_MAP_NOTIFY);
    map.window = 10;
    give(stack, map);
    const unsigned mapped = stack.find(10)->pixels;
    EXPECT_NE(mapped, first.pixels);
    configure(stack, 10, XCB_NONE, 10);
    EXPECT_EQ(stack.find(10)->pixels, mapped) << "it was only moved";
    // There and back again within one look.
    configure(stack, 10, XCB_NONE, 20);
    configure(stack, 10, XCB_NONE, 10);
    EXPECT_NE(stack.find(10)->pixels, mapped);
    auto destroy = eventOf<xcb_destroy_notify_event_t>(XCB_DESTROY_NOTIFY);
    destroy.window = 10;
    give(stack, destroy);
    EXPECT_EQ(stack.find(10), nullptr);
    create(stack, 10);
    EXPECT_NE(stack.find(10)->serial, first.serial);
}

TEST(PixelRegion, CoversWhatWasAddedInAFewRectangles) {
    std::mt19937 random(5);
    std::uniform_int_distribution<int> place(-200, 200);
    std::uniform_int_distribution<int> size(0, 40);
    PixelRegion region;
    std::vector<PixelRect> added;
    for (int i = 0; i < 500; ++i) {
        added.push_back({place(random), place(random), size(random), size(random)});
        region.add(added.back());
        ASSERT_LE(region.rects().size(), PixelRegion::maxRects);
        for (const PixelRect& rect : added) {
            // Joining keeps whole rectangles whole.
            const bool isCovered =
                rect.isEmpty() || std::ranges::any_of(region.rects(), [&](const PixelRect& r) {
                    return r.contains(rect);
                });
            ASSERT_TRUE(isCovered);
        }
    }
}

TEST(PixelRegion, KeepsWhatLiesApartApart) {
    // A clock in one corner and a blinking cursor in another one.
    PixelRegion region;
    for (int i = 0; i < 30; ++i) {
        region.add({i, 0, 2, 10});
        region.add({1000 + i, 900, 2, 10});
    }
    EXPECT_LT(region.area(), 1500);
    EXPECT_EQ(region.bounds(), (PixelRect{0, 0, 1031, 910}));
}

TEST(ScreenSpace, BringsBackWhatIsNoPlaceInX) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const Rect wild{-infinity, std::numeric_limits<double>::quiet_NaN(), infinity, 0.2};
    EXPECT_EQ((ScreenSpace{0, 0, 2}.toPixels(wild)), (PixelRect{-32767, 0, 32767, 1}));
    EXPECT_EQ((ScreenSpace{0, 0, 1.5}.toPixels({10.2, -3.5, 100.3, 50})),
              (PixelRect{15, -5, 151, 75}));
}

} // namespace
} // namespace lentora::x11
