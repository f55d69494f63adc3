#include "Core/asc/services/CreateOrAdopt.h"

namespace quorvel {

bool mayHaveBeenDone(const ASCError& error) {
    return error.kind() == ASCError::Kind::serviceTrouble && error.httpStatus() != 429;
}

} // namespace quorvel
