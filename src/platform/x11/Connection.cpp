#include "platform/x11/Connection.h"

#include <mutex>

namespace lentora::x11 {

std::unique_ptr<Connection> Connection::open(const std::string& display, std::string& error) {
    int screenNumber = 0;
    xcb_connection_t* connection = nullptr;
    {
        // The library that finds the key to the server keeps its file's name in one place for all.
        static std::mutex connecting;
        const std::lock_guard lock(connecting);
        connection = xcb_connect(display.empty() ? nullptr : display.c_str(), &screenNumber);
    }
    // xcb answers with an object in any case, which has to be given back.
    std::unique_ptr<Connection> owner(new Connection(connection, XCB_NONE));
    const char* name = display.empty() ? std::getenv("DISPLAY") : display.c_str();
    if (xcb_connection_has_error(connection) != 0) {
        error = name == nullptr || name[0] == '\0' ? std::string("no display: DISPLAY is not set")
                                                   : std::string("no X server answers at ") + name;
        return nullptr;
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 1 && screenNumber > 0; --screenNumber)
        xcb_screen_next(&screens);
    owner->root_ = screens.data->root;
    return owner;
}

Connection::~Connection() {
    xcb_disconnect(connection_);
}

std::optional<Connection::Extension> Connection::extension(xcb_extension_t& id) const {
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(connection_, &id);
    if (data == nullptr || data->present == 0)
        return std::nullopt;
    return Extension{data->major_opcode, data->first_event, data->first_error};
}

} // namespace lentora::x11
