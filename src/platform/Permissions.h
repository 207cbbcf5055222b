// What the user, or the desktop, lets this program do.
#pragma once

namespace lentora {

/// Asks nobody: only tells how things stand. Main thread.
class Permissions {
public:
    virtual ~Permissions() = default;

    /// Windows' pixels may be read.
    virtual bool screenRecording() const = 0;

    /// The focused window may be asked for.
    virtual bool accessibility() const = 0;

    /// Input may be observed and withheld.
    virtual bool inputMonitoring() const = 0;
};

} // namespace lentora
