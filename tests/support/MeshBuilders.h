/// \file
/// Small meshes and large ones with known facts, for tests and benchmarks.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"

namespace test {

qvGeom::CompactMesh meshOf(const std::vector<qvGeom::MeshVertex>& vertices,
                           const std::vector<qvGeom::MeshTriangle>& triangles);

/// Vertices (0, 0, 0) to (count - 1, 0, 0), no triangles.
qvGeom::CompactMesh pointsAlongX(int count);

/// columns x rows unit squares in the plane z = 0, two triangles each, row by row.
qvGeom::CompactMesh grid(int columns, int rows);

/// The same grid bent into a wavy surface, with about `triangles` triangles.
qvGeom::CompactMesh wavySurface(int triangles);

/// `triangles` triangles around vertex 0, counter-clockwise; an open fan has one vertex more.
qvGeom::CompactMesh closedFan(int triangles);
qvGeom::CompactMesh openFan(int triangles);

/// A zigzag of `triangles` triangles, all wound the same way.
qvGeom::CompactMesh strip(int triangles);

/// A closed unit sphere: two poles, `rings` circles of `segments` vertices.
qvGeom::CompactMesh sphere(int rings, int segments);

/// A closed torus of 2 * around * across triangles.
qvGeom::CompactMesh torus(int around, int across);

/// Two triangles that share one vertex.
qvGeom::CompactMesh bowTie();

/// Every triangle of `mesh` with three vertices of its own, in triangle order; normals and UVs
/// are carried along.
qvGeom::CompactMesh soupOf(const qvGeom::CompactMesh& mesh);

/// The same surface with its vertices and its triangles in random order.
qvGeom::CompactMesh shuffled(const qvGeom::CompactMesh& mesh, std::uint32_t seed);

/// The mesh without the triangles from `first` on, `count` of them.
qvGeom::CompactMesh without(qvGeom::CompactMesh mesh, int first, int count);

/// Both in one: the second's vertices and triangles come after the first's.
qvGeom::CompactMesh joined(qvGeom::CompactMesh mesh, const qvGeom::CompactMesh& other);

/// Random triangles over random vertices: degenerate ones, duplicates and unused vertices occur.
qvGeom::CompactMesh randomMesh(std::uint32_t seed, int vertices, int triangles);

qvGeom::BitVector selectionOf(int size, std::initializer_list<int> selected);

} // namespace test
