// How what is shown over the desktop comes and goes.
#pragma once

namespace lentora {

/// Seconds of every fade: of the lens, its card and its badge.
inline constexpr double fadeDuration = 0.15;

} // namespace lentora
