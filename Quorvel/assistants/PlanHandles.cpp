#include "Quorvel/assistants/PlanHandles.h"

#include "Platform/crypto/Digest.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

std::string PlanHandles::keep(PreparedJob& job) {
    const std::lock_guard lock(mutex_);
    const Date now = clock_();
    std::erase_if(jobs_, [&](const auto& one) { return one.second.expiresAt <= now; });
    if (jobs_.size() >= most)
        jobs_.erase(
            std::ranges::min_element(jobs_, {}, [](const auto& one) { return one.second.expiresAt; }));
    job.expiresAt = now + lifetime;
    std::string handle = "plan-" + makeUUID();
    jobs_.emplace(handle, job);
    return handle;
}

PlanHandles::Jobs::iterator PlanHandles::find(const std::string& handle, std::string_view tool) {
    const auto found = jobs_.find(handle);
    const auto refuse = [](const std::string& text) {
        throw ApplicationError(FailureKind::stalePlan, text, "Prepare it again.");
    };
    if (found == jobs_.end())
        refuse("there is no plan with this handle: it was used, it expired, or it never was");
    if (found->second.tool != tool)
        refuse(fmt::format("this handle is for {} and not for {}", found->second.tool, tool));
    if (found->second.expiresAt <= clock_()) {
        jobs_.erase(found);
        refuse("the plan of this handle has expired");
    }
    return found;
}

PreparedJob PlanHandles::look(const std::string& handle, std::string_view tool) {
    const std::lock_guard lock(mutex_);
    return find(handle, tool)->second;
}

PreparedJob PlanHandles::take(const std::string& handle, std::string_view tool) {
    const std::lock_guard lock(mutex_);
    return std::move(jobs_.extract(find(handle, tool)).mapped());
}

std::string PlanHandles::awaitConsent(const std::string& handle, std::string_view tool) {
    const std::lock_guard lock(mutex_);
    return find(handle, tool)->second.consent = makeUUID();
}

void PlanHandles::forget(const std::string& handle) {
    const std::lock_guard lock(mutex_);
    jobs_.erase(handle);
}

} // namespace quorvel
