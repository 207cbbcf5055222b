// What kinds of input devices the server has.
#pragma once

#include "platform/x11/Connection.h"

#include <xcb/xinput.h>

#include <cstdint>
#include <span>

namespace lentora::x11 {

/// Whether an enabled device reports pinches. `infos` are the device records of the answer to
/// XIQueryDevice as they came, `count` of them; libxcb cannot walk past classes it does not know.
/// Records that contradict their own lengths end the search.
bool anyReportsPinches(std::span<const std::uint8_t> infos, int count);

/// Asks the server, with one round trip. False when it is gone.
bool anyDeviceReportsPinches(const Connection& connection);

} // namespace lentora::x11
