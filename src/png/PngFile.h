// Pictures as PNG files.
#pragma once

#include "support/Picture.h"

#include <optional>
#include <string>

namespace lentora::png {

/// Writes `picture`, which has at least one pixel, to the file `path`, in the place of what is
/// there. Nothing on success, else what went wrong.
std::optional<std::string> write(const Picture& picture, const std::string& path);

} // namespace lentora::png
