#include "png/PngFile.h"

#include <png.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lentora::png {

namespace {

// PNG keeps colours as they are before alpha is applied.
std::uint8_t withoutAlpha(std::uint8_t component, std::uint8_t alpha) {
    return static_cast<std::uint8_t>((component * 255 + alpha / 2) / alpha);
}

} // namespace

std::optional<std::string> write(const Picture& picture, const std::string& path) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(4 * picture.pixels().size());
    for (const Pixel& pixel : picture.pixels()) {
        for (const std::uint8_t component : {pixel.red, pixel.green, pixel.blue})
            bytes.push_back(pixel.alpha == 0 ? 0 : withoutAlpha(component, pixel.alpha));
        bytes.push_back(pixel.alpha);
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width());
    image.height = static_cast<png_uint_32>(picture.height());
    image.format = PNG_FORMAT_RGBA;
    if (png_image_write_to_file(&image, path.c_str(), 0, bytes.data(), 0, nullptr) != 0)
        return std::nullopt;
    return image.message;
}

} // namespace lentora::png
