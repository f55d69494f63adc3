#include "Quorvel/repository/RepositoryFile.h"

#include "Core/metadata/PlatformContext.h"
#include "Platform/files/Files.h"
#include "Platform/text/Spelling.h"
#include "Platform/text/Text.h"
#include "Quorvel/repository/TomlLibrary.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace quorvel {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t repositoryFileLimit = 1ULL << 20; // bytes

struct Key {
    std::string_view name;
    std::string_view comment;
    std::string_view example; // stands in a comment where the file names nothing
};
constexpr Key keys[] = {
    {"app", "The app, by its bundle id.", "com.example.app"},
    {"tree", "The store texts: a folder with a folder per locale, or one that quorvel pulled into.",
     "metadata"},
    {"platform",
     "ios, macos, tvos or visionos: whose coming version is worked on. Or context = \"ios/next\".", "ios"},
    {"context", "The version that is worked on, such as \"ios/next\".", "ios/next"},
    {"screenshots", "The pictures: screenshots/<locale>/…", "screenshots"},
    {"project", "The Xcode project or workspace that is built.", "App.xcodeproj"},
};

// Words that a key of something secret is named with.
constexpr std::string_view secretWords[] = {"key",   "issuer", "secret",    "password",
                                            "token", "p8",     "credential"};

class Reader {
  public:
    Reader(const fs::path& file, const toml::table& table) : file_(file), table_(table) {}

    [[nodiscard]] RepositoryFile read() const {
        refuseUnknown();
        RepositoryFile content{.file = file_.string()};
        const auto app = text("app");
        if (!app)
            throw RepositoryFileError(fmt::format("{} names no app", shown()),
                                      "It needs a line such as app = \"com.example.app\".");
        content.app = *app;
        content.tree = path("tree");
        content.context = context();
        content.screenshots = path("screenshots");
        content.project = path("project");
        return content;
    }

  private:
    [[nodiscard]] std::string shown() const { return escapeControls(file_.native()); }

    [[noreturn]] void fail(const toml::source_region& where, const std::string& problem,
                           std::string advice = {}) const {
        throw RepositoryFileError(
            fmt::format("{}:{}:{}: {}", shown(), where.begin.line, where.begin.column, problem),
            std::move(advice));
    }

    void refuseUnknown() const {
        std::vector<std::string_view> names;
        for (const Key& key : keys)
            names.push_back(key.name);
        for (const auto& [key, value] : table_) {
            if (std::ranges::find(names, key.str()) != names.end()) continue;
            const std::string name(key.str());
            const std::string lowered = asciiLowercase(name);
            const bool isSecret = std::ranges::any_of(
                secretWords, [&](std::string_view word) { return lowered.find(word) != lowered.npos; });
            const auto nearest = nearestSpelling(name, names);
            fail(key.source(), fmt::format("\"{}\" is no key of this file", escapeControls(name)),
                 isSecret
                     ? "Keys and passwords never belong into this file, which everybody sees who has the "
                       "repository. The environment names them: ASC_KEY_ID, ASC_ISSUER_ID, ASC_PRIVATE_KEY."
                 : nearest ? fmt::format("Did you mean {}?", *nearest)
                           : fmt::format("It takes {}.", fmt::join(names, ", ")));
        }
    }

    [[nodiscard]] std::optional<std::string> text(std::string_view name) const {
        const toml::node* node = table_.get(name);
        if (!node) return std::nullopt;
        const auto* value = node->as_string();
        if (!value) fail(node->source(), fmt::format("{} is no text", name), "Put the value into quotes.");
        if (isBlank(value->get())) fail(node->source(), fmt::format("{} is empty", name));
        return value->get();
    }

    [[nodiscard]] std::optional<std::string> path(std::string_view name) const {
        const auto value = text(name);
        if (!value) return std::nullopt;
        if (value->find('\0') != value->npos)
            fail(table_.get(name)->source(), fmt::format("{} is no path", name));
        fs::path whole = (file_.parent_path() / *value).lexically_normal();
        if (!whole.has_filename() && whole.has_relative_path()) whole = whole.parent_path();
        return whole.string();
    }

    [[nodiscard]] std::optional<std::string> context() const {
        const auto platform = text("platform");
        const auto wanted = text("context");
        if (platform && wanted)
            fail(table_.get("context")->source(), "platform and context exclude each other",
                 "Keep one of the two.");
        if (wanted && !parseContextID(*wanted))
            fail(table_.get("context")->source(),
                 fmt::format("\"{}\" is no context", escapeControls(*wanted)),
                 "A context is a platform, a slash, next or live, such as ios/next.");
        if (!platform) return wanted;
        auto next = parseContextID(*platform + "/next");
        if (!next)
            fail(table_.get("platform")->source(),
                 fmt::format("\"{}\" is no platform", escapeControls(*platform)),
                 "A platform is ios, macos, tvos or visionos.");
        return next->text();
    }

    const fs::path& file_;
    const toml::table& table_;
};

// Whoever may write into a folder above somebody's could lead his commands elsewhere. In a container the
// files of a checkout often belong to another number than that of root, who runs everything there.
void requireOwn(const fs::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) return; // reading it says why
    const auto self = ::geteuid();
    if (self == 0 || status.st_uid == self || status.st_uid == 0) return;
    throw RepositoryFileError(
        fmt::format("{} belongs to another user, so it is not used", escapeControls(file.native())),
        "Make it yours, or work in a folder of your own.");
}

std::string tomlString(std::string_view text) {
    std::string literal = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\')
            literal += {'\\', character};
        else if (byte < 0x20 || byte == 0x7f)
            literal += fmt::format("\\u{:04x}", byte);
        else
            literal += character;
    }
    return literal + "\"";
}

// From the folder of the file where it lies in or near that.
std::string relativeTo(const fs::path& folder, const std::string& path) {
    const fs::path relative = fs::path(path).lexically_relative(folder);
    const bool isUsable = !isBlank(relative.native()) && *relative.begin() != "..";
    return isUsable ? relative.generic_string() : path;
}

} // namespace

std::optional<fs::path> findRepositoryFile(const fs::path& start, const fs::path& home) {
    std::error_code ignored;
    for (fs::path folder = start.lexically_normal(); !folder.empty(); folder = folder.parent_path()) {
        const fs::path file = folder / repositoryFileName;
        if (fs::exists(fs::symlink_status(file, ignored))) {
            requireOwn(file);
            return file;
        }
        const bool isTop = fs::exists(folder / ".git", ignored) || fs::equivalent(folder, home, ignored) ||
                           folder == folder.parent_path();
        if (isTop) break;
    }
    return std::nullopt;
}

std::optional<fs::path> workingTreeOf(const fs::path& path) {
    std::error_code ignored;
    for (fs::path folder = path.lexically_normal();; folder = folder.parent_path()) {
        if (fs::exists(folder / ".git", ignored)) return folder;
        if (folder == folder.parent_path()) return std::nullopt;
    }
}

RepositoryFile parseRepositoryFile(std::string_view text, const fs::path& file) {
    try {
        const toml::table table = toml::parse(text);
        return Reader(file, table).read();
    } catch (const toml::parse_error& error) {
        const auto& where = error.source().begin;
        throw RepositoryFileError(fmt::format("{}:{}:{}: {}", escapeControls(file.native()), where.line,
                                              where.column, escapeControls(error.description())));
    } catch (const std::logic_error&) { // what the library asserts
        throw RepositoryFileError(fmt::format("{} is no TOML", escapeControls(file.native())),
                                  "It needs lines such as app = \"com.example.app\".");
    }
}

std::optional<RepositoryFile> loadRepositoryFile(const fs::path& start, const fs::path& home) {
    const auto file = findRepositoryFile(start, home);
    if (!file) return std::nullopt;
    const auto text = readFile(*file, repositoryFileLimit);
    if (!text) // a link that leads nowhere
        throw RepositoryFileError(fmt::format("{} leads nowhere", escapeControls(file->native())));
    return parseRepositoryFile(*text, *file);
}

std::string repositoryFileText(const RepositoryFile& content) {
    const fs::path folder = fs::path(content.file).parent_path();
    const auto valueOf = [&](std::string_view name) -> std::optional<std::string> {
        const auto path = [&](const std::optional<std::string>& value) {
            return value ? std::optional(relativeTo(folder, *value)) : std::nullopt;
        };
        const auto context = content.context ? parseContextID(*content.context) : std::nullopt;
        const bool isNext = context && context->stateClass == AppStoreVersionStateClass::editable;
        if (name == "app") return content.app;
        if (name == "tree") return path(content.tree);
        if (name == "platform")
            return isNext ? std::optional(std::string(platformFolderName(context->platform))) : std::nullopt;
        if (name == "context") return isNext ? std::nullopt : content.context;
        if (name == "screenshots") return path(content.screenshots);
        return path(content.project);
    };
    std::string text = "# What quorvel works with in this repository, so that no command needs to be told.\n"
                       "# Paths start at the folder of this file. Keys and passwords never belong here.\n";
    for (const Key& key : keys) {
        const auto value = valueOf(key.name);
        if (!value && (key.name == "context" || (key.name == "platform" && content.context))) continue;
        text += fmt::format("\n# {}\n{}{} = {}\n", key.comment, value ? "" : "# ", key.name,
                            tomlString(value.value_or(std::string(key.example))));
    }
    return text;
}

} // namespace quorvel
