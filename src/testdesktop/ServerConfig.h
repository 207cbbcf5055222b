#pragma once

#include <string>

namespace lentora::testdesktop {

/// What the configuration of the private X server depends on. Sizes in pixels.
struct ServerConfig {
    int screenWidth = 0; ///< mode of the first output
    int screenHeight = 0;
    int virtualWidth = 0; ///< largest total screen RandR may set up while the server runs
    int virtualHeight = 0;
    std::string keyboardSocket; ///< absolute paths where the driver makes its sockets
    std::string mouseSocket;
    std::string touchpadSocket;   ///< empty: no touchpad
    std::string withoutExtension; ///< as servers call it; empty: all are there
};

/// Name of the server layout in that configuration, for the server's -layout.
inline constexpr const char* serverLayoutName = "lentora";

/// The text of the configuration file.
std::string serverConfigText(const ServerConfig& config);

} // namespace lentora::testdesktop
