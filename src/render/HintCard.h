// The card in the display's bottom-left corner: the zoom, a title, and for a locked lens what one
// can do. Its colours are chosen against what is behind it.
#pragma once

#include "capture/Geometry.h"
#include "platform/TextMeasurer.h"
#include "render/BackgroundSampler.h"
#include "render/Layer.h"
#include "support/Lifetime.h"
#include "support/Rect.h"
#include "support/Task.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lentora {

class OverlayPanel;

/// Main thread.
class HintCard {
public:
    struct Services {
        LayerTransactions& transactions;
        const Geometry& geometry;
        const TextMeasurer& textMeasurer;
        BackgroundSampler backgroundSampler;
    };

    /// Points.
    static constexpr double hintFontSize = 12;
    static constexpr double hintPadX = 13;
    static constexpr double hintPadY = 9;
    static constexpr double hintMaxWidth = 360;
    /// The card's opacity when it is shown.
    static constexpr double hintGlassAlpha = 0.78;
    /// `percent` when there is none.
    static constexpr int noPercent = -1;

    explicit HintCard(const Services& services);

    /// Sets what the card says; `percent` below 0 is left out, and so are empty texts. Where the
    /// card is not on its way to be fully shown, looks at what is behind it and fades it in.
    void showHint(std::string title, int percent, std::string commands);

    /// `completion` runs when the fade's time is over.
    void fadeHint(bool visible, std::function<void()> completion = {});

    /// The window that the card is in, at the view's origin.
    void setWindow(std::weak_ptr<const OverlayPanel> window) { window_ = std::move(window); }

    const std::shared_ptr<Layer>& hintCard() const { return hintCard_; }
    /// Lies above the card, beside it in the tree.
    const std::shared_ptr<Layer>& hintLabel() const { return hintLabel_; }
    bool hintIsDark() const { return hintIsDark_; }
    bool hintSamplingInFlight() const { return hintSamplingInFlight_; }
    const std::string& lastHintTitle() const { return lastHintTitle_; }
    int lastHintPercent() const { return lastHintPercent_; }
    const std::string& lastHintCommands() const { return lastHintCommands_; }
    /// The whole text without its looks.
    const std::string& text() const { return text_; }

private:
    void renderHint();
    void sampleBackgroundAndShow();
    Task<void> chooseThemeAndShow(Rect cgRect, std::uint32_t windowNumber);
    void applyHintTheme(bool dark);

    Services services_;
    std::shared_ptr<Layer> hintCard_;
    std::shared_ptr<Layer> hintLabel_;
    std::weak_ptr<const OverlayPanel> window_;
    bool hintIsDark_ = false;
    bool hintSamplingInFlight_ = false;
    std::string lastHintTitle_;
    int lastHintPercent_ = noPercent;
    std::string lastHintCommands_;
    std::string text_;
    Lifetime lifetime_;
};

} // namespace lentora
