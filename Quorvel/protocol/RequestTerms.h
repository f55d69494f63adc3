// What a request says of itself, or its connection's handshake for it.
#pragma once

#include "Quorvel/protocol/Messages.h"
#include "Quorvel/protocol/Revision.h"

#include <optional>

namespace quorvel {

/// What a request may count on.
struct ClientTerms {
    Revision revision = newestWithHandshake;
    bool asksByForm = false; // the client can ask its user to agree
};

/// The terms of a request, which it says itself, or else `session`. Throws `ProtocolError`.
[[nodiscard]] ClientTerms termsOf(const IncomingMessage& request, const std::optional<ClientTerms>& session);

/// Under what the client of a request is told of its progress; nothing where it does not want to know. Throws
/// `ProtocolError`.
[[nodiscard]] std::optional<JSONValue> progressTokenOf(const IncomingMessage& request);

/// Whether these capabilities let the client's user be asked.
[[nodiscard]] bool asksByForm(const JSONValue* capabilities);

} // namespace quorvel
