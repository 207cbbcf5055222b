// Pictures of the lens as a user sees it, to be looked at: over text and over a photograph, light
// and dark, at several zooms and scales, with and without a compositing manager. They go to the
// folder $LENTORA_PICTURES.
#include "desktop/LensFixture.h"
#include "platform/qt/QtText.h"
#include "png/PngFile.h"

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace lentora::test {
namespace {

constexpr const char* commands = "Esc or Alt: close\nCommand: freeze the lens\nPinch: zoom";

Picture fromImage(const QImage& image) {
    Picture picture(image.width(), image.height());
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor color = image.pixelColor(x, y);
            picture.at(x, y) = {static_cast<std::uint8_t>(color.red()),
                                static_cast<std::uint8_t>(color.green()),
                                static_cast<std::uint8_t>(color.blue()), 255};
        }
    }
    return picture;
}

Picture textPage(int width, int height, double pixelsPerPoint, bool dark) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(dark ? QColor(30, 32, 36) : QColor(252, 252, 250));
    QPainter painter(&image);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(static_cast<int>(13 * pixelsPerPoint));
    painter.setFont(font);
    painter.setPen(dark ? QColor(210, 212, 216) : QColor(30, 30, 30));
    const int line = static_cast<int>(19 * pixelsPerPoint);
    for (int y = line, i = 1; y < height; y += line, ++i) {
        painter.drawText(QPoint(static_cast<int>(16 * pixelsPerPoint), y),
                         QStringLiteral("%1  The quick brown fox jumps over the lazy dog, and "
                                        "reads small print; 0O1lI {}[]().")
                             .arg(i));
    }
    return fromImage(image);
}

// Sky, a sun, hills and grain.
Picture photograph(int width, int height) {
    Picture picture(width, height);
    const Picture grain = noise(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double u = static_cast<double>(x) / width;
            const double v = static_cast<double>(y) / height;
            const double sun = std::exp(-40 * (std::pow(u - 0.7, 2) + std::pow(v - 0.3, 2)));
            const double hill = 0.62 + 0.1 * std::sin(7 * u) + 0.02 * std::sin(41 * u);
            double red = 90 + 120 * v + 140 * sun;
            double green = 130 + 60 * v + 90 * sun;
            double blue = 210 - 60 * v + 20 * sun;
            if (v > hill) {
                red = 60 - 40 * (v - hill);
                green = 95 - 90 * (v - hill);
                blue = 50;
            }
            const double speckle = (grain.at(x, y).red - 128) / 12.0;
            const auto channel = [&](double value) {
                return static_cast<std::uint8_t>(std::clamp(value + speckle, 0.0, 255.0));
            };
            picture.at(x, y) = {channel(red), channel(green), channel(blue), 255};
        }
    }
    return picture;
}

class LensPictures : public LensFixture {
protected:
    void SetUp() override {
        LensFixture::SetUp();
        textRenderer = &qtRenderer;
        textMeasurer = &qtMeasurer;
    }

    void open(const Picture& content, double pixelsPerPoint, bool onDark) {
        wallpaper = window({0, 0, screenWidth, screenHeight}, onDark ? 0x23262B : 0xC9D3DC).id();
        shown = showing(content, part.x, part.y);
        makeLens(pixelsPerPoint);
        openLens(part);
    }

    // Over this point of the screen, in pixels.
    void point(int x, int y, double factor, bool isLocked) {
        const Point pointer{x / scale, (screenHeight - y) / scale};
        view->setCursorBadge(true, scale);
        transactions.withoutAnimation([&] {
            view->cursorBadge()->setPosition({pointer.x + 32, pointer.y - 16});
        });
        view->showHint(isLocked ? "Text Editor" : "", static_cast<int>(std::lround(factor * 100)),
                       isLocked ? commands : "");
        zoom({pointer.x - lens.x, pointer.y - lens.y}, factor);
        loop.runUntil([&] { return view->hint().hintLabel()->opacity() == 1; });
        loop.runFor(0.3);
    }

    void save(const std::string& name) {
        const char* folder = std::getenv("LENTORA_PICTURES");
        const Picture seen =
            compositor ? compositor->screen({0, 0, screenWidth, screenHeight}) : screen();
        const auto error =
            png::write(seen, std::string(folder == nullptr ? "." : folder) + "/" + name + ".png");
        EXPECT_EQ(error.value_or(""), "");
    }

    const PixelRect part{120, 70, 560, 420};
    const qt::QtTextRenderer qtRenderer;
    const qt::QtTextMeasurer qtMeasurer;
    std::unique_ptr<PaintedWindow> shown;
    xcb_window_t wallpaper = XCB_NONE;
    std::unique_ptr<Compositor> compositor;
};

TEST_F(LensPictures, TextLight) {
    open(textPage(part.width, part.height, 1, false), 1, false);
    for (const double factor : {1.0, 1.5, 2.5, 10.0}) {
        point(300, 220, factor, false);
        save("lens-text-light-" + std::to_string(static_cast<int>(factor * 100)));
    }
    point(300, 220, 2.5, true);
    save("lens-text-light-locked");
}

TEST_F(LensPictures, PhotographComposited) {
    compositor = std::make_unique<Compositor>(desktop->displayName());
    open(photograph(part.width, part.height), 1, false);
    for (const double factor : {1.0, 1.5, 2.5, 10.0}) {
        point(500, 200, factor, true);
        save("lens-photo-" + std::to_string(static_cast<int>(factor * 100)));
    }
}

TEST_F(LensPictures, TextDarkWithLargePixels) {
    open(textPage(part.width, part.height, 2, true), 2, true);
    point(300, 220, 1.5, true);
    save("lens-text-dark-scale2-locked");
    point(300, 220, 2.5, false);
    save("lens-text-dark-scale2");
    compositor = std::make_unique<Compositor>(desktop->displayName());
    loop.runFor(0.2);
    save("lens-text-dark-scale2-composited");
}

TEST_F(LensPictures, HalfFadedWithoutACompositor) {
    open(textPage(part.width, part.height, 1, false), 1, false);
    point(60, 400, 2, false);
    transactions.withoutAnimation([&] { view->clipLayer()->setOpacity(0.5); });
    loop.runUntilQuiet();
    save("lens-half-faded");
}

} // namespace
} // namespace lentora::test

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
