// Writes the fields of one localization, or of one resource of the page, to App Store Connect, making what is
// missing.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/ASCError.h"
#include "Core/metadata/ClosedFields.h"
#include "Core/metadata/FieldTexts.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel {

/// What is said of a change that a cancelled push did not come to.
inline constexpr std::string_view notSentText = "Not sent: cancelled.";

class LocalizationWriter {
  public:
    /// A field and the text to send for it.
    using Value = std::pair<FieldType, std::string>;

    struct Target {
        FieldHome home = FieldHome::versionLocalization;
        std::string parentID;          // of the version or of the app info
        std::string locale;            // `pageLocale` for a resource of the page
        std::optional<std::string> id; // none: the localization or review detail does not exist yet
        // What an app info localization is created with when its name is not among the values.
        std::optional<std::string> fallbackName;
    };
    struct Failure {
        std::string text;
        std::optional<ASCError::Kind> kind; // of App Store Connect's error, if there was one
        bool wasSent = true;
    };
    struct Result {
        std::map<FieldType, Failure> failures; // all other fields were taken
        std::optional<std::string> sentName;   // the fallback name, when it was taken
    };

    LocalizationWriter(const ASCClientProtocol& client, Target target, ClosedFields& closed);

    /// Sends all values in one request; when that is refused for what it holds, each in a request of its own,
    /// but for those that belong together.
    /// Fields that are known to be closed are not sent and say so, and refusals by the state are noted.
    /// To be called once. When the task is cancelled, the values that are left fail and say so.
    [[nodiscard]] Result write(std::vector<Value> values);

  private:
    enum class Refusal { none, ofContent, ofState }; // none: taken, or failed for a reason beyond the values

    [[nodiscard]] bool isClosed(const Value& value) const;
    void leaveOutClosed(std::vector<Value>& values);
    void writeOneByOne(const std::vector<Value>& values);
    Refusal attempt(const std::vector<Value>& values);
    void send(const std::vector<Value>& values);
    void create(std::vector<Value> values);
    void createReview(const std::vector<Value>& values);

    const ASCClientProtocol& client_;
    Target target_;
    ClosedFields& closed_;
    Result result_;
};

} // namespace quorvel
