/// \file
/// What the cases of a benchmark work on.
#pragma once

#include <benchmark/benchmark.h>
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

/// That of a case: its numbers are the triangles and the order.
inline qvGeom::CompactMesh surfaceOf(const benchmark::State& state) {
    return surfaceOf(state.range(0), state.range(1));
}

inline void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(100'000)->Arg(1'000'000)->Arg(4'000'000)->Unit(benchmark::kMillisecond);
}

inline void sizesAndOrders(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgsProduct({{100'000, 1'000'000, 4'000'000}, {0, 1}})
        ->Unit(benchmark::kMillisecond);
}

/// For subjects of an order, where this is of no matter.
inline void sizesOfLattices(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgsProduct({{100'000, 1'000'000, 4'000'000}, {0}})->Unit(benchmark::kMillisecond);
}

/// Both orders of what is large enough to compare peers by.
inline void largeSizesAndOrders(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgsProduct({{1'000'000, 4'000'000}, {0, 1}});
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
