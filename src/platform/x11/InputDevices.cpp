#include "platform/x11/InputDevices.h"

#include "platform/x11/XInput.h"

#include <cstring>

namespace lentora::x11 {

namespace {

// The fixed part of a device record: id, use, attachment, class count, name length (16 bits each),
// enabled (8 bits) and padding; the name follows, padded to four bytes.
constexpr std::size_t infoSize = 12;
// The begin of a class record: type and length in units of four bytes (16 bits each).
constexpr std::size_t classHeaderSize = 4;

std::uint16_t read16(std::span<const std::uint8_t> bytes, std::size_t at) {
    std::uint16_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

} // namespace

bool anyReportsPinches(std::span<const std::uint8_t> infos, int count) {
    std::size_t at = 0;
    for (int device = 0; device < count; ++device) {
        if (infos.size() - at < infoSize)
            return false;
        const std::uint16_t classCount = read16(infos, at + 6);
        const std::size_t nameLength = read16(infos, at + 8);
        const bool enabled = infos[at + 10] != 0;
        at += infoSize + (nameLength + 3) / 4 * 4;
        for (int i = 0; i < classCount; ++i) {
            if (at > infos.size() || infos.size() - at < classHeaderSize)
                return false;
            const std::size_t length = read16(infos, at + 2) * std::size_t{4};
            if (length < classHeaderSize)
                return false;
            if (enabled && read16(infos, at) == xi::gestureClass)
                return true;
            at += length;
        }
        if (at > infos.size())
            return false;
    }
    return false;
}

bool anyDeviceReportsPinches(const Connection& connection) {
    const auto cookie = xcb_input_xi_query_device(connection.get(), xi::allDevices);
    const XcbPtr<xcb_input_xi_query_device_reply_t> reply(
        xcb_input_xi_query_device_reply(connection.get(), cookie, nullptr));
    if (!reply)
        return false;
    const auto* begin = reinterpret_cast<const std::uint8_t*>(reply.get()) + sizeof *reply;
    return anyReportsPinches({begin, reply->length * std::size_t{4}}, reply->num_infos);
}

} // namespace lentora::x11
