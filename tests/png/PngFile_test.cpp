#include "png/PngFile.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <png.h>

#include <array>
#include <cstdint>
#include <string>

namespace lentora {
namespace {

TEST(PngFileTest, KeepsPixelsAndUndoesPremultiplication) {
    const test::TempFolder folder;
    const std::string path = folder.path() + "/picture.png";
    Picture picture(2, 2);
    picture.at(0, 0) = {10, 20, 30, 255};
    picture.at(1, 0) = {64, 32, 0, 128};
    picture.at(0, 1) = {1, 0, 1, 1};
    ASSERT_EQ(png::write(picture, path), std::nullopt);

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0);
    image.format = PNG_FORMAT_RGBA;
    std::array<std::uint8_t, 16> bytes{};
    ASSERT_EQ(PNG_IMAGE_SIZE(image), bytes.size());
    ASSERT_NE(png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr), 0);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 16>{10, 20, 30, 255, 128, 64, 0, 128, 255, 0, 255, 1,
                                                   0, 0, 0, 0}));
}

TEST(PngFileTest, SaysWhatWentWrong) {
    EXPECT_NE(png::write(Picture(1, 1), "/nowhere/at/all.png").value_or(""), "");
}

} // namespace
} // namespace lentora
