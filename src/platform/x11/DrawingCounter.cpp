#include "platform/x11/DrawingCounter.h"

#include <limits>

namespace lentora::x11 {

namespace {

xcb_sync_int64_t toProtocol(std::int64_t value) {
    return {static_cast<std::int32_t>(value >> 32), static_cast<std::uint32_t>(value)};
}

} // namespace

DrawingCounter::DrawingCounter(const Connection& connection)
    : connection_(connection.get()), counter_(xcb_generate_id(connection_)) {
    xcb_sync_create_counter(connection_, counter_, toProtocol(0));
}

DrawingCounter::~DrawingCounter() {
    xcb_sync_destroy_counter(connection_, counter_);
}

DrawingCounter::Moment DrawingCounter::mark() {
    xcb_sync_set_counter(connection_, counter_, toProtocol(++value_));
    return {counter_, value_};
}

void DrawingCounter::await(const Connection& reader, const Moment& moment) {
    if (moment.counter == XCB_NONE)
        return;
    // A difference that is never reached: no event tells that the wait is over.
    const xcb_sync_waitcondition_t reached{
        .trigger = {.counter = moment.counter,
                    .wait_type = XCB_SYNC_VALUETYPE_ABSOLUTE,
                    .wait_value = toProtocol(moment.value),
                    .test_type = XCB_SYNC_TESTTYPE_POSITIVE_COMPARISON},
        .event_threshold = toProtocol(std::numeric_limits<std::int64_t>::max())};
    xcb_sync_await(reader.get(), 1, &reached);
}

} // namespace lentora::x11
