#include "zoom/LensOverlay.h"

namespace lentora {

namespace {

// From the pointer to the centre of the badge, points, y up.
constexpr Point badgeOffset{32, -16};

} // namespace

LensOverlay::LensOverlay(const Services& services)
    : panels_(services.panels), geometry_(services.displays),
      transactions_(services.clock, services.mainQueue),
      magnifier_({transactions_, services.mainQueue, geometry_, services.textMeasurer,
                  services.shareableContent, services.screenshots},
                 {}) {}

void LensOverlay::present(const Screen& screen) {
    if (!panel_)
        panel_ = OverlayPanel::create(panels_, screen.frame);
    magnifier_.setFrame({0, 0, screen.frame.width, screen.frame.height});
    panel_->setContentView(magnifier_);
    panel_->setFrame(screen.frame);
    panel_->orderFrontRegardless();
    screenFrame_ = screen.frame;
    screenScale_ = screen.scale;
}

void LensOverlay::orderOut() {
    if (panel_)
        panel_->orderOut();
}

void LensOverlay::setBadgeShown(bool shown) {
    if (shown == badgeShown_)
        return;
    badgeShown_ = shown;
    magnifier_.setCursorBadge(shown, screenScale_);
}

void LensOverlay::placeBadge(Point cursor) {
    transactions_.withoutAnimation([&] {
        magnifier_.cursorBadge()->setPosition(
            {cursor.x - screenFrame_.x + badgeOffset.x, cursor.y - screenFrame_.y + badgeOffset.y});
    });
}

} // namespace lentora
