#include "qvGeom/foundation/cache/MeshCache.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>

#include "qvGeom/foundation/geometry/MeshModification.h"

#include "support/MeshBuilders.h"

namespace qvGeom {
namespace {

/// Shows what is stored.
struct OpenCache : SimpleMeshCache {
    using SimpleMeshCache::getAdjTrisImpl;
    using SimpleMeshCache::getOctreeImpl;
};

void announce(CompactMesh& mesh, MeshModification::Type type) {
    MeshModification modification(&mesh, type);
    mesh.modified(modification);
}

TEST(MeshCache, buildsEveryTableOnce) {
    OpenCache cache;
    CompactMesh mesh = test::grid(20, 10);
    EXPECT_FALSE(cache.getAdjTrisImpl(mesh)); // looking builds nothing
    const int byDefault = cache.getOctree(mesh, 0)->getNumVoxels();
    const CompactMesh empty;
    for (const CompactMesh* const m : std::initializer_list<const CompactMesh*>{&mesh, &empty}) {
        EXPECT_EQ(cache.getAdjTris(*m), cache.getAdjTris(*m));
        EXPECT_EQ(cache.getAdjVertices(*m), cache.getAdjVertices(*m));
        EXPECT_EQ(cache.getOctree(*m, 0), cache.getOctree(*m, 4));
        EXPECT_EQ(cache.getOctreeTris(*m), cache.getOctreeTris(*m));
        EXPECT_EQ(cache.getOctreeLines(*m), cache.getOctreeLines(*m));
        EXPECT_EQ(cache.getBoundaries(*m), cache.getBoundaries(*m));
    }
    SimpleMeshCache sixteen, four;
    EXPECT_EQ(byDefault, sixteen.getOctree(mesh, 16)->getNumVoxels());
    EXPECT_LT(byDefault, four.getOctree(mesh, 4)->getNumVoxels());
}

TEST(MeshCache, dropsTheRecordOnModification) {
    OpenCache cache;
    CompactMesh mesh = test::grid(3, 3);
    CompactMesh other = test::grid(2, 2);
    const auto ofOther = cache.getAdjTris(other);
    for (const auto type :
         {MeshModification::Geometry, MeshModification::Topology, MeshModification::Attributes}) {
        cache.getOctree(mesh, 0);
        const auto old = cache.getAdjTris(mesh);
        announce(mesh, type);
        EXPECT_FALSE(cache.getAdjTrisImpl(mesh) || cache.getOctreeImpl(mesh)) << type;
        EXPECT_EQ(old->getReferenceCount(), 1); // ours alone, and still whole
        EXPECT_EQ(old->numSets(), 16);
        EXPECT_FALSE(cache.getAdjTris(mesh) == old) << type;
    }
    EXPECT_EQ(cache.getAdjTris(other), ofOther);
    cache.clear();
    EXPECT_FALSE(cache.getAdjTrisImpl(mesh) || cache.getAdjTrisImpl(other));
    EXPECT_EQ(mesh.getModifiedSignal().count(), 1); // heard once only
}

// Catches a record that outlives its mesh and is found again by another at the same address.
TEST(MeshCache, meshAndCacheDieInEitherOrder) {
    auto cache = std::make_unique<OpenCache>();
    std::optional<CompactMesh> mesh(test::grid(3, 3));
    const auto old = cache->getAdjTris(*mesh);
    const CompactMesh* const address = &*mesh;
    mesh.reset();
    EXPECT_EQ(old->getReferenceCount(), 1);
    mesh.emplace(test::grid(4, 4));
    ASSERT_EQ(&*mesh, address);
    const auto kept = cache->getAdjTris(*mesh);
    EXPECT_EQ(kept->numSets(), 25);
    EXPECT_EQ(mesh->getModifiedSignal().count(), 1); // the new one is heard as well
    cache.reset();
    EXPECT_EQ(kept->getReferenceCount(), 1);
    EXPECT_EQ(mesh->getModifiedSignal().count(), 0);
    announce(*mesh, MeshModification::Geometry);
}

// A slot may ask for tables while the cache is being told: before it has heard, or after.
TEST(MeshCache, answersDuringEmission) {
    struct Asker {
        CompactMesh mesh = test::grid(3, 3);
        OpenCache cache{};
        int numTriangles = -1;

        static void ask(void* user, qvRTB::EntityModification&) {
            auto& [mesh, cache, numTriangles] = *static_cast<Asker*>(user);
            numTriangles = cache.getAdjTris(mesh)->numMembers() / 3;
        }
    };

    for (const bool cacheIsFirst : {false, true}) {
        Asker asker;
        if (cacheIsFirst)
            asker.cache.getBoundaries(asker.mesh);
        asker.mesh.getModifiedSignal().addCallback(Asker::ask, &asker);
        for (const int numTriangles : {10, 5, 0}) {
            asker.mesh.resizeTriangleArray(numTriangles);
            announce(asker.mesh, MeshModification::Topology);
            EXPECT_EQ(asker.cache.getAdjTris(asker.mesh)->numMembers(), 3 * numTriangles);
            EXPECT_EQ(asker.numTriangles == numTriangles, cacheIsFirst || numTriangles == 10);
        }
    }
}

} // namespace
} // namespace qvGeom
