// The assistants' server: its methods over one application.
#pragma once

#include "Quorvel/application/Application.h"
#include "Quorvel/assistants/PlanHandles.h"
#include "Quorvel/assistants/Tools.h"
#include "Quorvel/protocol/Connection.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace quorvel {

/// Answers the requests of any number of connections. The application is made for the first request that
/// needs one, so that a server without a usable home still says what is wrong.
class AssistantServer final : public RequestHandler {
  public:
    /// `make` makes the application; what it throws is told to the client. `version` is the program's.
    AssistantServer(std::function<std::unique_ptr<Application>()> make, std::string version, Clock clock);
    ~AssistantServer() override;

    [[nodiscard]] bool takesLong(const IncomingMessage& request) const override;
    [[nodiscard]] JSONValue answer(const IncomingMessage& request, RequestScope& scope) override;
    [[nodiscard]] JSONValue welcome(const ClientTerms& terms) override;
    [[nodiscard]] JSONValue busy(const IncomingMessage& request, const ClientTerms& terms) override;

  private:
    [[nodiscard]] JSONValue result(const IncomingMessage& request, RequestScope& scope);
    [[nodiscard]] Application& application();
    /// The id of the workspace that is served: the one that was handed over to the server, else the active
    /// one; nothing while there is none.
    [[nodiscard]] std::optional<std::string> workspace();
    /// The same. Throws `ApplicationError` while it is open which of several is meant.
    [[nodiscard]] std::optional<std::string> chosenWorkspace();
    [[nodiscard]] JSONValue signedBy(JSONValue result, Revision revision) const;
    [[nodiscard]] JSONValue call(const IncomingMessage& request, RequestScope& scope);
    [[nodiscard]] JSONValue readResource(const IncomingMessage& request, Revision revision);
    [[nodiscard]] JSONValue complete(const IncomingMessage& request);
    [[nodiscard]] JSONValue identity(Revision revision) const;

    const std::function<std::unique_ptr<Application>()> make_;
    const std::string version_;
    PlanHandles handles_;
    KeptRests rests_;
    std::mutex making_; // guards the application's making
    std::unique_ptr<Application> application_;
};

} // namespace quorvel
