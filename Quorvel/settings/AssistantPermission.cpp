#include "Quorvel/settings/AssistantPermission.h"

#include "Platform/files/Files.h"

namespace quorvel {

AssistantPermission AssistantPermissionSetting::permission() const {
    try {
        const auto stored = defaults_->string(key);
        if (!stored) return AssistantPermission::edits;
        return fromRawValue<AssistantPermission>(*stored).value_or(AssistantPermission::readOnly);
    } catch (const FileError&) {
        return AssistantPermission::readOnly;
    }
}

void AssistantPermissionSetting::choose(AssistantPermission permission) const {
    defaults_->set(key, rawValue(permission));
}

} // namespace quorvel
