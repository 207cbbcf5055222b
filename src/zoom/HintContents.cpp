#include "zoom/HintContents.h"

#include "support/Text.h"

namespace lentora::hint {

std::string pinchCommands(const StringTable& strings, std::string_view gateName) {
    return text::filled(strings.text("hud.cmd.close"), gateName) + "\n" +
           strings.text("hud.cmd.detach") + "\n" + strings.text("hud.cmd.esc");
}

std::string keyboardCommands(const StringTable& strings) {
    return strings.text("hud.cmd.kbclose") + "\n" + strings.text("hud.cmd.esc");
}

} // namespace lentora::hint
