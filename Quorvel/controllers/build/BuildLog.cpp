#include "Quorvel/controllers/build/BuildLog.h"

#include "Platform/files/Files.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <system_error>

namespace quorvel {

namespace {

constexpr std::string_view logExtension = ".log";
constexpr std::size_t shortestSecret = 8; // a shorter piece of a key tells nothing and may be a word

std::string logNameOf(const std::string& moment, int number) {
    return number == 1 ? fmt::format("{}{}", moment, logExtension)
                       : fmt::format("{}_{:02}{}", moment, number, logExtension); // sorts behind the first
}

// "2026-11-22T10:32:52Z" → "2026-11-22T10-32-52Z": no colon, which some systems do not take.
std::string momentOf(Date date) {
    std::string moment = formatISO8601(date);
    std::ranges::replace(moment, ':', '-');
    return moment;
}

void removeOldLogs(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const FolderEntry& entry : listFolder(folder).value_or(std::vector<FolderEntry>{}))
        if (entry.kind == FolderEntry::Kind::file && entry.name.ends_with(logExtension))
            names.push_back(entry.name); // sorted by their moments
    std::error_code ignored;
    for (std::size_t index = 0; index + BuildLog::keptLogs < names.size(); ++index)
        std::filesystem::remove(folder / names[index], ignored);
}

} // namespace

SecretFilter::SecretFilter(std::string_view privateKey) {
    for (const std::string_view line : linesOf(privateKey))
        if (line.size() >= shortestSecret && !line.starts_with("-----")) secrets_.emplace_back(line);
}

std::string SecretFilter::operator()(std::string_view text) const {
    std::string filtered(text);
    for (const std::string& secret : secrets_)
        for (auto at = filtered.find(secret); at != std::string::npos; at = filtered.find(secret))
            filtered.replace(at, secret.size(), "(not shown)");
    return filtered;
}

BuildLog::BuildLog(const std::filesystem::path& folder, Clock clock) : clock_(std::move(clock)) {
    createFolders(folder, FolderMode::secret);
    const std::string moment = momentOf(clock_());
    for (int number = 1; !file_.isOpen(); ++number) {
        path_ = folder / logNameOf(moment, number);
        file_ = FileDescriptor(uninterrupted(
            [&] { return ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600); }));
        if (!file_.isOpen() && errno != EEXIST) throw FileError(path_, "cannot be made", errno);
    }
    removeOldLogs(folder);
}

void BuildLog::add(std::string_view line, BuildStage stage) {
    if (stage != stage_) {
        stage_ = stage;
        write(fmt::format("== {} {} ==\n", formatISO8601(clock_()), rawValue(stage)));
    }
    causes_.add(line);
    if (bytes_ >= maxBytes) {
        if (!trouble_) trouble_ = "the tools printed more than a log holds";
        return;
    }
    write(fmt::format("{}\n", line));
}

void BuildLog::write(std::string_view text) {
    while (!text.empty() && file_.isOpen()) {
        const auto written = uninterrupted([&] { return ::write(file_.number(), text.data(), text.size()); });
        if (written < 0) {
            trouble_ = fmt::format("it cannot be written: {}", std::generic_category().message(errno));
            file_ = FileDescriptor();
            return;
        }
        bytes_ += static_cast<std::uint64_t>(written);
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace quorvel
