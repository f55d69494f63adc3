#include "Programs/quorvel/ServiceFiles.h"

#include "Platform/text/Markup.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

enum class Dollar { keep, twice };

// A word of a command line in a unit: in double quotes, as C writes it, with the specifiers' percent sign
// doubled, and the variables' dollar sign where variables are expanded, which is everywhere but in the
// program's own path.
std::string unitWord(std::string_view text, Dollar dollar) {
    std::string word = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\')
            (word += '\\') += character;
        else if (character == '%')
            word += "%%";
        else if (character == '$' && dollar == Dollar::twice)
            word += "$$";
        else if (byte < ' ' || byte == 0x7F)
            word += fmt::format("\\x{:02x}", byte);
        else
            word += character;
    }
    return word + '"';
}

std::string xmlText(std::string_view text) {
    const bool isXML =
        isValidUTF8(text) && std::ranges::none_of(text, [](char character) {
            return static_cast<unsigned char>(character) < ' ' && character != '\t' && character != '\n';
        });
    if (!isXML)
        throw UsageError(
            fmt::format("a property list cannot hold {}, which has control characters", escapeControls(text)),
            "Rename it, or start the monitor in another way.");
    return escapedMarkup(text);
}

} // namespace

std::string systemdUnit(const ServiceCall& call) {
    std::string line = unitWord(call.program.native(), Dollar::keep);
    for (const std::string& argument : call.arguments)
        line += " " + unitWord(argument, Dollar::twice);
    return fmt::format(R"(# Save this as ~/.config/systemd/user/quorvel-monitor.service, then run
#   systemctl --user daemon-reload && systemctl --user enable --now quorvel-monitor
# and read what it says with: journalctl --user -u quorvel-monitor
[Unit]
Description=Watch the review state of App Store versions

[Service]
Type=simple
ExecStart={}
Restart=on-failure
RestartSec=60
RestartPreventExitStatus=2 4

[Install]
WantedBy=default.target
)",
                       line);
}

std::string launchdPropertyList(const ServiceCall& call,
                                const std::optional<std::filesystem::path>& logFile) {
    std::string words = fmt::format("        <string>{}</string>\n", xmlText(call.program.native()));
    for (const std::string& argument : call.arguments)
        words += fmt::format("        <string>{}</string>\n", xmlText(argument));
    std::string log;
    if (logFile)
        for (const char* key : {"StandardOutPath", "StandardErrorPath"})
            log +=
                fmt::format("    <key>{}</key>\n    <string>{}</string>\n", key, xmlText(logFile->native()));
    return fmt::format(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<!-- Save this as ~/Library/LaunchAgents/com.halvorne.brevant.monitor.plist, then run
     launchctl bootstrap gui/$(id -u) ~/Library/LaunchAgents/com.halvorne.brevant.monitor.plist -->
<plist version="1.0">
<dict>
    <key>Label</key>
    <string>com.halvorne.brevant.monitor</string>
    <key>ProgramArguments</key>
    <array>
{}    </array>
    <key>RunAtLoad</key>
    <true/>
    <key>KeepAlive</key>
    <dict>
        <key>SuccessfulExit</key>
        <false/>
    </dict>
    <key>ThrottleInterval</key>
    <integer>60</integer>
    <key>ProcessType</key>
    <string>Background</string>
{}</dict>
</plist>
)",
                       words, log);
}

} // namespace quorvel
