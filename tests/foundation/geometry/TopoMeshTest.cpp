#include "qvGeom/foundation/geometry/TopoMesh.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "support/Random.h"
#include "support/TopoMeshCheck.h"

namespace qvGeom {
namespace {

using Face = std::vector<int>;
using Faces = std::multiset<Face>;

const qvLinear::Point kPoint = {0.5, 0.25, 2};

TopoMesh meshOf(int numVertices, const std::vector<Face>& faces) {
    TopoMesh mesh;
    for (int v = 0; v < numVertices; ++v)
        mesh.allocVertex({1.0 * v, 1.0 * v * v, 0});
    for (const Face& face : faces)
        mesh.allocFace(face.data(), static_cast<int>(face.size()));
    return mesh;
}

/// A polygon between random vertices. With few of those, edges with many faces, faces that repeat a
/// vertex, same-way duplicates and several fans at a vertex all occur.
Face randomFace(test::Random& random, int numVertices, int maxCorners) {
    Face face(static_cast<std::size_t>(3 + random.below(maxCorners - 2)));
    for (int& corner : face)
        corner = random.below(numVertices);
    return face;
}

/// The ends of every half-edge, by its id.
std::map<int, Face> edgesOf(const TopoMesh& mesh) {
    std::map<int, Face> edges;
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e))
        edges[e] = {mesh.edgeVertex(e), mesh.edgeEndVertex(e)};
    return edges;
}

TEST(TopoMesh, answersForOddHandlesAndRefusesWhatIsNoPolygon) {
    TopoMesh mesh = meshOf(3, {}), other = meshOf(3, {});
    const TopoMeshVertex v = mesh.firstVertex();
    EXPECT_TRUE(mesh.allocFace({v, v.next()}).isNull());
    EXPECT_TRUE(mesh.allocTriangle(v, v.next(), other.firstVertex()).isNull());
    EXPECT_EQ(mesh.numFaces() + mesh.numEdges(), 0);

    EXPECT_TRUE(TopoMeshEdge().twin().next().prev().nextInList().face().firstEdge().isNull());
    EXPECT_EQ(v.valence() + TopoMeshVertex().valence() + TopoMeshFace().numVertices(), 0);
    EXPECT_FALSE(v.onBoundary() || v.adjacent({}) || mesh.swapEdge(TopoMeshEdge()));

    TopoMesh two = meshOf(5, {{0, 1, 2, 3}, {2, 1, 4}});
    meshTwin(two);
    const TopoMeshFace quad = two.firstFace();
    EXPECT_EQ(quad.centroid(), (qvLinear::Point{1.5, 3.5, 0}));
    EXPECT_TRUE(quad.adjacent(quad.next()) && !quad.adjacent(quad));

    // Both sides of its edge are in one triangle: a cut would leave an edge from a vertex to
    // itself.
    TopoMesh folded = meshOf(2, {{0, 1, 0}});
    meshTwin(folded);
    EXPECT_TRUE(folded.splitEdge(folded.firstEdge(), {0, 0, 0}).isNull());
}

TEST(TopoMesh, agreesWithAScanOfAllEdgesOnAnyPolygons) {
    test::Random random;
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const int numVertices = 3 + round % 12;
        std::vector<Face> faces(round % 20);
        for (Face& face : faces)
            face = randomFace(random, numVertices, 6);
        TopoMesh mesh = meshOf(numVertices, faces);
        meshTwin(mesh);
        ASSERT_EQ(test::faultOf(mesh), "");
        std::map<Face, std::vector<int>> edgesBetween;
        for (const auto& [e, ends] : edgesOf(mesh))
            edgesBetween[ends].push_back(e);
        for (int a = 0; a < numVertices; ++a) {
            int valence = 0;
            bool onBoundary = false;
            for (int b = 0; b < numVertices; ++b) {
                const std::vector<int>& there = edgesBetween[{a, b}];
                const std::vector<int>& back = edgesBetween[{b, a}];
                EXPECT_EQ(mesh.findEdge(a, b), there.empty() ? -1 : there[0]);
                valence += a != b && there.size() + back.size() > 0;
                onBoundary |= a == b ? !there.empty() : there.size() != back.size();
                // Twins pair up first with first, second with second.
                for (std::size_t i = 0; i < there.size(); ++i)
                    EXPECT_EQ(mesh.edgeTwin(there[i]), a != b && i < back.size() ? back[i] : -1);
            }
            EXPECT_EQ(mesh.vertexValence(a), valence) << a;
            EXPECT_EQ(mesh.vertexOnBoundary(a), onBoundary) << a;
        }
    }
}

TEST(MeshTwin, keepsTwinsThatWereSet) {
    TopoMesh mesh = meshOf(5, {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}});
    const TopoMeshEdge first = mesh.firstEdge(), second = {&mesh, 3}, third = {&mesh, 6};
    EXPECT_FALSE(mesh.setTwins(first, first.next()) || mesh.setTwins(second, third));
    EXPECT_TRUE(mesh.setTwins(first, third));
    meshTwin(mesh);
    EXPECT_EQ(first.twin(), third);
    EXPECT_TRUE(second.twin().isNull());
    EXPECT_TRUE(mesh.setTwins(second, first));
    EXPECT_TRUE(third.twin().isNull());
    EXPECT_EQ(test::faultOf(mesh), "");
}

// Around a hub, each spoke searched or unlinked among all the others would cost quadratic time.
TEST(MeshTwin, isQuickAroundAHub) {
    const int numSpokes = 300000;
    TopoMesh mesh = meshOf(numSpokes + 1, {});
    for (int v = 1; v <= numSpokes; ++v)
        mesh.allocTriangle({&mesh, 0}, {&mesh, v}, {&mesh, v % numSpokes + 1});
    meshTwin(mesh);
    for (int v = 2; v + 1 < numSpokes; ++v)
        ASSERT_TRUE(mesh.swapEdge(mesh.findEdge(0, v))) << v;
    EXPECT_EQ(mesh.vertexValence(0), 3);
}

/// A cycle of corners without those that follow on themselves, from a fixed one on.
Face cycle(Face corners) {
    corners.erase(std::unique(corners.begin(), corners.end()), corners.end());
    if (corners.size() > 1 && corners.front() == corners.back())
        corners.pop_back();
    Face best = corners;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        std::rotate(corners.begin(), corners.begin() + 1, corners.end());
        best = std::min(best, corners);
    }
    return best;
}

/// A torus of `size` by `size` squares, some of them cut in two, without a few of its faces and
/// with some polygons between random vertices.
TopoMesh torus(test::Random& random, int size, int numHoles, int numExtra) {
    std::vector<Face> faces;
    for (int v = 0; v < size * size; ++v) {
        const int right = v / size * size + (v + 1) % size;
        const int up = (v + size) % (size * size);
        const int across = (right + size) % (size * size);
        if (random.below(4) == 0)
            faces.push_back({v, right, across, up});
        else
            faces.insert(faces.end(), {{v, right, across}, {v, across, up}});
    }
    for (int i = 0; i < numHoles; ++i)
        faces.erase(faces.begin() + random.below(static_cast<int>(faces.size())));
    for (int i = 0; i < numExtra; ++i)
        faces.push_back(cycle(randomFace(random, size * size, 5))); // none if it has lost too many
    TopoMesh mesh = meshOf(size * size, faces);
    meshTwin(mesh);
    return mesh;
}

/// The corners of the face of `e`, from where `e` starts.
Face ringFrom(const TopoMesh& mesh, int e) {
    Face corners = {mesh.edgeVertex(e)};
    for (int at = mesh.edgeNext(e); at != e; at = mesh.edgeNext(at))
        corners.push_back(mesh.edgeVertex(at));
    return corners;
}

Faces facesOf(const TopoMesh& mesh) {
    Faces faces;
    for (int f = mesh.nextFace(-1); f >= 0; f = mesh.nextFace(f))
        faces.insert(cycle(ringFrom(mesh, mesh.faceEdge(f))));
    return faces;
}

bool has(const Face& face, int v) { return std::count(face.begin(), face.end(), v) > 0; }

/// `faces` with `from` replaced by `to`; what has fewer than three corners then is left out.
Faces renamed(const Faces& faces, int from, int to) {
    Faces result;
    for (Face face : faces) {
        std::replace(face.begin(), face.end(), from, to);
        if (face = cycle(face); face.size() > 2)
            result.insert(face);
    }
    return result;
}

void replace(Faces& faces, const Face& old, const std::vector<Face>& added) {
    faces.erase(faces.find(cycle(old)));
    for (const Face& face : added)
        faces.insert(cycle(face));
}

/// Whether every vertex has one fan, no face repeats a corner and no two triangles have the same.
bool isSurface(const TopoMesh& mesh) {
    std::set<Face> seen; // corners of faces, ends of half-edges
    for (Face face : facesOf(mesh)) {
        std::sort(face.begin(), face.end());
        if (std::adjacent_find(face.begin(), face.end()) != face.end() ||
            (!seen.insert(face).second && face.size() == 3))
            return false;
    }
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v)) {
        int numLeft = 0;
        int start = mesh.vertexEdge(v);
        for (int e = start; e >= 0; e = mesh.edgeNextOutgoing(e), ++numLeft) {
            if (!seen.insert({v, mesh.edgeEndVertex(e)}).second)
                return false;
            start = mesh.edgeTwin(e) < 0 ? e : start;
        }
        for (int e = start; e >= 0 && (e != start || numLeft > 0); --numLeft)
            e = mesh.edgeTwin(mesh.edgePrev(e));
        if (numLeft != 0)
            return false;
    }
    return true;
}

/// Vertices that have a face, less edges, plus faces.
int eulerOf(const TopoMesh& mesh) {
    int twice = 2 * mesh.numFaces();
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e))
        twice -= mesh.edgeTwin(e) < 0 ? 2 : 1;
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v))
        twice += mesh.vertexEdge(v) < 0 ? 0 : 2;
    return twice / 2;
}

/// Calls `edit` with edges of many meshes, surfaces with and without holes and any polygons, and
/// checks all links each time. `edit` gets the faces as well, and says whether it has changed the
/// mesh.
template <class Edit>
void editRandomly(Edit edit) {
    test::Random random;
    int numDone = 0;
    for (int round = 0; round < 60; ++round) {
        TopoMesh mesh = torus(random, 3 + round % 3, round % 5, round % 2 * (round % 6));
        for (int step = 0; step < 25 && mesh.numEdges() > 0; ++step) {
            SCOPED_TRACE(testing::Message() << "round " << round << " step " << step);
            int e = random.below(mesh.edgeIdLimit());
            while (!mesh.isEdge(e))
                e = random.below(mesh.edgeIdLimit());
            numDone += edit(mesh, e, facesOf(mesh));
            ASSERT_EQ(test::faultOf(mesh), "");
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
    EXPECT_GT(numDone, 100);
}

TEST(SwapEdge, exchangesTheDiagonal) {
    editRandomly([](TopoMesh& mesh, int e, Faces faces) {
        const int t = mesh.edgeTwin(e);
        const Face ring = ringFrom(mesh, e), behind = t < 0 ? Face() : ringFrom(mesh, t);
        const bool isFree = ring.size() == 3 && behind.size() == 3 && ring[2] != behind[2] &&
                            mesh.findEdge(ring[2], behind[2]) < 0 &&
                            mesh.findEdge(behind[2], ring[2]) < 0;
        if (isFree) {
            replace(faces, ring, {{ring[1], ring[2], behind[2]}});
            replace(faces, behind, {{ring[0], behind[2], ring[2]}});
        }
        EXPECT_EQ(mesh.swapEdge(e), isFree);
        EXPECT_EQ(facesOf(mesh), faces);
        return isFree;
    });
}

TEST(DeleteVertex, leavesOneFaceAndAllOtherEdges) {
    editRandomly([](TopoMesh& mesh, int e, Faces faces) {
        const int v = mesh.edgeVertex(e);
        std::map<int, Face> edges = edgesOf(mesh);
        std::set<int> link;
        std::size_t numAcross = 0;
        for (const Face& face : faces) {
            if (has(face, v)) {
                link.insert(face.begin(), face.end());
                numAcross += face.size() - 2;
            }
        }
        link.erase(v);
        const Face ring(link.begin(), link.end());
        const bool isTwofold = ring.size() == 3 && (faces.contains(ring) ||
                                                    faces.contains({ring[0], ring[2], ring[1]}));
        const bool isSound = numAcross > 2 && ring.size() == numAcross && !isTwofold;
        const bool wasSurface = isSurface(mesh);
        const bool isInside = !mesh.vertexOnBoundary(v);
        const int left = mesh.deleteVertex(v);
        EXPECT_TRUE(!wasSurface || (left >= 0) == (isInside && isSound));
        if (left >= 0) {
            std::erase_if(faces, [v](const Face& face) { return has(face, v); });
            std::erase_if(edges, [v](const auto& edge) { return has(edge.second, v); });
            faces.insert(cycle(ringFrom(mesh, mesh.faceEdge(left))));
        }
        EXPECT_EQ(facesOf(mesh), faces);
        EXPECT_EQ(edgesOf(mesh), edges);
        EXPECT_EQ(mesh.isVertex(v), left < 0);
        return left >= 0;
    });
}

TEST(Subdivide, cutsFacesAndEdges) {
    editRandomly([](TopoMesh& mesh, int e, Faces faces) {
        const Face ring = ringFrom(mesh, e);
        const int hub = mesh.subdivideFace(mesh.edgeFace(e), kPoint);
        std::vector<Face> around;
        for (std::size_t i = 0; i < ring.size(); ++i)
            around.push_back({ring[i], ring[(i + 1) % ring.size()], hub});
        replace(faces, ring, around);
        EXPECT_EQ(facesOf(mesh), faces);

        const int t = mesh.edgeTwin(e); // the face of e is a triangle now, that of t may not be
        const Face behind = t >= 0 ? ringFrom(mesh, t) : Face();
        const int middle = mesh.splitEdge(e, kPoint);
        EXPECT_EQ(middle >= 0, t < 0 || behind.size() == 3);
        const int m = middle >= 0 ? middle : mesh.subdivideEdge(e, kPoint);
        for (Face face : {around[0], behind}) {
            const Face uncut = face;
            if (uncut.empty())
                break; // there is none behind
            face.insert(face.begin() + 1, m);
            if (middle >= 0)
                replace(faces, uncut, {{face[0], m, face[3]}, {m, face[2], face[3]}});
            else
                replace(faces, uncut, {face});
        }
        EXPECT_EQ(facesOf(mesh), faces);
        EXPECT_EQ(mesh.edgeTwin(e) < 0, t < 0);
        return true;
    });
}

TEST(ContractEdge, isDoneWhereTheSurfaceKeepsItsShape) {
    editRandomly([](TopoMesh& mesh, int e, const Faces& faces) {
        const Faces expected = renamed(faces, mesh.edgeEndVertex(e), mesh.edgeVertex(e));
        TopoMesh result = meshOf(mesh.vertexIdLimit(), {expected.begin(), expected.end()});
        meshTwin(result);
        const bool wasSurface = isSurface(mesh);
        const bool keepsShape = isSurface(result) && eulerOf(result) == eulerOf(mesh);
        const bool isDone = mesh.contractEdge(e);
        EXPECT_TRUE(!wasSurface || isDone == keepsShape);
        EXPECT_EQ(facesOf(mesh), isDone ? expected : faces);
        return isDone;
    });
}

TEST(SplitVertex, addsAnEdgeThatContractingTakesAway) {
    editRandomly([](TopoMesh& mesh, int e, const Faces& faces) {
        const bool wasSurface = isSurface(mesh);
        const int v = mesh.edgeVertex(e);
        int f = e;
        for (int turns = mesh.edgeEndVertex(e) % 4; f >= 0 && turns >= 0; --turns)
            f = mesh.edgeTwin(mesh.edgePrev(f));
        const int w = mesh.splitVertex(e, f, kPoint);
        EXPECT_TRUE(!wasSurface || (w >= 0) == (f != e));
        EXPECT_TRUE(!wasSurface || isSurface(mesh));
        EXPECT_EQ(w < 0 ? facesOf(mesh) : renamed(facesOf(mesh), w, v), faces);
        TopoMesh copy = mesh;
        EXPECT_TRUE(w < 0 || !wasSurface || copy.contractEdge(copy.findEdge(w, v)));
        EXPECT_EQ(test::faultOf(copy), "");
        return w >= 0;
    });
}

TEST(MergeVertices, joinsThoseWithoutACommonFace) {
    editRandomly([](TopoMesh& mesh, int e, const Faces& faces) {
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
} // namespace qvGeom
