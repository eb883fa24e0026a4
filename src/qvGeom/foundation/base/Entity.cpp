#include "qvGeom/foundation/base/Entity.h"

#include <utility>

namespace qvRTB {

EntityModification::~EntityModification() = default;

Entity::~Entity() { announceDestruction(); }

void Entity::announceDestruction() {
    if (!std::exchange(destructionAnnounced_, true))
        destroyed_.emit(this);
}

} // namespace qvRTB
