#include "Core/build/notes/VersionRangeResolver.h"

#include <charconv>

namespace quorvel {

namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// Takes "1.2.3" off the start of `text`; nothing when it does not start with a number.
std::vector<std::uint64_t> takeNumbers(std::string_view& text) {
    std::vector<std::uint64_t> numbers;
    while (!text.empty() && isDigit(text.front())) {
        std::uint64_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc()) return {};
        numbers.push_back(number);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (text.size() < 2 || text.front() != '.' || !isDigit(text[1])) break;
        text.remove_prefix(1);
    }
    return numbers;
}

} // namespace

std::optional<TagVersion> versionOfTag(std::string_view tag) {
    if (const auto slash = tag.rfind('/'); slash != std::string_view::npos) tag.remove_prefix(slash + 1);
    if (tag.starts_with('v') || tag.starts_with('V')) tag.remove_prefix(1);
    TagVersion version{.numbers = takeNumbers(tag)};
    if (version.numbers.empty()) return std::nullopt;
    while (version.numbers.size() > 1 && version.numbers.back() == 0)
        version.numbers.pop_back();
    if (tag.empty()) return version;
    if (tag.find_first_of("-+_ (") != 0) return std::nullopt; // "2fast" is no version
    tag.remove_prefix(1);
    version.suffix =
        !tag.empty() && isDigit(tag.front()) ? TagVersion::Suffix::build : TagVersion::Suffix::preRelease;
    while (!tag.empty()) {
        if (isDigit(tag.front())) {
            const auto numbers = takeNumbers(tag);
            version.suffixNumbers.insert(version.suffixNumbers.end(), numbers.begin(), numbers.end());
            if (numbers.empty()) break; // a number beyond all bounds
        } else {
            tag.remove_prefix(1);
        }
    }
    return version;
}

VersionRange VersionRangeResolver::resolve(const std::filesystem::path& root,
                                           const std::optional<std::string>& versionString) const {
    const std::vector<std::string> tags = reader_.listTags(root);
    const auto wanted = versionString ? versionOfTag(*versionString) : std::nullopt;
    std::optional<std::pair<TagVersion, std::string>> best;
    for (const std::string& tag : tags) {
        const auto version = versionOfTag(tag);
        if (wanted && version && version->numbers < wanted->numbers && (!best || *version > best->first))
            best = {*version, tag};
    }
    if (best) return {.from = best->second, .source = VersionRange::Source::priorVersionTag};
    if (!tags.empty()) return {.from = tags.front(), .source = VersionRange::Source::mostRecentTag};
    return {};
}

} // namespace quorvel
