#include "Quorvel/controllers/keywords/StoreTrouble.h"

namespace quorvel {

namespace {

bool concernsAll(const std::exception_ptr& failure) {
    if (!failure) return false;
    try {
        std::rethrow_exception(failure);
    } catch (const ASOError& error) {
        const auto* http = error.as<ASOError::HTTPError>();
        return http && (http->status == 403 || http->status == 429 || http->status >= 500);
    } catch (...) {
        return true;
    }
}

} // namespace

void StoreTrouble::note(const std::exception_ptr& failure) {
    inARow_ = concernsAll(failure) ? inARow_ + 1 : 0;
}

} // namespace quorvel
