// A lens among the windows of a desktop, with and without a compositing manager.
#pragma once

#include "desktop/LensFixture.h"

#include <gtest/gtest.h>
#include <xcb/shape.h>

#include <algorithm>
#include <vector>

namespace lentora::test {

class PanelFixture : public LensFixture {
protected:
    xcb_window_t focus() const {
        const x11::XcbPtr<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
            program->get(), xcb_get_input_focus(program->get()), nullptr));
        return reply->focus;
    }
    /// The root window's children, top to bottom.
    std::vector<xcb_window_t> stack() const {
        const x11::XcbPtr<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(
            program->get(), xcb_query_tree(program->get(), program->root()), nullptr));
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        std::vector<xcb_window_t> windows(children,
                                          children + xcb_query_tree_children_length(tree.get()));
        std::ranges::reverse(windows);
        return windows;
    }
    bool isOnTop() const { return stack().front() == panel->windowNumber(); }
    /// The panel is only where it shows something.
    bool isCut() const {
        const x11::XcbPtr<xcb_shape_query_extents_reply_t> shape(xcb_shape_query_extents_reply(
            program->get(), xcb_shape_query_extents(program->get(), panel->windowNumber()),
            nullptr));
        return shape->bounding_shaped != 0;
    }

    const PixelRect part{100, 80, 401, 301};
};

/// With a compositing manager and without one.
class PanelFixtureAnywhere : public PanelFixture, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        PanelFixture::SetUp();
        if (GetParam())
            compositor = Compositor::running(desktop->displayName());
    }
};

} // namespace lentora::test
