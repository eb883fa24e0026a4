#include <CLI/CLI.hpp>
#include <algorithm>
#include <deque>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomIntersect.h"

#include "qvmesh/Command.h"
#include "qvmesh/Crossings.h"
#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/MeshFile.h"
#include "qvmesh/NumberList.h"
#include "qvmesh/OutputFile.h"
#include "qvmesh/SearchTree.h"
#include "qvmesh/formats/Formats.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;
using Records = std::deque<qvGeom::MeshIntersectPair>;

/// The map that the text stands for: a shift, or the rows of a matrix of three or four rows by four
/// columns that maps columns (x, y, z, 1). Throws Failure.
qvLinear::AffineMatrix toTransform(const std::string& text) {
    constexpr double kLastRow[] = {0, 0, 0, 1};
    const std::vector<double> numbers = toNumbers("--transform", text);
    const std::size_t count = numbers.size();
    const bool isMatrix = count == 12 || count == 16;
    if (count != 3 && !isMatrix)
        throw Failure("--transform: takes 3, 12 or 16 numbers, not " + std::to_string(count));
    if (count == 16 && !std::equal(numbers.begin() + 12, numbers.end(), kLastRow))
        throw Failure("--transform: the last row of a 4x4 matrix must be 0 0 0 1");
    qvLinear::AffineMatrix map;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; isMatrix && column < 3; ++column)
            map.m[column][row] = numbers[4 * row + column];
        map.m[3][row] = isMatrix ? numbers[4 * row + 3] : numbers[row];
    }
    return map;
}

class Intersect final : public Command {
public:
    Intersect()
        : Command(
              "intersect", "Find where the triangles of a mesh, or of two, cross each other",
              "  qvmesh intersect scan.stl\n"
              "  qvmesh intersect scan.stl -o segments.obj\n"
              "  qvmesh intersect part.ply other.ply --transform \"0 0 12.5\" -o segments.ply\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        CLI::Option* const other = other_.declare(app, "other")->required(false);
        app.add_option("--transform", transform_,
                       "Where the other mesh is placed, in quotes: 3 numbers, a shift; or the 12 "
                       "of a 3x4 or the 16 of a 4x4 matrix, row by row, the shift in the last "
                       "column")
            ->type_name("NUMBERS")
            ->needs(other);
        output_.declare(app, "File of line segments", {"obj", "ply"});
    }

    void run(Job& job) override {
        const qvLinear::AffineMatrix transform = toTransform(transform_);
        output_.keepApartFrom(input_.path());
        output_.keepApartFrom(other_.path());
        output_.prepare(job);
        job.report().setFiles(input_.path(), output_.path(), other_.path());

        CompactMesh mesh;
        input_.read(job, 0.2, mesh);
        const Crossings found =
            other_.path().empty() ? crossItself(mesh, job, 0.7) : crossOther(mesh, transform, job);
        job.report().add(describe(found));
        output_.write(job, 0.1, [&](const OutputFile& file) {
            file.write(output_.extension() == "obj" ? writeObjSegments(found.segments)
                                                    : writePlySegments(found.segments));
        });
    }

private:
    /// Takes 0.7 of the whole.
    Crossings crossOther(const CompactMesh& mesh, const qvLinear::AffineMatrix& transform,
                         Job& job) const {
        CompactMesh other;
        other_.read(job, 0.2, other);
        const SearchTree tree(mesh, job, 0.1);
        const SearchTree otherTree(other, job, 0.1);
        Records records;
        Records otherRecords;
        job.stage("intersect", 0.3, [&](qvUtil::Progress& progress) {
            qvGeom::MeshIntersect(mesh, tree.octree(), tree.tris())
                .intersect(other, otherTree.octree(), otherTree.tris(), transform, progress,
                           records, otherRecords);
        });
        Crossings found(mesh, records, 1);
        found.numOtherTriangles = trianglesOf(other, otherRecords).numSetBits();
        return found;
    }

    InputMesh input_;
    InputMesh other_;
    std::string transform_ = "0 0 0";
    OutputOption output_;
};

Intersect intersect;

} // namespace
} // namespace qvmesh
