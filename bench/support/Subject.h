/// \file
/// What the cases of a benchmark work on.
#pragma once

#include <cstdint>
#include <optional>
#include <tuple>

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "support/MeshBuilders.h"

namespace bench {

/// A wavy surface of about so many triangles. Order 0 is that of a lattice, 1 a random one.
inline qvGeom::CompactMesh surfaceOf(std::int64_t triangles, std::int64_t order) {
    qvGeom::CompactMesh mesh = test::wavySurface(static_cast<int>(triangles));
    return order == 1 ? test::shuffled(mesh, 1) : mesh;
}

/// The subject made from `arguments`, kept from one call to the next while these are the same.
template <class Subject, class... Arguments>
const Subject& kept(Arguments... arguments) {
    static std::optional<Subject> subject;
    static std::tuple<Arguments...> key;
    const std::tuple wanted(arguments...);
    if (!subject || key != wanted) {
        key = wanted;
        subject.emplace(arguments...);
    }
    return *subject;
}

} // namespace bench
