// Text with the looks of its parts. The core composes it and decides where it goes; the platform
// measures and draws it.
#pragma once

#include "render/Color.h"

#include <string>
#include <vector>

namespace lentora {

enum class FontWeight { regular, medium, semibold };

/// The system's font for user interfaces.
struct Font {
    /// Points.
    double size = 12;
    FontWeight weight = FontWeight::regular;

    bool operator==(const Font&) const = default;
};

struct ParagraphStyle {
    /// Points below each line.
    double lineSpacing = 0;
    /// Points below the paragraph, where another follows.
    double paragraphSpacing = 0;

    bool operator==(const ParagraphStyle&) const = default;
};

struct TextRun {
    /// UTF-8. A line feed ends a paragraph, and belongs to the paragraph it ends.
    std::string text;
    Font font;
    Color color;
    /// A paragraph has the style of its first character.
    ParagraphStyle paragraph;

    bool operator==(const TextRun&) const = default;
};

struct AttributedText {
    std::vector<TextRun> runs;

    /// The characters alone.
    std::string string() const {
        std::string all;
        for (const TextRun& run : runs)
            all += run.text;
        return all;
    }

    bool operator==(const AttributedText&) const = default;
};

} // namespace lentora
