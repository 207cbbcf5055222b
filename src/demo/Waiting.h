// How the demo waits: for a condition, with a limit, and never past Ctrl+C.
#pragma once

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

namespace lentora::demo {

/// Why the demo cannot go on, in one sentence for the user.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The user wants the demo to end.
class Interrupted : public std::exception {};

/// From here on SIGINT, SIGTERM and SIGHUP make every wait throw `Interrupted`.
void endWaitsOnSignals();

/// The pace of a hand. Throws `Interrupted`.
void pause(std::chrono::milliseconds time);

/// Returns as soon as `condition` holds. Throws `Failure` with `complaint` when it does not within
/// the limit, and `Interrupted`.
void await(const std::function<bool()>& condition, const std::string& complaint,
           std::chrono::milliseconds limit = std::chrono::seconds(10));

} // namespace lentora::demo
