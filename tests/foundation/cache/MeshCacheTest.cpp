#include "qvGeom/foundation/cache/MeshCache.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "support/MeshBuilders.h"

namespace qvGeom {
namespace {

/// Shows what is stored.
struct OpenCache : SimpleMeshCache {
    using SimpleMeshCache::getAdjTrisImpl;
    using SimpleMeshCache::getAdjVerticesImpl;
    using SimpleMeshCache::getOctreeImpl;
};

void announce(CompactMesh& mesh, MeshModification::Type type) {
    MeshModification modification(&mesh, type);
    mesh.modified(modification);
}

/// Whether all six tables are those that are stored.
bool keepsAll(SimpleMeshCache& cache, const CompactMesh& mesh) {
    return cache.getAdjTris(mesh) == cache.getAdjTris(mesh) &&
           cache.getAdjVertices(mesh) == cache.getAdjVertices(mesh) &&
           cache.getOctree(mesh, 0) == cache.getOctree(mesh, 4) &&
           cache.getOctreeTris(mesh) == cache.getOctreeTris(mesh) &&
           cache.getOctreeLines(mesh) == cache.getOctreeLines(mesh) &&
           cache.getBoundaries(mesh) == cache.getBoundaries(mesh);
}

TEST(MeshCache, buildsEveryTableOnce) {
    OpenCache cache;
    CompactMesh mesh = test::grid(20, 10);
    mesh.resizeLineArray(1);
    mesh.getLines()[1] = 5;
    const CompactMesh empty;

    EXPECT_FALSE(cache.getAdjTrisImpl(mesh)); // looking builds nothing
    EXPECT_EQ(cache.getBoundaries(mesh)->size(), 1);
    const auto adjTris = cache.getAdjTrisImpl(mesh);
    EXPECT_TRUE(adjTris);
    EXPECT_EQ(cache.getAdjVertices(mesh), cache.getAdjVerticesImpl(mesh));
    EXPECT_EQ(adjTris->numSets(), mesh.getNumVertices());

    const auto octreeTris = cache.getOctreeTris(mesh);
    EXPECT_TRUE(cache.getOctreeImpl(mesh));
    EXPECT_EQ(octreeTris->numSets(), cache.getOctree(mesh, 0)->getNumVoxels());
    EXPECT_EQ(cache.getOctreeLines(mesh)->numSets(), octreeTris->numSets());
    EXPECT_TRUE(keepsAll(cache, mesh));
    EXPECT_TRUE(keepsAll(cache, empty));
    EXPECT_EQ(cache.getAdjTris(mesh), adjTris); // a second mesh does not disturb the first
    EXPECT_EQ(cache.getOctreeTris(empty)->numSets(), 0);
}

TEST(MeshCache, theFirstRequestSizesTheLeaves) {
    const CompactMesh mesh = test::grid(30, 30);
    BoundingBox box;
    meshBoundingBox(mesh, box);
    for (const int requested : {-1, 0, 4}) {
        SimpleMeshCache cache;
        const Octree expected(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true,
                              requested < 1 ? 16 : requested);
        const auto octree = cache.getOctree(mesh, requested);
        EXPECT_EQ(octree->getNumVoxels(), expected.getNumVoxels());
        EXPECT_EQ(cache.getOctree(mesh, 50), octree);
    }
}

TEST(MeshCache, dropsTheRecordOnModification) {
    OpenCache cache;
    CompactMesh mesh = test::grid(3, 3);
    CompactMesh other = test::grid(2, 2);
    const auto ofOther = cache.getAdjTris(other);
    for (const auto type :
         {MeshModification::Geometry, MeshModification::Topology, MeshModification::Attributes}) {
        const auto octree = cache.getOctree(mesh, 0);
        const auto old = cache.getAdjTris(mesh);
        announce(mesh, type);
        EXPECT_FALSE(cache.getAdjTrisImpl(mesh)) << type;
        EXPECT_FALSE(cache.getOctreeImpl(mesh)) << type;
        EXPECT_EQ(old->getReferenceCount(), 1); // ours alone, and still whole
        EXPECT_EQ(old->numSets(), 16);
        EXPECT_FALSE(cache.getAdjTris(mesh) == old) << type;
    }
    EXPECT_EQ(cache.getAdjTris(other), ofOther);

    const auto old = cache.getAdjTris(mesh);
    cache.clear();
    EXPECT_FALSE(cache.getAdjTris(mesh) == old);
    EXPECT_FALSE(cache.getAdjTris(other) == ofOther);
    announce(mesh, MeshModification::Geometry); // hearing it after clear, and once only
    EXPECT_FALSE(cache.getAdjTrisImpl(mesh));
    EXPECT_EQ(mesh.getModifiedSignal().count(), 1);
}

// Catches a record that outlives its mesh and is found again by another at the same address.
TEST(MeshCache, meshAndCacheDieInEitherOrder) {
    OpenCache cache;
    std::optional<CompactMesh> mesh(test::grid(3, 3));
    const auto old = cache.getAdjTris(*mesh);
    const CompactMesh* const address = &*mesh;
    mesh.reset();
    EXPECT_EQ(old->getReferenceCount(), 1);
    mesh.emplace(test::grid(4, 4));
    ASSERT_EQ(&*mesh, address);
    EXPECT_EQ(cache.getAdjTris(*mesh)->numSets(), 25);
    announce(*mesh, MeshModification::Topology);
    EXPECT_FALSE(cache.getAdjTrisImpl(*mesh));

    auto shortLived = std::make_unique<SimpleMeshCache>();
    const auto kept = shortLived->getAdjTris(*mesh);
    EXPECT_EQ(mesh->getModifiedSignal().count(), 2);
    shortLived.reset();
    EXPECT_EQ(mesh->getModifiedSignal().count(), 1);
    EXPECT_EQ(kept->getReferenceCount(), 1);
    announce(*mesh, MeshModification::Geometry);
}

// A slot may ask for tables while the cache is being told: before it has heard, or never before.
TEST(MeshCache, answersDuringEmission) {
    struct Asker {
        OpenCache cache;
        const CompactMesh* mesh;
        int numSets = 0;

        static void onModified(void* user, qvRTB::EntityModification&) {
            auto* const self = static_cast<Asker*>(user);
            self->numSets = self->cache.getBoundaries(*self->mesh)->size();
        }
    };

    for (const bool cacheIsFirst : {false, true}) {
        CompactMesh mesh = test::grid(3, 3);
        Asker asker{.cache = {}, .mesh = &mesh};
        if (cacheIsFirst)
            asker.cache.getAdjTris(mesh);
        mesh.getModifiedSignal().addCallback(&Asker::onModified, &asker);
        for (int round = 0; round < 3; ++round) {
            asker.numSets = 0;
            announce(mesh, MeshModification::Topology);
            EXPECT_EQ(asker.numSets, 1);
        }
        mesh.resizeTriangleArray(0);
        announce(mesh, MeshModification::Topology);
        EXPECT_EQ(asker.cache.getBoundaries(mesh)->size(), 0); // nothing stale is left
    }
}

} // namespace
} // namespace qvGeom
