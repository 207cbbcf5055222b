// The contract between input and the zoom session. A backend turns raw input into eight
// operations on its delegate; two backends stand behind the contract, so that the session does
// not know how input reaches the program.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lentora {

/// Why a lens is closed.
enum class ReleaseReason { gateUp, gestureEnded, escKey, manual, appSwitch };

/// The name of the case, as log lines print it.
std::string_view toString(ReleaseReason reason);

/// Which backend is in use, and where its tap listens.
enum class BackendKind { tapSession, tapHID, nseventGlobal };

std::string_view rawValue(BackendKind kind);

/// Nothing for a name that is no case.
std::optional<BackendKind> backendKindFromRawValue(std::string_view rawValue);

/// What a backend tells the session. Every operation is called on the main thread.
class InputBackendDelegate {
public:
    virtual ~InputBackendDelegate() = default;

    /// A pinch crossed the engage threshold while the gate is active. `magnitude` is the sum of
    /// the magnifications so far (1.0 when a lens is opened for debugging).
    virtual void inputDidEngage(double magnitude) = 0;

    /// A pinch went on while engaged. Follows `inputDidEngage` for the same event; not sent for an
    /// event that re-targets. `cumulative` is the sum of all magnifications since the sum was last
    /// reset.
    virtual void inputDidUpdatePinch(double cumulative) = 0;

    /// The lens must close.
    virtual void inputDidRelease(ReleaseReason reason) = 0;

    /// The gate opened (its key is held, or the lens is locked) or closed.
    virtual void inputGateChanged(bool active) = 0;

    virtual void inputLockChanged(bool locked) = 0;

    /// A locked lens froze in place and the pointer moves freely, or that ended.
    virtual void inputDetach(bool active) = 0;

    /// A fresh pinch on a locked lens after a double press: show the window under the pointer.
    virtual void inputDidRequestRetarget(double magnitude) = 0;

    /// The intent to stay open on release, from a double press that is held, began or ended.
    virtual void inputArmingChanged(bool armed) = 0;
};

/// All operations and properties belong to the main thread.
class InputBackend {
public:
    virtual ~InputBackend() = default;

    /// The backend does not keep its delegate alive. An operation decided while there is no
    /// delegate is dropped.
    virtual void setDelegate(std::weak_ptr<InputBackendDelegate> delegate) = 0;
    virtual std::shared_ptr<InputBackendDelegate> delegate() const = 0;

    /// A description for the log.
    virtual std::string label() const = 0;

    virtual bool gateActive() const = 0;

    /// A pinch opened a lens that is still open, as far as the backend knows.
    virtual bool engaged() const = 0;

    virtual bool isLocked() const = 0;

    virtual void start() = 0;

    /// Ends delivery and forgets all transient state. Tells the delegate nothing. The backend may
    /// be started again.
    virtual void stop() = 0;

    /// Opens a lens without a gesture.
    virtual void debugForceEngage() = 0;

    /// Closes the lens as if it had been released, with the reason `manual`.
    virtual void debugForceRelease() = 0;

    /// Forgets engaged, locked and armed state without telling the delegate to close: the session
    /// calls it when the lens that the backend believes in was never opened.
    virtual void cancelEngage() = 0;

    /// What the shell calls when another application becomes active.
    void forceRelease() { debugForceRelease(); }
};

} // namespace lentora
