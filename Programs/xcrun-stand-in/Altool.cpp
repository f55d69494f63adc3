// Uploads as altool does: to the sandbox, with altool's answers.
#include "Platform/files/Files.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/json/JSON.h"
#include "Programs/xcrun-stand-in/StandIn.h"

#include <cstdio>
#include <cstdlib>

namespace quorvel::standin {

namespace {

int refuse(const std::string& message, const std::string& reason, int code) {
    const JSONValue info = JSONValue::object({{"NSLocalizedFailureReason", reason}, {"detail", reason}});
    const JSONValue error = JSONValue::object({{"code", code}, {"message", message}, {"user-info", info}});
    const JSONValue document = JSONValue::object({{"product-errors", JSONValue::array({error})}});
    std::puts(encodeJSON(document).c_str());
    return 1;
}

} // namespace

int runAltool(const std::vector<std::string>& arguments, const Script& script) {
    if (const auto exitCode = script.play("upload")) return *exitCode;
    const char* folder = std::getenv("API_PRIVATE_KEYS_DIR");
    const auto keyFile = std::filesystem::path(folder ? folder : "") /
                         ("AuthKey_" + argumentAfter(arguments, "--apiKey") + ".p8");
    const auto key = readFile(keyFile);
    if (!key || key->find("PRIVATE KEY") == std::string::npos)
        return refuse("Unable to authenticate.", "Failed to load AuthKey file.", -19209);
    const auto contents = readFile(argumentAfter(arguments, "-f"));
    if (!contents) return refuse("Unable to upload archive.", "The file does not exist.", -1011);
    if (const auto sandbox = script.text("sandbox")) {
        const JSONValue upload = decodeJSON<JSONValue>(*contents);
        JSONValue build = JSONValue::object({{"app", *upload.find("bundleID")},
                                             {"platform", *upload.find("platform")},
                                             {"version", *upload.find("version")},
                                             {"number", *upload.find("number")}});
        if (const JSONValue* seconds = script.value("processingSeconds"))
            build.set("processingSeconds", *seconds);
        URLSession session;
        const auto answer = session.send({.method = "POST",
                                          .url = *sandbox + "/__sandbox/builds",
                                          .headers = {{"Content-Type", "application/json"}},
                                          .body = encodeJSON(build)});
        if (answer.status >= 300) return refuse("Validation failed", answer.body, 409);
    }
    script.linger("upload");
    std::printf("{\"success-message\":\"No errors uploading archive at '%s'.\",\"tool-version\":\"1\"}\n",
                argumentAfter(arguments, "-f").c_str());
    return 0;
}

} // namespace quorvel::standin
