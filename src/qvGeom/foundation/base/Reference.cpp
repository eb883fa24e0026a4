#include "qvGeom/foundation/base/Reference.h"

#include <cassert>

namespace qv {

void ReferenceCount::unref() const {
    assert(count_ > 0);
    if (--count_ == 0)
        delete this;
}

} // namespace qv
