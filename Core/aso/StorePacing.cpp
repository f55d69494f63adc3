#include "Core/aso/StorePacing.h"

#include "Platform/files/FileLock.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

namespace quorvel {

namespace {

constexpr double pacedSeconds = 60;
constexpr double longestTurn = 600; // ahead: further ones come from a clock that was wrong
constexpr double longestPause = 600;
constexpr double sameWait = 5; // seconds between ends that are told as one
constexpr int mostRepetitions = 2;

double pauseOf(const HTTPResponse& refusal) {
    const std::string_view text = refusal.header("Retry-After").value_or("");
    int seconds = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    return problem == std::errc() && end == text.data() + text.size() && seconds > 0 ? seconds : pacedSeconds;
}

} // namespace

HTTPResponse StorePacing::send(const HTTPRequest& request) {
    const bool search = isSearch(request);
    for (int repetition = 0;; ++repetition) {
        if (search) awaitTurn();
        HTTPResponse response = parts_.http->send(request);
        const bool isTurnedAway = response.status == 429 || (response.status == 403 && search);
        if (!isTurnedAway || repetition == mostRepetitions || !waitAfterRefusal(response)) return response;
    }
}

bool StorePacing::isSearch(const HTTPRequest& request) const {
    std::string_view base = parts_.searchURL;
    while (base.ends_with('/'))
        base.remove_suffix(1);
    if (!request.url.starts_with(base)) return false;
    const std::string_view path = std::string_view(request.url).substr(base.size());
    return path.starts_with("/search?") || path.starts_with("/lookup?");
}

void StorePacing::awaitTurn() {
    if (parts_.searchesPerMinute <= 0) return;
    const auto allowed = static_cast<std::size_t>(parts_.searchesPerMinute);
    const double now = secondsSince1970(parts_.clock());
    double turn = now;
    change([&](Turns& turns) {
        std::erase_if(turns,
                      [&](double one) { return one <= now - pacedSeconds || one > now + longestTurn; });
        if (turns.size() >= allowed) turn = std::max(now, turns[turns.size() - allowed] + pacedSeconds);
        turns.insert(std::ranges::upper_bound(turns, turn), turn);
    });
    try {
        wait(turn - now, fmt::format("The App Store allows about {} searches a minute", allowed));
    } catch (const CancellationError&) {
        change([&](Turns& turns) { std::erase(turns, turn); });
        throw;
    }
}

bool StorePacing::waitAfterRefusal(const HTTPResponse& refusal) {
    const double pause = pauseOf(refusal);
    if (pause > longestPause || (parts_.mayWait && !parts_.mayWait(pause))) return false;
    wait(pause, fmt::format("The App Store asks for a pause (HTTP {})", refusal.status));
    return true;
}

void StorePacing::wait(double seconds, const std::string& reason) {
    if (seconds <= 0) return;
    const double end = secondsSince1970(parts_.clock()) + seconds;
    bool isNews = false;
    { // several threads wait at once
        const std::lock_guard guard(mutex_);
        if (end > toldUntil_ + sameWait) {
            toldUntil_ = end;
            isNews = true;
        }
    }
    if (isNews && parts_.tell) parts_.tell(fmt::format("{}: waiting {:.0f} s.", reason, std::ceil(seconds)));
    if (parts_.sleep)
        parts_.sleep(seconds);
    else
        sleepFor(seconds);
}

void StorePacing::change(const std::function<void(Turns&)>& work) {
    const std::lock_guard guard(mutex_);
    std::optional<FileLock> lock;
    try {
        createFolders(parts_.file.parent_path(), FolderMode::secret);
        lock.emplace(std::filesystem::path(parts_.file).concat(".lock"));
        if (const auto text = readFile(parts_.file, 1 << 20)) turns_ = decodeJSON<Turns>(*text);
        std::ranges::sort(turns_);
    } catch (const JSONError&) { // begun anew
    } catch (const FileError& error) {
        logger_.warning(fmt::format("The turns of other programs are not known: {}", error.what()));
    }
    work(turns_);
    if (!lock) return;
    try {
        writeFileAtomically(parts_.file, encodeJSON(turns_), FileMode::secret, Durability::later);
    } catch (const FileError& error) {
        logger_.warning(fmt::format("Other programs do not learn of this turn: {}", error.what()));
    }
}

} // namespace quorvel
