// Resident memory of 200 open sessions, each over a pulled tree of 20 locales with edits, against the texts
// that their states hold.
#include "Core/metadata/ContextsStore.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataStore.h"
#include "Quorvel/sessions/AppSession.h"
#include "Quorvel/workspace/AppFolder.h"
#include "Tests/support/TemporaryFolder.h"

#include <fmt/format.h>

#include <fstream>

#ifdef __GLIBC__
#include <malloc.h>
#endif

using namespace quorvel;

namespace {

constexpr std::size_t sessionCount = 200;
constexpr std::size_t localeCount = 20;

std::size_t residentKilobytes() {
#ifdef __GLIBC__
    malloc_trim(0); // what was freed is not memory of the sessions
#endif
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return std::stoul(line.substr(6));
    return 0;
}

// One field of every locale is edited.
void writeTree(const MetadataFolder& appFolder, const Clock& clock) {
    const PlatformContext context{ASCPlatform::iOS, AppStoreVersionStateClass::editable, "2.4",
                                  "PREPARE_FOR_SUBMISSION", "v"};
    ContextsStore(appFolder, clock).save({context}, context.id());
    const MetadataStore store(appFolder.contextFolder(context.contextID()));
    for (std::size_t index = 0; index < localeCount; ++index)
        for (const FieldType field : storeTexts) {
            const std::string_view locale = appStoreLocales()[index];
            const std::string text(limitOf(field) / 2, 'x');
            const bool isEdited = field == FieldType::releaseNotes;
            store.write(locale, field, isEdited ? text + "!" : text, TextSide::local, Durability::later);
            store.write(locale, field, text, TextSide::pulled, Durability::later);
        }
}

std::size_t textBytes(const MetadataState& state) {
    std::size_t bytes = 0;
    for (const PendingChange& change : state.texts.changes)
        bytes += change.remote.size() + change.local.size();
    for (const auto& [locale, cells] : state.texts.grid.cells)
        for (const auto& [field, cell] : cells)
            bytes += cell.preview.size();
    return bytes;
}

} // namespace

int main() {
    const test::TemporaryFolder folder;
    const Home home{folder.path()};
    const Clock clock = [] { return dateFromSecondsSince1970(1772368200); };
    const SharedContainer container = ModelContainer::open(home.applicationSupport(), clock);
    const AppRecords apps(container, clock);
    std::vector<std::string> ids;
    for (std::size_t number = 0; number <= sessionCount; ++number) {
        const std::string name = "app-" + std::to_string(number);
        const ManagedApp app =
            apps.add({.slug = name, .displayName = name, .bundleId = "com.example." + name});
        writeTree(appFolderOf(app, home, apps), clock);
        ids.push_back(app.id);
    }
    AppSessionStore sessions([&](std::string_view appID) {
        return makeAppSession({.container = container,
                               .app = [apps, id = std::string(appID)] { return apps.find(id); },
                               .home = home,
                               .clock = clock},
                              std::make_shared<OperationGate>());
    });
    // The first session fills what all of them share.
    sessions.session(ids.back())->metadata->refresh();
    const std::size_t before = residentKilobytes();
    for (std::size_t index = 0; index < sessionCount; ++index)
        (void)sessions.session(ids[index]);
    const std::size_t opened = residentKilobytes();
    std::size_t texts = 0;
    for (std::size_t index = 0; index < sessionCount; ++index) {
        const auto session = sessions.session(ids[index]);
        session->metadata->refresh();
        texts += textBytes(*session->metadata->state());
    }
    const std::size_t refreshed = residentKilobytes();
    fmt::print(
        "sessions {}  opened {:.1f} kB each  with grid and changes {:.1f} kB each  texts {:.1f} kB each  "
        "growth/texts {:.2f}\n",
        sessionCount, static_cast<double>(opened - before) / sessionCount,
        static_cast<double>(refreshed - before) / sessionCount,
        static_cast<double>(texts) / 1024 / sessionCount,
        static_cast<double>(refreshed - before) * 1024 / static_cast<double>(texts));
    return texts > 0 ? 0 : 1;
}
