#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "qvGeom/foundation/geometry/TopoMesh.h"

#include "support/TopoMeshCheck.h"

namespace {

using qvGeom::TopoMesh;
using Face = std::vector<int>;
using Faces = std::multiset<Face>;

TopoMesh meshOf(int numVertices, const std::vector<Face>& faces) {
    TopoMesh mesh;
    for (int v = 0; v < numVertices; ++v)
        mesh.allocVertex({1.0 * v, 1.0 * v * v, 0});
    for (const Face& face : faces)
        mesh.allocFace(face.data(), static_cast<int>(face.size()));
    meshTwin(mesh);
    return mesh;
}

int below(std::mt19937& random, int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
}

/// A cycle of corners without those that follow on themselves.
Face withoutRepeats(Face face) {
    face.erase(std::unique(face.begin(), face.end()), face.end());
    if (face.size() > 1 && face.front() == face.back())
        face.pop_back();
    return face;
}

/// A torus of `size` by `size` quads, most of them cut in two, without `numHoles` of its faces and
/// with some polygons between random vertices stuck on.
TopoMesh torus(std::mt19937& random, int size, int numHoles, int numExtra) {
    std::vector<Face> faces;
    for (int v = 0; v < size * size; ++v) {
        const int right = v / size * size + (v + 1) % size;
        const int up = (v + size) % (size * size);
        const int across = (right + size) % (size * size);
        if (below(random, 4) == 0)
            faces.push_back({v, right, across, up});
        else
            faces.insert(faces.end(), {{v, right, across}, {v, across, up}});
    }
    std::shuffle(faces.begin(), faces.end(), random);
    faces.resize(faces.size() - static_cast<std::size_t>(numHoles));
    for (int i = 0; i < numExtra; ++i) {
        Face face(4 + random() % 2);
        for (int& corner : face)
            corner = below(random, size * size);
        face = withoutRepeats(face);
        if (face.size() > 2)
            faces.push_back(face);
    }
    return meshOf(size * size, faces);
}

/// The corners of the face of `e`, from where `e` starts.
Face ringFrom(const TopoMesh& mesh, int e) {
    Face corners;
    int at = e;
    do
        corners.push_back(mesh.edgeVertex(at));
    while ((at = mesh.edgeNext(at)) != e);
    return corners;
}

/// The same cycle of corners whichever of them it starts at.
Face cycle(Face corners) {
    Face best = corners;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        std::rotate(corners.begin(), corners.begin() + 1, corners.end());
        best = std::min(best, corners);
    }
    return best;
}

Faces facesOf(const TopoMesh& mesh) {
    Faces faces;
    for (int f = mesh.nextFace(-1); f >= 0; f = mesh.nextFace(f))
        faces.insert(cycle(ringFrom(mesh, mesh.faceEdge(f))));
    return faces;
}

bool has(const Face& face, int v) { return std::find(face.begin(), face.end(), v) != face.end(); }

void replace(Faces& faces, const Face& old, const std::vector<Face>& added) {
    faces.erase(faces.find(cycle(old)));
    for (const Face& face : added)
        faces.insert(cycle(face));
}

/// `faces` with `from` replaced by `to`, without repeats side by side and what has fewer than three
/// corners then.
Faces renamed(const Faces& faces, int from, int to) {
    Faces result;
    for (Face face : faces) {
        std::replace(face.begin(), face.end(), from, to);
        face = withoutRepeats(face);
        if (face.size() > 2)
            result.insert(cycle(face));
    }
    return result;
}

/// Whether the faces make a surface in which every vertex has one fan, no face repeats a corner and
/// no two triangles have the same ones.
bool isSurface(const TopoMesh& mesh) {
    std::set<Face> corners;
    for (Face face : facesOf(mesh)) {
        std::sort(face.begin(), face.end());
        if (std::adjacent_find(face.begin(), face.end()) != face.end() ||
            (!corners.insert(face).second && face.size() == 3))
            return false;
    }
    std::set<std::pair<int, int>> edges;
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e)) {
        if (!edges.insert({mesh.edgeVertex(e), mesh.edgeEndVertex(e)}).second)
            return false;
    }
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v)) {
        std::set<int> outgoing;
        int start = mesh.vertexEdge(v);
        for (int e = start; e >= 0; e = mesh.edgeNextOutgoing(e)) {
            outgoing.insert(e);
            if (mesh.edgeTwin(e) < 0)
                start = e;
        }
        for (int e = start; e >= 0 && outgoing.erase(e);)
            e = mesh.edgeTwin(mesh.edgePrev(e));
        if (!outgoing.empty())
            return false;
    }
    return true;
}

/// Vertices less edges plus faces, of the vertices that have a face.
int eulerOf(const TopoMesh& mesh) {
    int twice = 2 * mesh.numFaces() - mesh.numEdges();
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e))
        twice -= mesh.edgeTwin(e) < 0;
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v))
        twice += mesh.vertexEdge(v) < 0 ? 0 : 2;
    return twice / 2;
}

/// What the mesh of these faces alone would be.
TopoMesh rebuilt(const TopoMesh& mesh, const Faces& faces) {
    return meshOf(mesh.vertexIdLimit(), {faces.begin(), faces.end()});
}

/// The corners of the face that deleting `v` should leave; empty where it should be refused.
Face faceAround(const TopoMesh& mesh, int v, const Faces& faces) {
    std::map<int, int> link;
    std::size_t numAcross = 0;
    for (Face face : faces) {
        std::rotate(face.begin(),
                    std::find(face.begin(), face.end(), v) - face.begin() + face.begin(),
                    face.end());
        for (std::size_t i = 1; face[0] == v && i < face.size(); ++i) {
            if (face[i] == v)
                return {};
            if (i + 1 < face.size()) {
                link[face[i]] = face[i + 1];
                ++numAcross;
            }
        }
    }
    Face ring;
    for (int at = link.empty() ? v : link.begin()->first; link.count(at) && !has(ring, at);
         at = link[at])
        ring.push_back(at);
    const bool isCycle =
        ring.size() == numAcross && ring.size() > 2 && link[ring.back()] == ring[0];
    const Face back(ring.rbegin(), ring.rend());
    const bool isTwofold = ring.size() == 3 && faces.count(cycle(ring)) + faces.count(cycle(back));
    return isCycle && !isTwofold && !mesh.vertexOnBoundary(v) ? ring : Face();
}

/// Runs `edit` on random elements of many meshes, surfaces with and without holes and any polygons,
/// and checks all links after each. `edit` gets the mesh and an edge, and says whether it was done.
template <class Edit>
void editRandomly(Edit edit) {
    std::mt19937 random(7);
    int numDone = 0;
    for (int round = 0; round < 60; ++round) {
        TopoMesh mesh = torus(random, 3 + round % 3, round % 5, round % 2 ? round % 6 : 0);
        for (int step = 0; step < 25 && mesh.numEdges() > 0; ++step) {
            SCOPED_TRACE(testing::Message() << "round " << round << " step " << step);
            int e = below(random, mesh.edgeIdLimit());
            while (!mesh.isEdge(e))
                e = below(random, mesh.edgeIdLimit());
            numDone += edit(mesh, e);
            ASSERT_EQ(test::faultOf(mesh), "");
            if (testing::Test::HasFailure())
                return;
        }
    }
    EXPECT_GT(numDone, 100);
}

const qvLinear::Point kPoint = {0.5, 0.25, 2};

TEST(SwapEdge, exchangesTheDiagonalAndComesBack) {
    editRandomly([](TopoMesh& mesh, int e) {
        const Faces before = facesOf(mesh);
        const int t = mesh.edgeTwin(e);
        const Face ring = ringFrom(mesh, e), behind = t < 0 ? Face() : ringFrom(mesh, t);
        const auto isJoined = [&mesh](int v, int w) {
            return mesh.findEdge(v, w) >= 0 || mesh.findEdge(w, v) >= 0;
        };
        const bool isFree = ring.size() == 3 && behind.size() == 3 && ring[2] != behind[2] &&
                            !isJoined(ring[2], behind[2]);
        Faces faces = before;
        if (isFree) {
            replace(faces, ring, {{ring[1], ring[2], behind[2]}});
            replace(faces, behind, {{ring[0], behind[2], ring[2]}});
        }
        EXPECT_EQ(mesh.swapEdge(e), isFree);
        EXPECT_EQ(facesOf(mesh), faces);
        if (isFree && !isJoined(ring[0], ring[1])) {
            TopoMesh copy = mesh;
            EXPECT_TRUE(copy.swapEdge(e));
            EXPECT_EQ(facesOf(copy), before);
            EXPECT_EQ(test::faultOf(copy), "");
        }
        return isFree;
    });
}

TEST(DeleteVertex, leavesTheFaceAroundIt) {
    editRandomly([](TopoMesh& mesh, int e) {
        const int v = mesh.edgeVertex(e);
        Faces faces = facesOf(mesh);
        const int numVertices = mesh.numVertices();
        const Face expected = faceAround(mesh, v, faces);
        const int left = mesh.deleteVertex(v);
        EXPECT_EQ(left >= 0, !expected.empty()) << v;
        if (left >= 0) {
            std::erase_if(faces, [v](const Face& face) { return has(face, v); });
            faces.insert(cycle(expected));
            EXPECT_EQ(cycle(ringFrom(mesh, mesh.faceEdge(left))), cycle(expected));
        }
        EXPECT_EQ(facesOf(mesh), faces);
        EXPECT_EQ(mesh.numVertices(), numVertices - (left >= 0));
        return left >= 0;
    });
}

TEST(DeleteVertex, isUndoneBySubdividingAndSwappingBack) {
    std::mt19937 random(5);
    TopoMesh mesh = rebuilt(meshOf(400, {}), [] {
        Faces faces;
        for (int v = 0; v < 400; ++v) {
            const int right = v / 20 * 20 + (v + 1) % 20;
            faces.insert({v, right, (right + 20) % 400});
            faces.insert({v, (right + 20) % 400, (v + 20) % 400});
        }
        return faces;
    }());
    for (int step = 0; step < 300; ++step) {
        const Faces faces = facesOf(mesh);
        const int v = mesh.edgeVertex(mesh.faceEdge(mesh.nextFace(below(random, 100))));
        std::vector<int> spokes;
        for (int e = mesh.vertexEdge(v); e >= 0; e = mesh.edgeNextOutgoing(e))
            spokes.push_back(e);
        std::vector<int> swapped;
        for (const int e : spokes) {
            if (mesh.vertexValence(v) > 3 && mesh.swapEdge(e))
                swapped.push_back(e);
        }
        const int face = mesh.deleteVertex(v);
        ASSERT_GE(face, 0);
        const Face left = ringFrom(mesh, mesh.faceEdge(face));
        const int back = mesh.subdivideFace(mesh.edgeFace(mesh.findEdge(left[0], left[1])), kPoint);
        for (std::size_t i = swapped.size(); i-- > 0;)
            ASSERT_TRUE(mesh.swapEdge(swapped[i]));
        ASSERT_EQ(test::faultOf(mesh), "");
        ASSERT_EQ(facesOf(mesh), renamed(faces, v, back));
        EXPECT_EQ(qvGeom::TopoMeshVertex({&mesh, back}).point(), kPoint);
        EXPECT_FALSE(mesh.isVertex(v));
    }
}

TEST(Subdivide, cutsTheFaceOrTheEdge) {
    editRandomly([](TopoMesh& mesh, int e) {
        Faces faces = facesOf(mesh);
        const Face ring = ringFrom(mesh, e);
        const int hub = mesh.subdivideFace(mesh.edgeFace(e), kPoint);
        std::vector<Face> around;
        for (std::size_t i = 0; i < ring.size(); ++i)
            around.push_back({ring[i], ring[(i + 1) % ring.size()], hub});
        replace(faces, ring, around);
        EXPECT_EQ(facesOf(mesh), faces);
        EXPECT_EQ(test::faultOf(mesh), "");

        const int t = mesh.edgeTwin(e); // the face of e is a triangle now, that of t may not be
        const Face behind = t >= 0 ? ringFrom(mesh, t) : Face();
        const bool isCut = t < 0 || behind.size() == 3;
        const int middle = mesh.splitEdge(e, kPoint);
        EXPECT_EQ(middle >= 0, isCut);
        if (isCut) {
            replace(faces, around[0], {{ring[0], middle, hub}, {middle, ring[1], hub}});
            if (t >= 0)
                replace(faces, behind,
                        {{ring[1], middle, behind[2]}, {middle, ring[0], behind[2]}});
        } else {
            const int corner = mesh.subdivideEdge(e, kPoint);
            Face larger = behind;
            larger.insert(larger.begin() + 1, corner);
            replace(faces, around[0], {{ring[0], corner, ring[1], hub}});
            replace(faces, behind, {larger});
        }
        EXPECT_EQ(facesOf(mesh), faces);
        EXPECT_EQ(mesh.edgeTwin(e) < 0, t < 0);
        return true;
    });
}

TEST(ContractEdge, isDoneWhereTheSurfaceKeepsItsShape) {
    editRandomly([](TopoMesh& mesh, int e) {
        const Faces faces = facesOf(mesh);
        const Faces expected = renamed(faces, mesh.edgeEndVertex(e), mesh.edgeVertex(e));
        const TopoMesh result = rebuilt(mesh, expected);
        const bool wasSurface = isSurface(mesh);
        const bool keepsShape = isSurface(result) && eulerOf(result) == eulerOf(mesh);
        const bool isDone = mesh.contractEdge(e);
        EXPECT_TRUE(!wasSurface || isDone == keepsShape);
        EXPECT_EQ(facesOf(mesh), isDone ? expected : faces);
        return isDone;
    });
}

TEST(SplitVertex, isUndoneByContracting) {
    editRandomly([](TopoMesh& mesh, int e) {
        const Faces faces = facesOf(mesh);
        int f = e;
        for (int turns = mesh.edgeEndVertex(e) % 4; f >= 0 && turns >= 0; --turns)
            f = mesh.edgeTwin(mesh.edgePrev(f));
        const bool isOfSurface = isSurface(mesh);
        const int v = mesh.edgeVertex(e);
        const int w = mesh.splitVertex(e, f, kPoint);
        EXPECT_TRUE(!isOfSurface || (w >= 0) == (f != e && (f >= 0 || mesh.vertexOnBoundary(v))));
        if (w >= 0) {
            EXPECT_EQ(mesh.edgeVertex(e), w);
            EXPECT_TRUE(!isOfSurface || isSurface(mesh));
            EXPECT_EQ(renamed(facesOf(mesh), w, v), faces);
            TopoMesh copy = mesh;
            const bool isOpen = copy.findEdge(v, w) < 0; // then its one side runs from w to v
            const bool isUndone =
                copy.contractEdge(isOpen ? copy.findEdge(w, v) : copy.findEdge(v, w));
            EXPECT_TRUE(isUndone || !isOfSurface);
            EXPECT_TRUE(!isUndone || facesOf(copy) == (isOpen ? renamed(faces, v, w) : faces));
            EXPECT_EQ(test::faultOf(copy), "");
        }
        return w >= 0;
    });
}

TEST(MergeVertices, joinsThoseWithoutACommonFace) {
    editRandomly([](TopoMesh& mesh, int e) {
        const Faces faces = facesOf(mesh);
        const int a = mesh.edgeVertex(e);
        const int other = mesh.nextEdge(7 * e % mesh.edgeIdLimit());
        const int b = other < 0 ? a : mesh.edgeVertex(other);
        const bool isApart = std::none_of(faces.begin(), faces.end(), [=](const Face& face) {
            return has(face, a) && has(face, b);
        });
        const bool isDone = mesh.mergeVertices(a, b);
        EXPECT_EQ(isDone, isApart && a != b);
        EXPECT_EQ(facesOf(mesh), isDone ? renamed(faces, b, a) : faces);
        return isDone;
    });
}

} // namespace
