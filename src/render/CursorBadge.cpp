#include "render/CursorBadge.h"

#include "render/Fades.h"
#include "render/Glyph.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <variant>

namespace lentora {

namespace {

// In the badge, points.
constexpr Rect glyphFrame{7, 7, 18, 18};

// Pixels per point before a display is known, and the most that a glyph is made for.
constexpr double firstScale = 2;
constexpr double maxScale = 16;

} // namespace

CursorBadge::CursorBadge(LayerTransactions& transactions)
    : transactions_(transactions),
      cursorBadge_(std::make_shared<Layer>(transactions, Point{0.5, 0.5})),
      cursorGlyph_(std::make_shared<Layer>(transactions)) {
    cursorBadge_->setFrame({-badgeSize / 2, -badgeSize / 2, badgeSize, badgeSize});
    cursorBadge_->setStyle(
        {.cornerRadius = badgeSize / 2,
         .borderWidth = 1,
         .borderColor = Color::white(0.16, 0.55),
         .backgroundColor = Color::white(0.98, 0.95),
         .shadow = {.color = Color::white(0), .opacity = 0.3, .radius = 3, .offset = {0, -1}}});
    cursorBadge_->setOpacity(0);
    cursorGlyph_->setFrame(glyphFrame);
    cursorGlyph_->setStyle({.contentsGravity = ContentsGravity::resizeAspect});
    setContentsScale(firstScale);
    cursorBadge_->addChild(cursorGlyph_);
}

void CursorBadge::setCursorBadge(bool visible, double screenScale) {
    transactions_.withoutAnimation([&] { setContentsScale(screenScale); });
    transactions_.animated({fadeDuration, TimingFunction::easeOut()},
                           [&] { cursorBadge_->setOpacity(visible ? 1 : 0); });
}

void CursorBadge::setContentsScale(double screenScale) {
    cursorBadge_->setContentsScale(screenScale);
    cursorGlyph_->setContentsScale(screenScale);
    // The glyph is drawn for the scale, pixel by pixel, so that nothing has to be scaled. A scale
    // that makes no sense has no picture, which leaves a plain disc.
    const double pixels = glyphFrame.width * screenScale;
    const int size =
        pixels > 0 ? static_cast<int>(std::ceil(std::min(pixels, glyphFrame.width * maxScale))) : 0;
    const auto* shown = std::get_if<std::shared_ptr<const Picture>>(&cursorGlyph_->contents());
    if (shown && (*shown)->width() == size)
        return;
    if (const auto glyph = magnifierGlyphImage(size))
        cursorGlyph_->setContents(glyph);
    else
        cursorGlyph_->setContents(std::monostate{});
}

} // namespace lentora
