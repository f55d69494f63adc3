// An App Store Connect in memory for what the sandbox cannot be made to do: an app without app info, names
// that no service should send, an end in the middle of a push.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/ASCError.h"
#include "Platform/json/JSONValue.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace quorvel::test {

class FakeConnect : public ASCClientProtocol {
  public:
    using Attributes = std::map<std::string, std::string>;

    std::vector<JSONValue> versions;
    std::vector<JSONValue> appInfos;
    /// Type of the localization → locale → its attributes. Ids are the locales.
    mutable std::map<std::string, std::map<std::string, Attributes>> localizations;
    /// Called before and after the work of each request; may throw.
    std::function<void(const ASCRequest&)> before = [](const ASCRequest&) {};
    std::function<void(const ASCRequest&)> after = [](const ASCRequest&) {};
    /// "METHOD path" of each request, in order.
    mutable std::vector<std::string> requests;

    static constexpr const char* ofVersion = "appStoreVersionLocalizations";
    static constexpr const char* ofAppInfo = "appInfoLocalizations";

    void addVersion(std::string id, std::string platform, std::string state) {
        versions.push_back(resource("appStoreVersions", std::move(id),
                                    {{"platform", std::move(platform)},
                                     {"versionString", "2.4.3"},
                                     {"appStoreState", std::move(state)}}));
    }
    void addAppInfo(std::string id, std::string state) {
        appInfos.push_back(resource("appInfos", std::move(id), {{"appStoreState", std::move(state)}}));
    }

    [[nodiscard]] std::string exchange(const ASCRequest& request) const override {
        const std::lock_guard lock(mutex_);
        requests.push_back(request.method + " " + request.path);
        before(request);
        JSONValue data = answer(request);
        after(request);
        return encodeJSON(JSONValue::object({{"data", std::move(data)}}));
    }

    [[nodiscard]] static ASCError refusal(std::string status, std::string code, std::string detail) {
        return ASCError(
            ASCError::APIErrors{{{std::move(status), std::move(code), "Refused", std::move(detail)}}});
    }

  private:
    static JSONValue resource(std::string type, std::string id, const Attributes& attributes) {
        JSONValue members = JSONValue::object();
        for (const auto& [name, text] : attributes)
            members.set(name, text);
        return JSONValue::object(
            {{"type", std::move(type)}, {"id", std::move(id)}, {"attributes", std::move(members)}});
    }

    JSONValue answer(const ASCRequest& request) const {
        const std::string& path = request.path;
        if (request.method == "GET" && path.ends_with("/appStoreVersions")) return JSONValue(versions);
        if (request.method == "GET" && path.ends_with("/appInfos")) return JSONValue(appInfos);
        for (const JSONValue& version : versions)
            if (request.method == "GET" && path.ends_with("appStoreVersions/" + *version.find("id")->text()))
                return version;
        if (path.ends_with("/appStoreReviewDetail") || path.ends_with("/ageRatingDeclaration"))
            return nullptr;
        const std::string type = path.find(ofVersion) != std::string::npos ? ofVersion : ofAppInfo;
        auto& all = localizations[type];
        if (request.method == "GET") {
            JSONValue::Array list;
            for (const auto& [locale, attributes] : all)
                list.push_back(resource(type, locale, attributes));
            return JSONValue(std::move(list));
        }
        const auto document = decodeJSON<JSONValue>(*request.body);
        std::string locale = path.substr(path.rfind('/') + 1); // of a patch
        if (const JSONValue* created = document.at("data", "attributes", "locale")) locale = *created->text();
        if (request.method == "POST" && all.contains(locale))
            throw refusal("409", "ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE", "exists");
        all[locale]["locale"] = locale;
        for (const auto& [name, text] : *document.at("data", "attributes")->members())
            all[locale][name] = *text.text();
        return resource(type, locale, all[locale]);
    }

    mutable std::mutex mutex_;
};

} // namespace quorvel::test
