#include "orlo/val_any.h"

namespace orlo {

// Here, so that one module owns the vtable and the type information that handlers match.
AnyBadAccess::~AnyBadAccess() = default;

const char* AnyBadAccess::what() const noexcept { return "ValAny Bad Access"; }

}  // namespace orlo
