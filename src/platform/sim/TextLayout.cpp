#include "platform/sim/TextLayout.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>

namespace lentora::sim {

namespace {

// In tenths of an em, so that sizes in whole points add up without rounding.
constexpr double advanceTenths = 6;
constexpr double lineHeightTenths = 12;
// How far a line's baseline lies below its top, in its own ems, and an em box's above its bottom.
constexpr double baseline = 0.95;
constexpr double baselineInEm = 0.75;

struct Character {
    char32_t codePoint;
    const TextRun* run;

    double advance() const { return advanceTenths * run->font.size; }
    bool isBlank() const { return codePoint == U' '; }
};

using Characters = std::span<const Character>;

// The next code point of `text`, which is cut off; a byte that is no UTF-8 stands for itself.
char32_t takeCodePoint(std::string_view& text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const std::size_t length = byte(0) < 0xC0 ? 1 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
    char32_t codePoint = length == 1 ? byte(0) : byte(0) & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if (i >= text.size() || (byte(i) & 0xC0U) != 0x80U) {
            codePoint = byte(0);
            text.remove_prefix(1);
            return codePoint;
        }
        codePoint = (codePoint << 6U) | (byte(i) & 0x3FU);
    }
    text.remove_prefix(length);
    return codePoint;
}

std::vector<Character> charactersOf(const AttributedText& text) {
    std::vector<Character> characters;
    for (const TextRun& run : text.runs) {
        for (std::string_view rest = run.text; !rest.empty();)
            characters.push_back({takeCodePoint(rest), &run});
    }
    return characters;
}

double widthOf(Characters characters) {
    double width = 0;
    for (const Character& character : characters)
        width += character.advance();
    return width;
}

Characters withoutBlanksAtEnd(Characters line) {
    while (!line.empty() && line.back().isBlank())
        line = line.first(line.size() - 1);
    return line;
}

// The first line of `paragraph`: as many words, each with the blanks after it, as fit.
Characters firstLine(Characters paragraph, double limit) {
    double width = 0;
    std::size_t lastBreak = 0;
    for (std::size_t i = 0; i < paragraph.size(); ++i) {
        width += paragraph[i].advance();
        if (paragraph[i].isBlank())
            lastBreak = i + 1;
        else if (width > limit && lastBreak > 0)
            return paragraph.first(lastBreak);
    }
    return paragraph;
}

class Layout {
public:
    explicit Layout(double limit) : limit_(limit) {}

    // `fallback` is what an empty paragraph looks like.
    void addParagraph(Characters paragraph, const TextRun& fallback, bool isLast) {
        const ParagraphStyle& style =
            paragraph.empty() ? fallback.paragraph : paragraph.front().run->paragraph;
        do {
            const Characters line = firstLine(paragraph, limit_);
            paragraph = paragraph.subspan(line.size());
            addLine(paragraph.empty() ? line : withoutBlanksAtEnd(line), fallback);
            height_ += 10 * style.lineSpacing;
        } while (!paragraph.empty());
        if (!isLast)
            height_ += 10 * style.paragraphSpacing;
    }

    TextLayout take() {
        layout_.size = {width_ / 10, height_ / 10};
        return std::move(layout_);
    }

private:
    void addLine(Characters line, const TextRun& fallback) {
        double em = line.empty() ? fallback.font.size : 0;
        for (const Character& character : line)
            em = std::max(em, character.run->font.size);
        double x = 0;
        for (const Character& character : line) {
            const TextRun& run = *character.run;
            const double top = height_ / 10 + baseline * em - baselineInEm * run.font.size;
            layout_.characters.push_back(
                {character.codePoint, {x / 10, top}, run.font.size, run.color});
            x += character.advance();
        }
        width_ = std::max(width_, widthOf(line));
        height_ += lineHeightTenths * em;
    }

    double limit_;
    // Tenths of points.
    double width_ = 0;
    double height_ = 0;
    TextLayout layout_;
};

} // namespace

TextLayout layOut(const AttributedText& text, double widthLimit) {
    const std::vector<Character> all = charactersOf(text);
    Layout layout(10 * widthLimit);
    Characters rest = all;
    while (!rest.empty()) {
        const auto feed = std::ranges::find(rest, U'\n', &Character::codePoint);
        const auto length = static_cast<std::size_t>(feed - rest.begin());
        const bool isLast = feed == rest.end();
        layout.addParagraph(rest.first(length), *(isLast ? rest.back() : *feed).run, isLast);
        if (!isLast && length + 1 == rest.size()) // A line feed at the end begins a last line.
            layout.addParagraph({}, *feed->run, true);
        rest = rest.subspan(isLast ? length : length + 1);
    }
    return layout.take();
}

} // namespace lentora::sim
