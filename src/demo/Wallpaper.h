// The picture behind all windows.
#pragma once

#include "platform/x11/Connection.h"

namespace lentora::demo {

/// Shows a gradient, and says so the way compositing managers ask for it. It stays as long as the
/// connection.
void hangWallpaper(const x11::Connection& server);

} // namespace lentora::demo
