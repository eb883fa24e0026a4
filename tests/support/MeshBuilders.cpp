#include "MeshBuilders.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

namespace test {

using qvGeom::BitVector;
using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;
using qvGeom::MeshVertex;

namespace {

MeshVertex vertexAt(double x, double y, double z) {
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

std::vector<int> randomOrder(int count, std::mt19937& random) {
    std::vector<int> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), random);
    return order;
}

} // namespace

CompactMesh meshOf(const std::vector<MeshVertex>& vertices,
                   const std::vector<MeshTriangle>& triangles) {
    CompactMesh mesh(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    mesh.resizeTriangleArray(static_cast<int>(triangles.size()));
    std::copy(triangles.begin(), triangles.end(), mesh.getTriangles());
    return mesh;
}

CompactMesh pointsAlongX(int count) {
    std::vector<MeshVertex> vertices;
    for (int i = 0; i < count; ++i)
        vertices.push_back({static_cast<float>(i), 0, 0});
    return meshOf(vertices, {});
}

CompactMesh grid(int columns, int rows) {
    std::vector<MeshVertex> vertices;
    std::vector<MeshTriangle> triangles;
    for (int r = 0; r <= rows; ++r) {
        for (int c = 0; c <= columns; ++c) {
            const int low = static_cast<int>(vertices.size());
            const int high = low + columns + 1;
            vertices.push_back({static_cast<float>(c), static_cast<float>(r), 0});
            if (r < rows && c < columns)
                triangles.insert(triangles.end(),
                                 {{{low, low + 1, high + 1}}, {{low, high + 1, high}}});
        }
    }
    return meshOf(vertices, triangles);
}

CompactMesh wavySurface(int triangles) {
    const int side = std::max(1, static_cast<int>(std::lround(std::sqrt(triangles / 2.0))));
    CompactMesh mesh = grid(side, side);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex& p = mesh.getVertices()[v];
        const double x = static_cast<double>(p.x) / side;
        const double y = static_cast<double>(p.y) / side;
        p = vertexAt(x, y, 0.1 * std::sin(9 * x) * std::cos(7 * y));
    }
    return mesh;
}

CompactMesh closedFan(int triangles) {
    std::vector<MeshVertex> vertices{{0, 0, 0}};
    std::vector<MeshTriangle> corners;
    for (int t = 0; t < triangles; ++t) {
        const double angle = 2 * std::numbers::pi * t / triangles;
        vertices.push_back(vertexAt(std::cos(angle), std::sin(angle), 0));
        corners.push_back({{0, t + 1, (t + 1) % triangles + 1}});
    }
    return meshOf(vertices, corners);
}

CompactMesh openFan(int triangles) { return without(closedFan(triangles + 1), triangles, 1); }

CompactMesh strip(int triangles) {
    std::vector<MeshVertex> vertices;
    std::vector<MeshTriangle> corners;
    for (int i = 0; i < triangles + 2; ++i)
        vertices.push_back({static_cast<float>(i / 2), static_cast<float>(i % 2), 0});
    for (int t = 0; t < triangles; ++t)
        corners.push_back({{t + t % 2, t + 1 - t % 2, t + 2}});
    return meshOf(vertices, corners);
}

CompactMesh sphere(int rings, int segments) {
    std::vector<MeshVertex> vertices{{0, 0, 1}};
    for (int r = 1; r <= rings; ++r) {
        const double polar = std::numbers::pi * r / (rings + 1);
        for (int s = 0; s < segments; ++s) {
            const double turn = 2 * std::numbers::pi * s / segments;
            vertices.push_back(vertexAt(std::sin(polar) * std::cos(turn),
                                        std::sin(polar) * std::sin(turn), std::cos(polar)));
        }
    }
    vertices.push_back({0, 0, -1});

    const int bottom = rings * segments + 1;
    std::vector<MeshTriangle> corners;
    for (int s = 0; s < segments; ++s) {
        const int next = (s + 1) % segments;
        corners.push_back({{0, 1 + s, 1 + next}});
        for (int r = 0; r + 1 < rings; ++r) {
            const int upper = 1 + r * segments;
            const int lower = upper + segments;
            corners.push_back({{upper + s, lower + s, lower + next}});
            corners.push_back({{upper + s, lower + next, upper + next}});
        }
        corners.push_back({{bottom, bottom - segments + next, bottom - segments + s}});
    }
    return meshOf(vertices, corners);
}

CompactMesh torus(int around, int across) {
    std::vector<MeshVertex> vertices;
    std::vector<MeshTriangle> triangles;
    for (int a = 0; a < around; ++a) {
        const double turn = 2 * std::numbers::pi * a / around;
        for (int c = 0; c < across; ++c) {
            const double tube = 2 * std::numbers::pi * c / across;
            const double radius = 2 + std::cos(tube);
            vertices.push_back(
                vertexAt(radius * std::cos(turn), radius * std::sin(turn), std::sin(tube)));
            const int low = a * across;
            const int high = (a + 1) % around * across;
            const int next = (c + 1) % across;
            triangles.push_back({{low + c, low + next, high + next}});
            triangles.push_back({{low + c, high + next, high + c}});
        }
    }
    return meshOf(vertices, triangles);
}

CompactMesh bowTie() {
    return meshOf({{0, 0, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, {-1, -1, 0}},
                  {{{0, 1, 2}}, {{0, 3, 4}}});
}

CompactMesh soupOf(const CompactMesh& mesh) {
    const int* const corners = mesh.getTrianglesRaw();
    const int numCorners = 3 * mesh.getNumTriangles();
    CompactMesh soup;
    soup.resizeVertexArray(numCorners);
    soup.resizeTriangleArray(mesh.getNumTriangles());
    const auto spread = [=](const auto* from, auto* to) {
        std::transform(corners, corners + numCorners, to, [from](int v) { return from[v]; });
    };
    spread(mesh.getVertices(), soup.getVertices());
    if (mesh.getNormals())
        spread(mesh.getNormals(), soup.allocNormalArray());
    if (mesh.getUVs())
        spread(mesh.getUVs(), soup.allocUVArray());
    std::iota(soup.getTrianglesRaw(), soup.getTrianglesRaw() + numCorners, 0);
    return soup;
}

CompactMesh shuffled(const CompactMesh& mesh, std::uint32_t seed) {
    std::mt19937 random(seed);
    const std::vector<int> newVertex = randomOrder(mesh.getNumVertices(), random);
    const std::vector<int> newTriangle = randomOrder(mesh.getNumTriangles(), random);
    CompactMesh result = mesh;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        result.getVertices()[newVertex[v]] = mesh.getVertices()[v];
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (int k = 0; k < 3; ++k)
            result.getTriangles()[newTriangle[t]][k] = newVertex[mesh.getTriangles()[t][k]];
    }
    return result;
}

CompactMesh without(CompactMesh mesh, int first, int count) {
    MeshTriangle* const triangles = mesh.getTriangles();
    std::copy(triangles + first + count, triangles + mesh.getNumTriangles(), triangles + first);
    mesh.resizeTriangleArray(mesh.getNumTriangles() - count);
    return mesh;
}

CompactMesh joined(CompactMesh mesh, const CompactMesh& other) {
    const int vertices = mesh.getNumVertices(), corners = 3 * mesh.getNumTriangles();
    mesh.resizeVertexArray(vertices + other.getNumVertices());
    std::copy_n(other.getVertices(), other.getNumVertices(), mesh.getVertices() + vertices);
    mesh.resizeTriangleArray(mesh.getNumTriangles() + other.getNumTriangles());
    std::transform(other.getTrianglesRaw(), other.getTrianglesRaw() + 3 * other.getNumTriangles(),
                   mesh.getTrianglesRaw() + corners, [&](int v) { return v + vertices; });
    return mesh;
}

CompactMesh randomMesh(std::uint32_t seed, int vertices, int triangles) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-1, 1);
    std::uniform_int_distribution<int> vertex(0, std::max(0, vertices - 1));
    CompactMesh mesh;
    mesh.resizeVertexArray(vertices);
    mesh.resizeTriangleArray(triangles);
    for (int i = 0; i < 3 * vertices; ++i)
        mesh.getVerticesRaw()[i] = coordinate(random);
    for (int i = 0; i < 3 * triangles; ++i)
        mesh.getTrianglesRaw()[i] = vertex(random);
    return mesh;
}

BitVector selectionOf(int size, std::initializer_list<int> selected) {
    BitVector selection(size);
    selection.setBits(static_cast<int>(selected.size()), selected.begin());
    return selection;
}

} // namespace test
