// Applications of the Linux desktops whose windows are documents of their own.
#pragma once

#include <span>
#include <string_view>

namespace lentora::x11 {

/// Terminals, browsers and file managers, by the names that their windows may go under: the
/// desktop file's without its ending, and the class that the window itself states. Upper and lower
/// case count.
std::span<const std::string_view> independentLinuxApps();

} // namespace lentora::x11
