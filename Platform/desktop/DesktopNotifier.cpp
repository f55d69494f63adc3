#include "Platform/desktop/DesktopNotifier.h"

#include <fmt/format.h>

#include <filesystem>

#ifdef __linux__
#include "Platform/desktop/BusNotifier.h"
#endif

namespace quorvel {

namespace {

// A value of a bus address: everything but a few characters is written as %XX.
std::string escapedForBusAddress(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isPlain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                             (byte >= '0' && byte <= '9') || byte == '-' || byte == '_' || byte == '/' ||
                             byte == '.';
        if (isPlain)
            escaped += character;
        else
            escaped += fmt::format("%{:02x}", byte);
    }
    return escaped;
}

#ifndef __linux__
class NoNotifier : public DesktopNotifier {
  public:
    Outcome show(const std::vector<DesktopNotification>&) override {
        return {{}, "this system has no notification service that this program knows"};
    }
};
#endif

} // namespace

std::optional<std::string>
sessionBusAddress(const std::function<std::optional<std::string>(std::string_view name)>& variable) {
    if (auto address = variable("DBUS_SESSION_BUS_ADDRESS")) return address;
    const auto runtime = variable("XDG_RUNTIME_DIR");
    if (!runtime) return std::nullopt;
    const std::filesystem::path socket = std::filesystem::path(*runtime) / "bus";
    std::error_code ignored;
    if (!std::filesystem::exists(socket, ignored)) return std::nullopt;
    return "unix:path=" + escapedForBusAddress(socket.native());
}

std::unique_ptr<DesktopNotifier> makeDesktopNotifier(DesktopAccess access,
                                                     DesktopNotifier::TapHandler onTap) {
#ifdef __linux__
    return std::make_unique<BusNotifier>(std::move(access), std::move(onTap));
#else
    static_cast<void>(access);
    static_cast<void>(onTap);
    return std::make_unique<NoNotifier>();
#endif
}

} // namespace quorvel
