#include "geom/model/keel/reference.h"

namespace qv {

// Out of line so that the type information of these bases lives in this library alone.
ReferenceCount::~ReferenceCount() = default;
ImplBase::~ImplBase() = default;

}  // namespace qv
