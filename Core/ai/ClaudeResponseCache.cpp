#include "Core/ai/ClaudeResponseCache.h"

#include "Core/ai/ReferenceDate.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::size_t keyLength = 64;
constexpr std::string_view extension = ".json";

struct CacheEntry {
    double storedAt = 0; // seconds since 2001
    ClaudeResponse response;
    QUORVEL_RECORD(CacheEntry, storedAt, response)
};

bool isKey(std::string_view text) {
    return text.size() == keyLength && std::ranges::all_of(text, [](char digit) {
               return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f');
           });
}

// Plain digits with at least one after the point: "0.3", "1.0", "1e-05".
std::string describe(double number) {
    std::string text = fmt::format("{}", number);
    if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
    return text;
}

} // namespace

ClaudeResponseCache::ClaudeResponseCache(std::filesystem::path directory, double ttl, Clock clock)
    : directory_(std::move(directory)), ttl_(ttl), clock_(std::move(clock)) {
    createFolders(directory_, FolderMode::secret);
}

std::string ClaudeResponseCache::key(const ClaudeRequest& request) {
    constexpr std::string_view separator = "\n---\n";
    SHA256 digest; // fed piece by piece: a prompt may be large
    digest.update(fmt::format("model:{}{}max:{}{}temp:{}{}system:", request.model, separator,
                              request.maxTokens, separator,
                              request.temperature ? describe(*request.temperature) : "nil", separator));
    if (request.system) digest.update(*request.system);
    for (std::size_t index = 0; index < request.messages.size(); ++index) {
        const ClaudeRequest::Message& message = request.messages[index];
        digest.update(fmt::format("{}m{}/{}:", separator, index, message.role));
        digest.update(message.content);
    }
    return digest.finishHex();
}

std::filesystem::path ClaudeResponseCache::fileOf(std::string_view key) const {
    return directory_ / (std::string(key) + std::string(extension));
}

void ClaudeResponseCache::drop(const std::filesystem::path& file) const {
    try {
        removeFile(file);
    } catch (const FileError& error) {
        logger_.warning(error.what());
    }
}

std::optional<ClaudeResponse> ClaudeResponseCache::readEntry(const std::filesystem::path& file) const {
    std::optional<std::string> text;
    try {
        text = readFile(file);
    } catch (const FileError& error) {
        logger_.warning(fmt::format("A cached answer is not used: {}", error.what()));
        return std::nullopt;
    }
    if (!text) return std::nullopt;
    try {
        auto entry = decodeJSON<CacheEntry>(*text);
        const double age = secondsSince2001(clock_()) - entry.storedAt;
        if (age >= 0 && age <= ttl_) return std::move(entry.response);
        if (age < 0) logger_.warning("A cached answer is not used: it was stored in the future.");
    } catch (const JSONError& error) {
        logger_.warning(fmt::format("A cached answer is not used: it is damaged, at {}", error.path()));
    }
    drop(file);
    return std::nullopt;
}

std::optional<ClaudeResponse> ClaudeResponseCache::lookup(std::string_view key) const {
    if (!isKey(key)) return std::nullopt;
    const std::lock_guard lock(mutex_);
    return readEntry(fileOf(key));
}

void ClaudeResponseCache::store(std::string_view key, const ClaudeResponse& response) const {
    if (!isKey(key)) return;
    const std::string text = encodeJSON(CacheEntry{secondsSince2001(clock_()), response});
    const std::lock_guard lock(mutex_);
    try {
        // An entry lost to a power failure is only asked for again.
        writeFileAtomically(fileOf(key), text, FileMode::secret, Durability::later);
    } catch (const FileError& error) {
        logger_.warning(fmt::format("An answer is not kept: {}", error.what()));
    }
}

std::size_t ClaudeResponseCache::clear() const {
    const std::lock_guard lock(mutex_);
    std::size_t removed = 0;
    for (const FolderEntry& entry : listFolder(directory_).value_or(std::vector<FolderEntry>{})) {
        const std::string_view name = entry.name;
        if (name.ends_with(extension) && isKey(name.substr(0, name.size() - extension.size())))
            removed += removeFile(directory_ / entry.name) ? 1 : 0;
    }
    return removed;
}

} // namespace quorvel
