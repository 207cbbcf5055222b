#include "render/HintCard.h"

#include "render/AttributedText.h"
#include "render/Fades.h"
#include "render/OverlayPanel.h"

#include <cmath>
#include <limits>
#include <utility>

namespace lentora {

namespace {

// Points, from the view's bottom-left corner.
constexpr double cardMargin = 14;
constexpr double cornerRadius = 12;
constexpr double borderWidth = 1;

constexpr double bigFontSize = 15;
constexpr double spaceAboveCommands = 7;
constexpr double spaceBetweenCommands = 3;
constexpr const char* percentFromTitle = "  \u00b7  ";

struct TextColors {
    Color primary;
    Color secondary;
};
constexpr TextColors darkTextColors{Color::white(1), Color::white(0.82)};
constexpr TextColors lightTextColors{Color::white(0), Color::white(0.3)};

struct CardColors {
    Color background;
    Color border;
};
constexpr CardColors darkCardColors{Color::white(0.11), Color::white(1, 0.22)};
constexpr CardColors lightCardColors{{0.97, 0.95, 0.91, 1}, Color::white(0, 0.18)};

AttributedText composed(const std::string& title, int percent, const std::string& commands,
                        const TextColors& colors) {
    const Font big{bigFontSize, FontWeight::semibold};
    const Font small{HintCard::hintFontSize, FontWeight::regular};
    const Font command{HintCard::hintFontSize, FontWeight::medium};
    const ParagraphStyle heading{.lineSpacing = 0,
                                 .paragraphSpacing = commands.empty() ? 0 : spaceAboveCommands};
    const ParagraphStyle list{.lineSpacing = spaceBetweenCommands, .paragraphSpacing = 0};

    AttributedText text;
    if (percent >= 0) {
        text.runs.push_back({std::to_string(percent) + "%", big, colors.primary, heading});
        if (!title.empty())
            text.runs.push_back({percentFromTitle + title, small, colors.secondary, heading});
    } else if (!title.empty()) {
        text.runs.push_back({title, big, colors.primary, heading});
    }
    if (!commands.empty()) {
        if (!text.runs.empty())
            text.runs.push_back({"\n", command, colors.primary, heading});
        text.runs.push_back({commands, command, colors.primary, list});
    }
    return text;
}

} // namespace

HintCard::HintCard(const Services& services)
    : services_(services), hintCard_(std::make_shared<Layer>(services.transactions)),
      hintLabel_(std::make_shared<Layer>(services.transactions)) {
    hintCard_->setStyle(
        {.cornerRadius = cornerRadius, .borderWidth = borderWidth, .masksToBounds = true});
    hintCard_->setOpacity(0);
    hintLabel_->setOpacity(0);
}

void HintCard::showHint(std::string title, int percent, std::string commands) {
    lastHintTitle_ = std::move(title);
    lastHintPercent_ = percent;
    lastHintCommands_ = std::move(commands);
    renderHint();
    // What was last set, not what is seen: a card that is fading in needs no second sample.
    if (hintLabel_->opacity() < 1)
        sampleBackgroundAndShow();
}

void HintCard::fadeHint(bool visible, std::function<void()> completion) {
    services_.transactions.animated(
        {fadeDuration, TimingFunction::easeInEaseOut()},
        [&] {
            hintCard_->setOpacity(visible ? hintGlassAlpha : 0);
            hintLabel_->setOpacity(visible ? 1 : 0);
        },
        std::move(completion));
}

void HintCard::renderHint() {
    auto text = std::make_shared<AttributedText>(
        composed(lastHintTitle_, lastHintPercent_, lastHintCommands_,
                 hintIsDark_ ? darkTextColors : lightTextColors));
    const Size size = services_.textMeasurer.size(*text, hintMaxWidth);
    const double width = std::ceil(size.width);
    const double height = std::ceil(size.height);
    text_ = text->string();
    services_.transactions.withoutAnimation([&] {
        hintLabel_->setContents(std::move(text));
        hintCard_->setFrame({cardMargin, cardMargin, width + 2 * hintPadX, height + 2 * hintPadY});
        hintLabel_->setFrame({cardMargin + hintPadX, cardMargin + hintPadY, width, height});
    });
}

void HintCard::sampleBackgroundAndShow() {
    const auto window = window_.lock();
    if (hintSamplingInFlight_ || !window) {
        fadeHint(true);
        return;
    }
    hintSamplingInFlight_ = true;
    Rect onScreen = hintCard_->frame();
    onScreen.x += window->frame().x;
    onScreen.y += window->frame().y;
    startDetached(chooseThemeAndShow(services_.geometry.flipped(onScreen), window->windowNumber()));
}

Task<void> HintCard::chooseThemeAndShow(Rect cgRect, std::uint32_t windowNumber) {
    const Lifetime::Watch self = lifetime_.watch();
    const bool light = co_await services_.backgroundSampler.backgroundIsLight(cgRect, windowNumber);
    if (!self)
        co_return;
    applyHintTheme(light);
    fadeHint(true);
    hintSamplingInFlight_ = false;
}

void HintCard::applyHintTheme(bool dark) {
    hintIsDark_ = dark;
    LayerStyle style = hintCard_->style();
    const CardColors& colors = dark ? darkCardColors : lightCardColors;
    style.backgroundColor = colors.background;
    style.borderColor = colors.border;
    hintCard_->setStyle(style);
    renderHint();
}

} // namespace lentora
