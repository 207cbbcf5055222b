#include "platform/qt/QtText.h"

#include <QFont>
#include <QFontDatabase>
#include <QImage>
#include <QList>
#include <QPainter>
#include <QTextLayout>
#include <QTextOption>

#include <algorithm>
#include <cmath>
#include <deque>
#include <string>
#include <utility>

namespace lentora::qt {

namespace {

// Pixels; beyond this no picture is made.
constexpr int maxSide = 16384;

// Stands for a width without limit.
constexpr double unlimited = 1e6;

// A width that was rounded to a text's own width still holds it.
constexpr double widthTolerance = 0.01;

QFont::Weight weightOf(FontWeight weight) {
    switch (weight) {
    case FontWeight::regular:
        return QFont::Normal;
    case FontWeight::medium:
        return QFont::Medium;
    case FontWeight::semibold:
        return QFont::DemiBold;
    }
    return QFont::Normal;
}

// A layout is in units of its font's pixels; one of them is a point here.
QFont fontOf(const Font& font) {
    QFont made = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    made.setPixelSize(std::max(static_cast<int>(std::lround(font.size)), 1));
    made.setWeight(weightOf(font.weight));
    made.setHintingPreference(QFont::PreferNoHinting);
    made.setStyleStrategy(QFont::PreferAntialias);
    return made;
}

QColor colorOf(const Color& color) {
    const auto channel = [](double value) {
        return static_cast<float>(std::clamp(value, 0.0, 1.0));
    };
    return QColor::fromRgbF(channel(color.red), channel(color.green), channel(color.blue),
                            channel(color.alpha));
}

struct Paragraph {
    QString text;
    QList<QTextLayout::FormatRange> formats;
    QFont font;
    ParagraphStyle style;
    bool isLast = false;
};

class ParagraphReader {
public:
    std::vector<Paragraph> read(const AttributedText& text) {
        for (const TextRun& run : text.runs) {
            const auto pieces =
                QString::fromUtf8(run.text.data(), static_cast<qsizetype>(run.text.size()))
                    .split(QLatin1Char('\n'));
            for (qsizetype i = 0; i < pieces.size(); ++i) {
                if (!isOpen_)
                    open(run);
                add(pieces[i], run);
                // A line feed belongs to the paragraph that it ends.
                if (i + 1 < pieces.size())
                    isOpen_ = false;
            }
        }
        if (!paragraphs_.empty())
            paragraphs_.back().isLast = true;
        return std::move(paragraphs_);
    }

private:
    void open(const TextRun& run) {
        isOpen_ = true;
        paragraphs_.push_back({{}, {}, fontOf(run.font), run.paragraph, false});
    }

    void add(const QString& piece, const TextRun& run) {
        if (piece.isEmpty())
            return;
        Paragraph& paragraph = paragraphs_.back();
        QTextLayout::FormatRange range;
        range.start = static_cast<int>(paragraph.text.size());
        range.length = static_cast<int>(piece.size());
        range.format.setFont(fontOf(run.font));
        range.format.setForeground(colorOf(run.color));
        if (paragraph.text.isEmpty()) {
            // A paragraph has the style of its first character.
            paragraph.font = fontOf(run.font);
            paragraph.style = run.paragraph;
        }
        paragraph.formats.append(range);
        paragraph.text += piece;
    }

    std::vector<Paragraph> paragraphs_;
    bool isOpen_ = false;
};

class Layout {
public:
    Layout(const AttributedText& text, double widthLimit)
        : limit_(std::isfinite(widthLimit) ? std::min(widthLimit + widthTolerance, unlimited)
                                           : unlimited) {
        for (const Paragraph& paragraph : ParagraphReader().read(text))
            add(paragraph);
    }

    Size size() const { return {width_, height_}; }

    void draw(QPainter& painter) const {
        for (const QTextLayout& layout : layouts_)
            layout.draw(&painter, {0, 0});
    }

private:
    void add(const Paragraph& paragraph) {
        QTextLayout& layout = layouts_.emplace_back(paragraph.text, paragraph.font);
        QTextOption option;
        option.setWrapMode(QTextOption::WordWrap);
        option.setUseDesignMetrics(true);
        layout.setTextOption(option);
        layout.setFormats(paragraph.formats);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLeadingIncluded(true);
            line.setLineWidth(limit_);
            line.setPosition({0, height_});
            width_ = std::max(width_, line.naturalTextWidth());
            height_ += line.height() + paragraph.style.lineSpacing;
        }
        layout.endLayout();
        if (!paragraph.isLast)
            height_ += paragraph.style.paragraphSpacing;
    }

    const double limit_;
    double width_ = 0;
    double height_ = 0;
    // They do not move.
    std::deque<QTextLayout> layouts_;
};

} // namespace

Size QtTextMeasurer::size(const AttributedText& text, double widthLimit) const {
    return Layout(text, widthLimit).size();
}

Picture QtTextRenderer::render(const AttributedText& text, int width, int height,
                               double scale) const {
    if (width < 1 || height < 1 || width > maxSide || height > maxSide || !(scale > 0))
        return {};
    QImage image(width, height, QImage::Format_RGBA8888_Premultiplied);
    if (image.isNull())
        return {};
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.scale(scale, scale);
        Layout(text, width / scale).draw(painter);
    }
    Picture picture(width, height);
    for (int y = 0; y < height; ++y) {
        const uchar* row = image.constScanLine(y);
        for (int x = 0; x < width; ++x, row += 4)
            picture.at(x, y) = {row[0], row[1], row[2], row[3]};
    }
    return picture;
}

} // namespace lentora::qt
