// How the simulated desktop gets at the pixels of a captured frame.
#pragma once

#include "support/Picture.h"

namespace lentora::sim {

/// What a `Surface` of the simulated desktop also is.
class PixelSource {
public:
    virtual ~PixelSource() = default;

    /// The same for as long as the surface lives.
    virtual Picture picture() const = 0;
};

} // namespace lentora::sim
