// Pictures of the lens as a user sees it, to be looked at: over text and a picture, light and dark,
// at several zooms and scales, with and without a compositing manager. They go to the folder
// $LENTORA_PICTURES.
#include "desktop/LensFixture.h"
#include "platform/qt/QtText.h"
#include "png/PngFile.h"
#include "zoom/HintContents.h"

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace lentora::test {
namespace {

// Points.
constexpr double titleBar = 30;
constexpr double margin = 22;

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

struct Colours {
    QColor page;
    QColor bar;
    QColor text;
    QColor faint;
};

Colours colours(bool dark) {
    if (dark)
        return {QColor(30, 32, 36), QColor(44, 47, 53), QColor(214, 216, 220),
                QColor(150, 154, 162)};
    return {QColor(252, 252, 250), QColor(226, 229, 233), QColor(34, 34, 38),
            QColor(110, 114, 122)};
}

// The file that LENTORA_PHOTOGRAPH names. Without it something like a photograph: sky, a low sun,
// ridges one behind the other, and grain.
QImage photograph(int width, int height) {
    if (const QImage taken(qEnvironmentVariable("LENTORA_PHOTOGRAPH")); !taken.isNull()) {
        return taken.scaled(width, height, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation)
            .copy(0, 0, width, height);
    }
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, height);
    sky.setColorAt(0, QColor(72, 112, 176));
    sky.setColorAt(0.55, QColor(232, 186, 150));
    painter.fillRect(image.rect(), sky);
    QRadialGradient sun(width * 0.68, height * 0.42, height * 0.5);
    sun.setColorAt(0, QColor(255, 246, 220));
    sun.setColorAt(0.12, QColor(255, 232, 180, 230));
    sun.setColorAt(1, QColor(255, 214, 160, 0));
    painter.fillRect(image.rect(), sun);
    constexpr int ridges = 4;
    for (int i = 0; i < ridges; ++i) {
        const double depth = static_cast<double>(i) / (ridges - 1);
        QPolygonF ridge;
        ridge << QPointF(0, height);
        for (int x = 0; x <= width; ++x) {
            const double u = static_cast<double>(x) / width;
            const double y = 0.5 + 0.12 * i + 0.05 * std::sin(5 * u + 2 * i) +
                             0.03 * std::sin(13 * u + 5 * i) + 0.012 * depth * std::sin(61 * u + i);
            ridge << QPointF(x, y * height);
        }
        ridge << QPointF(width, height);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor::fromRgbF(static_cast<float>(0.56 - 0.46 * depth),
                                          static_cast<float>(0.52 - 0.36 * depth),
                                          static_cast<float>(0.60 - 0.44 * depth)));
        painter.drawPolygon(ridge);
    }
    painter.end();
    const Picture grain = noise(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const QColor color = image.pixelColor(x, y);
            const int speckle = (grain.at(x, y).red - 128) / 24;
            const auto channel = [&](int value) { return std::clamp(value + speckle, 0, 255); };
            image.setPixelColor(
                x, y, QColor(channel(color.red()), channel(color.green()), channel(color.blue())));
        }
    }
    return image;
}

constexpr const char* prose =
    "The ridge is best seen in the last hour before sunset. Take the lower path from the station, "
    "past the saw-mill, and keep left where it forks (the sign is easily missed).\n\n"
    "Distances: 4.8 km, 310 m up. The hut is open from 1 June to 15 October, 9:00\u201318:30; "
    "there is no water above 1,640 m.\n\n"
    "Small print: timetable 12b applies on Sundays. Tickets {A, B} are valid on both lines; "
    "0O 1lI |!.";

// A window of another program: a bar with a title, and a page with text and a photograph.
Picture page(int width, int height, double pixelsPerPoint, bool dark) {
    const Colours look = colours(dark);
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(look.page);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(pixelsPerPoint, pixelsPerPoint);
    const QRectF all(0, 0, width / pixelsPerPoint, height / pixelsPerPoint);
    QFont font(QStringLiteral("DejaVu Sans"));
    painter.fillRect(QRectF(0, 0, all.width(), titleBar), look.bar);
    font.setPixelSize(12);
    painter.setFont(font);
    painter.setPen(look.faint);
    painter.drawText(QRectF(0, 0, all.width(), titleBar), Qt::AlignCenter,
                     QStringLiteral("Walks \u2013 Reader"));
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 3; ++i) {
        painter.setBrush(look.faint);
        painter.drawEllipse(QPointF(all.width() - 16.0 - 18 * i, titleBar / 2), 4.5, 4.5);
    }
    const QRectF body = all.adjusted(margin, titleBar + margin, -margin, -margin);
    font.setPixelSize(19);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(look.text);
    painter.drawText(body, QStringLiteral("Above the valley"));
    const double column = (body.width() - margin) / 2;
    const QRectF picture(body.x() + column + margin, body.y() + 36, column, column * 0.72);
    const double pixels = pixelsPerPoint;
    painter.drawImage(picture, photograph(static_cast<int>(picture.width() * pixels),
                                          static_cast<int>(picture.height() * pixels)));
    font.setBold(false);
    font.setPixelSize(10);
    painter.setFont(font);
    painter.setPen(look.faint);
    painter.drawText(QPointF(picture.x(), picture.bottom() + 15),
                     QStringLiteral("Fig. 3: where the walk begins"));
    font.setPixelSize(12);
    painter.setFont(font);
    painter.setPen(look.text);
    painter.drawText(QRectF(body.x(), body.y() + 36, column, body.height() - 36), Qt::TextWordWrap,
                     QString::fromUtf8(prose));
    return fromImage(image);
}

// What a screenshot does not have: the arrow of the pointer.
void drawPointer(Picture& picture, int x, int y, double scale) {
    QImage image(picture.width(), picture.height(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(x, y);
        painter.scale(scale, scale);
        painter.setPen(QPen(Qt::white, 1.2));
        painter.setBrush(Qt::black);
        painter.drawPolygon(QPolygonF(
            {{0, 0}, {0, 16}, {3.8, 12.4}, {6.4, 18.4}, {8.8, 17.4}, {6.3, 11.5}, {11.3, 11.3}}));
    }
    for (int row = 0; row < picture.height(); ++row) {
        for (int at = 0; at < picture.width(); ++at) {
            const QRgb over = image.pixel(at, row);
            Pixel& p = picture.at(at, row);
            const auto mixed = [&](int above, std::uint8_t below) {
                const int alpha = qAlpha(over);
                return static_cast<std::uint8_t>((above * alpha + below * (255 - alpha)) / 255);
            };
            p = {mixed(qRed(over), p.red), mixed(qGreen(over), p.green), mixed(qBlue(over), p.blue),
                 255};
        }
    }
}

Picture sky(int width, int height, bool dark) {
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, width, height);
    gradient.setColorAt(0, dark ? QColor(28, 34, 48) : QColor(160, 186, 208));
    gradient.setColorAt(1, dark ? QColor(52, 40, 62) : QColor(214, 198, 206));
    painter.fillRect(image.rect(), gradient);
    painter.end();
    return fromImage(image);
}

class LensPictures : public LensFixture {
protected:
    void SetUp() override {
        LensFixture::SetUp();
        textRenderer = &qtRenderer;
        textMeasurer = &qtMeasurer;
    }

    void open(double pixelsPerPoint, bool dark) {
        wallpaper = showing(sky(screenWidth, screenHeight, dark), 0, 0);
        shown = showing(page(part.width, part.height, pixelsPerPoint, dark), part.x, part.y);
        makeLens(pixelsPerPoint);
        openLens(part);
    }

    // Over this point of the screen, in pixels.
    void point(int x, int y, double factor, bool isLocked) {
        pointerX = x;
        pointerY = y;
        const Point pointer{x / scale, (screenHeight - y) / scale};
        view->setCursorBadge(true, scale);
        transactions.withoutAnimation([&] {
            view->cursorBadge()->setPosition({pointer.x + 32, pointer.y - 16});
        });
        const StringTable strings(Locale::en);
        view->showHint(isLocked ? std::string(hint::productName) : "",
                       static_cast<int>(std::lround(factor * 100)),
                       isLocked ? hint::pinchCommands(strings, "Alt") : "");
        zoom({pointer.x - lens.x, pointer.y - lens.y}, factor);
        loop.runUntil([&] { return view->hint().hintLabel()->opacity() == 1; });
        loop.runFor(0.3);
    }

    void save(const std::string& name) {
        const char* folder = std::getenv("LENTORA_PICTURES");
        Picture seen = screen();
        drawPointer(seen, pointerX, pointerY, scale);
        const auto error =
            png::write(seen, std::string(folder == nullptr ? "." : folder) + "/" + name + ".png");
        EXPECT_EQ(error.value_or(""), "");
    }

    const PixelRect part{110, 60, 640, 400};
    const qt::QtTextRenderer qtRenderer{};
    const qt::QtTextMeasurer qtMeasurer{};
    std::unique_ptr<PaintedWindow> wallpaper;
    std::unique_ptr<PaintedWindow> shown;
    int pointerX = 0;
    int pointerY = 0;
};

TEST_F(LensPictures, Light) {
    open(1, false);
    for (const double factor : {1.0, 1.5, 2.5, 10.0}) {
        point(300, 272, factor, false);
        save("light-" + std::to_string(static_cast<int>(factor * 100)));
    }
    point(600, 280, 2.5, true);
    save("light-photo-locked-250");
}

TEST_F(LensPictures, Dark) {
    compositor = Compositor::running(desktop->displayName());
    open(1, true);
    for (const double factor : {1.0, 1.5, 2.5, 10.0}) {
        point(470, 200, factor, true);
        save("dark-locked-" + std::to_string(static_cast<int>(factor * 100)));
    }
}

TEST_F(LensPictures, LargePixels) {
    open(2, true);
    point(240, 220, 1.5, true);
    save("scale2-dark-locked-150");
    point(240, 220, 2.5, false);
    save("scale2-dark-250");
    compositor = Compositor::running(desktop->displayName());
    loop.runFor(0.2);
    save("scale2-dark-250-composited");
}

TEST_F(LensPictures, HalfFadedWithoutACompositor) {
    open(1, false);
    point(200, 400, 2, false);
    transactions.withoutAnimation([&] { view->clipLayer()->setOpacity(0.5); });
    loop.runUntilQuiet();
    save("light-half-faded");
}

} // namespace
} // namespace lentora::test

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
