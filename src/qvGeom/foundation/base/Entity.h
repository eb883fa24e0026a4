/// \file
/// Objects that announce their own change and destruction.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Signal.h"

namespace qvRTB {

class Entity;

/// What a modification signal carries: the entity that changed. Derived classes
/// say what about it changed.
class QVGEOM_API EntityModification {
public:
    explicit EntityModification(const Entity* entity) : entity_(entity) {}

    EntityModification(const EntityModification&) = default;
    EntityModification& operator=(const EntityModification&) = default;
    virtual ~EntityModification();

    const Entity* getEntity() const { return entity_; }

private:
    const Entity* entity_;
};

/// An object with two signals. Copying and assigning leave signals and
/// connections with the object they belong to, and emit nothing. Connecting does
/// not change the entity, so that listeners may hold it const.
class QVGEOM_API Entity {
public:
    Entity() = default;

    Entity(const Entity&) {}

    Entity& operator=(const Entity&) { return *this; }

    /// Announces the destruction unless a derived class already has.
    virtual ~Entity();

    Signal<Entity*>& getDestroyedSignal() const { return destroyed_; }

    Signal<EntityModification&>& getModifiedSignal() const { return modified_; }

protected:
    /// Emits the destruction signal, the first time only. The destructor of a
    /// derived class calls it first, so that listeners still meet the whole object.
    void announceDestruction();

private:
    mutable Signal<Entity*> destroyed_;
    mutable Signal<EntityModification&> modified_;
    bool destructionAnnounced_ = false;
};

} // namespace qvRTB
