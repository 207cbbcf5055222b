#pragma once

#include <csignal>

namespace lentora::posix {

/// Makes writing to a server or a pipe whose other end is gone an ordinary error, instead of the
/// end of the process by SIGPIPE. For `main`, before any thread or connection; programs that are
/// started later inherit it, unless who starts them sets the signal back.
inline void ignoreBrokenPipes() {
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace lentora::posix
