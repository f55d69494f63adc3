#include "Quorvel/actions/StoreActions.h"

#include "Core/aso/StoreClients.h"
#include "Core/aso/StoreLink.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <utility>

namespace quorvel {

namespace {

constexpr std::size_t requestsAtOnce = 4;

/// The recorded apps by what the store knows them by.
class OwnApps {
  public:
    explicit OwnApps(Application& application) {
        if (!application.hasRecords()) return;
        for (const ManagedApp& app : application.apps().all())
            for (const std::string& key : {app.appStoreId, app.bundleId})
                if (!key.empty()) names_.emplace(key, app.slug);
    }
    [[nodiscard]] std::optional<std::string> nameOf(const std::string& key) const {
        const auto found = names_.find(key);
        return found == names_.end() ? std::nullopt : std::optional(found->second);
    }
    [[nodiscard]] std::optional<std::string> nameOf(const ITunesAppResult& app) const {
        const auto name = nameOf(std::to_string(app.trackId));
        return name ? name : nameOf(app.bundleId.value_or(""));
    }

  private:
    std::map<std::string, std::string> names_;
};

bool isCountryCode(std::string_view code) {
    return code.size() == 2 && std::ranges::all_of(code, [](char c) { return c >= 'a' && c <= 'z'; });
}

// In small letters, each once.
std::vector<std::string> countriesOf(const std::vector<std::string>& wanted) {
    std::vector<std::string> countries;
    for (const std::string& country : wanted) {
        const std::string code = asciiLowercase(trim(country));
        if (!isCountryCode(code))
            throw ApplicationError(FailureKind::badRequest,
                                   fmt::format("{} is no country", quotedWord(country)),
                                   "Countries are named by two letters, such as us or de.");
        if (std::ranges::find(countries, code) == countries.end()) countries.push_back(code);
    }
    if (countries.empty()) countries.emplace_back("us");
    return countries;
}

void requireText(std::string_view what, const std::string& text) {
    if (isBlank(text) || !isValidUTF8(text))
        throw ApplicationError(FailureKind::badRequest, fmt::format("{} is empty or no text", what));
}

bool isNumber(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/// An app that was named, in one country.
struct WantedApp {
    std::string named;
    std::string country;
    std::string id;       // digits; empty where only the bundle id is known
    std::string bundleId; // empty otherwise
};

WantedApp appNamed(Application& application, const std::string& given) {
    const std::string text(trim(given));
    const std::string_view digits = text.starts_with("id") ? std::string_view(text).substr(2) : text;
    if (isNumber(digits)) return {.named = text, .id = std::string(digits)};
    if (text.find('/') != std::string::npos) {
        const bool hasScheme = text.find("://") != std::string::npos;
        if (const auto link = readStoreLink(hasScheme ? text : "https://" + text))
            return {.named = text, .country = link->country.value_or(""), .id = *link->appStoreId};
    } else if (const auto own = AppDirectory(application, {}).find(text)) {
        return {
            .named = text, .id = own->appStoreId, .bundleId = own->appStoreId.empty() ? own->bundleId : ""};
    } else if (text.find('.') != std::string::npos && text.find(' ') == std::string::npos) {
        return {.named = text, .bundleId = text};
    }
    throw ApplicationError(
        FailureKind::badRequest,
        fmt::format("{} is no app of the App Store and none of yours", quotedWord(given)),
        "Apps are named by their App Store id, their bundle id or the address of their page.");
}

std::vector<WantedApp> wantedApps(Application& application, const LookUpStoreApps::Request& request) {
    if (request.apps.empty()) throw ApplicationError(FailureKind::badRequest, "no app is named");
    const auto countries = countriesOf(request.countries);
    std::vector<WantedApp> wanted;
    for (const std::string& given : request.apps) {
        WantedApp app = appNamed(application, given);
        // An address says which country it is of.
        if (request.countries.empty() && !app.country.empty()) {
            wanted.push_back(app);
            continue;
        }
        for (const std::string& country : countries) {
            app.country = country;
            wanted.push_back(app);
        }
    }
    return wanted;
}

WantedApp inCountry(const std::string& country) {
    return {.named = {}, .country = country};
}

std::vector<WantedApp> inCountries(const std::vector<std::string>& wanted) {
    std::vector<WantedApp> places;
    for (const std::string& country : countriesOf(wanted))
        places.push_back(inCountry(country));
    return places;
}

// What `ask` answers for each of `wanted`, in order; what fails becomes a problem, or is thrown where only
// one was wanted.
template <typename Answer, typename Ask>
std::vector<Answer> askEach(const std::vector<WantedApp>& wanted, std::vector<StoreProblem>& problems,
                            const ActionProgress& progress, Ask&& ask) {
    struct Outcome {
        std::optional<Answer> answer;
        std::exception_ptr problem;
    };
    std::atomic<std::size_t> done = 0;
    progress.step({"Asking the App Store", 0, wanted.size()});
    auto outcomes = parallelMap(wanted, requestsAtOnce, [&](const WantedApp& one) {
        Outcome outcome;
        try {
            outcome.answer = ask(one);
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception&) {
            outcome.problem = std::current_exception();
        }
        progress.step({"Asking the App Store", ++done, wanted.size()});
        return outcome;
    });
    std::vector<Answer> answers;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        if (outcomes[i].answer) {
            answers.push_back(std::move(*outcomes[i].answer));
            continue;
        }
        problems.push_back({wanted[i].country,
                            wanted[i].named.empty() ? std::nullopt : std::optional(wanted[i].named),
                            failureOf(outcomes[i].problem)});
    }
    if (answers.empty() && wanted.size() == 1) std::rethrow_exception(outcomes.front().problem);
    return answers;
}

SearchStore::Row rowOf(ITunesAppResult app, std::size_t index, const OwnApps& own) {
    auto yours = own.nameOf(app);
    return {.rank = static_cast<std::int64_t>(index + 1),
            .id = app.trackId,
            .name = std::move(app.trackName),
            .yours = std::move(yours),
            .bundleId = std::move(app.bundleId),
            .seller = app.sellerName ? std::move(app.sellerName) : std::move(app.artistName),
            .genre = std::move(app.primaryGenreName),
            .rating = app.averageUserRating,
            .ratings = app.userRatingCount,
            .price = std::move(app.formattedPrice),
            .version = std::move(app.version),
            .updated = std::move(app.currentVersionReleaseDate),
            .url = std::move(app.trackViewUrl)};
}

ITunesAppResult lookUp(const StoreClients& store, const WantedApp& wanted) {
    return wanted.id.empty() ? store.search.lookupBundle(wanted.bundleId, wanted.country)
                             : store.search.lookupApp(wanted.id, wanted.country);
}

std::optional<AppStoreGenre> genreOf(const ShowStoreCharts::Request& request) {
    if (!request.genre) return std::nullopt;
    if (const auto genre = genreNamed(*request.genre)) return genre;
    std::string names;
    for (const auto& [genre, name] : RawValues<AppStoreGenre>::values)
        names += fmt::format("{}{}", names.empty() ? "" : ", ", name);
    throw ApplicationError(FailureKind::badRequest,
                           fmt::format("{} is no category of the App Store", quotedWord(*request.genre)),
                           fmt::format("The categories are {}.", names));
}

} // namespace

SearchStore::Result SearchStore::perform(Application& application, const Request& request,
                                         const ActionProgress& progress) {
    requireText("The term", request.term);
    requireNumber("limit", request.limit, 1, ITunesSearchClient::mostResults);
    const StoreClients store = application.storeClients();
    const OwnApps own(application);
    Result result{.term = std::string(trim(request.term))};
    result.countries = askEach<Country>(
        inCountries(request.countries), result.problems, progress, [&](const WantedApp& place) {
            Country country{.country = place.country};
            auto apps = store.search.search(result.term, place.country, static_cast<int>(request.limit));
            for (std::size_t i = 0; i < apps.size(); ++i)
                country.apps.push_back(rowOf(std::move(apps[i]), i, own));
            return country;
        });
    return result;
}

LookUpStoreApps::Result LookUpStoreApps::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    const auto wanted = wantedApps(application, request);
    const StoreClients store = application.storeClients();
    const OwnApps own(application);
    Result result;
    result.entries = askEach<Entry>(wanted, result.problems, progress, [&](const WantedApp& one) {
        ITunesAppResult listing = lookUp(store, one);
        return Entry{one.country, own.nameOf(listing), std::move(listing)};
    });
    return result;
}

ListStoreHints::Result ListStoreHints::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    requireText("The beginning of the term", request.prefix);
    const StoreClients store = application.storeClients();
    Result result{.prefix = std::string(trim(request.prefix))};
    result.countries = askEach<Country>(
        inCountries(request.countries), result.problems, progress, [&](const WantedApp& place) {
            return Country{place.country, store.hints.hints(result.prefix, place.country)};
        });
    return result;
}

ShowStoreCharts::Result ShowStoreCharts::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    requireNumber("limit", request.limit, 1, AppleChartsClient::mostApps);
    const auto genre = genreOf(request);
    const StoreClients store = application.storeClients();
    const OwnApps own(application);
    Result result{.kind = request.kind};
    if (genre) result.genre = displayName(*genre);
    result.countries = askEach<Country>(
        inCountries(request.countries), result.problems, progress, [&](const WantedApp& place) {
            Country country{.country = place.country};
            for (ChartApp& app :
                 store.charts.topApps(request.kind, place.country, static_cast<int>(request.limit), genre)) {
                auto yours = own.nameOf(app.id);
                country.apps.push_back({std::move(yours), std::move(app)});
            }
            return country;
        });
    return result;
}

ShowStorePages::Result ShowStorePages::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    const auto wanted = wantedApps(application, request);
    const StoreClients store = application.storeClients();
    const OwnApps own(application);
    Result result;
    result.entries = askEach<Entry>(wanted, result.problems, progress, [&](const WantedApp& one) {
        const std::string id = one.id.empty() ? std::to_string(lookUp(store, one).trackId) : one.id;
        return Entry{one.country, own.nameOf(id), store.pages.fetch(id, one.country)};
    });
    return result;
}

} // namespace quorvel
