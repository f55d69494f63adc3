#include "Programs/quorvel/Wording.h"

namespace quorvel {

namespace {

struct Wording {
    std::string_view below, here;
};

// A longer phrase stands before one that is part of it.
constexpr Wording wordings[] = {
    {".p8 in Settings → App Store Connect — a", ".p8 with 'quorvel auth status' — a"},
    {"Check it in Settings → App Store Connect", "Check it with 'quorvel auth status'"},
    {"in Settings → App Store Connect", "with 'quorvel auth set'"},
    {"create the locale first via the Metadata tab", "create the locale first with 'quorvel locale add'"},
    {"— click Pull first", "— 'quorvel pull' first"},
    {"Choose the folder again in the app's settings", "Choose the folder again with 'quorvel apps set'"},
    {"choose the folder again in the app's settings", "choose the folder again with 'quorvel apps set'"},
    {"set it in the app's identity", "'quorvel apps import' sets it"},
    {"Click Pull to fetch App Store Connect", "'quorvel pull' fetches it from App Store Connect"},
    {"Open Screenshots → Pull to check", "'quorvel screenshots pull' checks"},
    {"Pull or design a set, then Push", "'quorvel screenshots push' uploads those of your folder"},
    {"Click Release to archive, export and upload", "'quorvel build run' archives, exports and uploads"},
    {"Open Metadata → Submit when Metadata and Build are green", "'quorvel submit' once all above is done"},
    {"when you press Release on App Store Connect", "when you run 'quorvel release'"},
    {"press Release on App Store Connect", "'quorvel release' releases it"},
    {"In Quorvel's Metadata tab, run \"Pull metadata\" so", "Run 'quorvel pull' so"},
    {"Run Build & Upload again", "Run 'quorvel build run' again"},
    {"run Build & Upload again", "run 'quorvel build run' again"},
    {"App Store Connect → this app → \"+ Version or Platform\" — create version",
     "'quorvel versions create', or App Store Connect → this app → \"+ Version or Platform\" — create version"},
    {"Answer it first; nobody", "Answer it with 'quorvel builds compliance'; nobody"},
    {"Write that first; beta", "Write that with 'quorvel testflight notes set'; beta"},
    {"Settle the conflict first", "Settle it with 'quorvel resolve'"},
    {"the list of conflicts shows", "'quorvel conflicts' shows"},
    {"Tidying removes", "'quorvel metadata tidy' removes"},
    {"tidying removes", "'quorvel metadata tidy' removes"},
};

} // namespace

std::string inCommands(std::string_view text) {
    std::string result(text);
    for (const auto& [below, here] : wordings)
        for (std::size_t at = result.find(below); at != result.npos;
             at = result.find(below, at + here.size()))
            result.replace(at, below.size(), here);
    return result;
}

} // namespace quorvel
