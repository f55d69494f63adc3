// What the comparison of a context and its check have in common.
#pragma once

#include "Core/metadata/PushSelection.h"
#include "Core/metadata/TextComparison.h"

#include <vector>

namespace quorvel {

/// The texts that differ and could be read on both sides, with the marks of those that nobody read.
[[nodiscard]] std::vector<PendingChange> changesOf(const ReadContext& read,
                                                   const std::vector<UnreadText>& unread);

/// Like `selectForPush`, but looks for nothing to warn of.
[[nodiscard]] PushSelection chooseForPush(std::vector<PendingChange> changes, const PushFilter& filter,
                                          const LocaleSet& disabledLocales);

} // namespace quorvel
