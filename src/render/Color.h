// Colours of layers and text.
#pragma once

namespace lentora {

/// Components from 0 to 1, in the display's own RGB, not premultiplied.
struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 0;

    /// A grey from 0 (black) to 1 (white).
    static constexpr Color white(double level, double alpha = 1) {
        return {level, level, level, alpha};
    }

    bool operator==(const Color&) const = default;
};

} // namespace lentora
