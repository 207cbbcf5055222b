#include "platform/x11/X11Panels.h"

#include "platform/x11/PanelSession.h"
#include "platform/x11/X11Panel.h"

#include <utility>

namespace lentora::x11 {

std::unique_ptr<X11Panels> X11Panels::open(X11PanelsOptions options, const PanelServices& services,
                                           std::string& error) {
    auto server = PanelServer::open(options.display, error);
    if (!server)
        return nullptr;
    return std::unique_ptr<X11Panels>(new X11Panels(
        std::make_shared<PanelSession>(std::move(server), std::move(options), services)));
}

X11Panels::~X11Panels() = default;

std::unique_ptr<Panel> X11Panels::make(const Rect& frame) {
    return std::make_unique<X11Panel>(session_, frame);
}

std::uint64_t X11Panels::bytesSent() const {
    return session_->bytesSent();
}

} // namespace lentora::x11
