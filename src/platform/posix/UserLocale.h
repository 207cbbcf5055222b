// The language that the user reads.
#pragma once

#include "support/StringTable.h"

namespace lentora::posix {

/// By $LC_ALL, $LC_MESSAGES and $LANG, the first of them that says anything; English where there
/// are no texts in what it says. Any thread, as long as none changes the environment.
Locale userLocale();

} // namespace lentora::posix
