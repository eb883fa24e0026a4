#include "qvmesh/LayoutFacts.h"

#include <algorithm>
#include <cmath>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "qvmesh/Corners.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;
using qvLinear::Point;

Point inLayout(const CompactMesh& mesh, int triangle, int corner) {
    const qvGeom::MeshUV& uv = mesh.getUVs()[mesh.getTriangles()[triangle][corner]];
    return {uv.u, uv.v, 0};
}

template <class Place>
double angleAt(const CompactMesh& mesh, int triangle, int corner, Place place) {
    const Point tip = place(mesh, triangle, corner);
    return qvLinear::angle(place(mesh, triangle, (corner + 1) % 3) - tip,
                           place(mesh, triangle, (corner + 2) % 3) - tip);
}

} // namespace

double areaInLayout(const CompactMesh& mesh, int triangle) {
    return areaVector(mesh, triangle, inLayout).z / 2;
}

double areaOnSurface(const CompactMesh& mesh, int triangle) {
    return areaVector(mesh, triangle).length() / 2;
}

LayoutFacts::LayoutFacts(const CompactMesh& mesh) {
    int numClockwise = 0;
    int numCounterClockwise = 0;
    int numAngles = 0;
    double sum = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const double area = areaInLayout(mesh, t);
        coverage += std::abs(area);
        numClockwise += area < 0;
        numCounterClockwise += area > 0;
        for (int corner = 0; corner < 3 && areaOnSurface(mesh, t) > 0; ++corner) {
            const double error =
                std::abs(angleAt(mesh, t, corner, inLayout) - angleAt(mesh, t, corner, cornerOf));
            ++numAngles;
            sum += error;
            largestAngleError = std::max(largestAngleError, error);
        }
    }
    numFlippedTriangles = std::min(numClockwise, numCounterClockwise);
    meanAngleError = numAngles > 0 ? qvLinear::toDegrees(sum / numAngles) : 0;
    largestAngleError = qvLinear::toDegrees(largestAngleError);
}

Facts describe(const LayoutFacts& layout) {
    return {countFact("flippedTriangles", "flipped triangles", layout.numFlippedTriangles),
            realFact("meanAngleError", "mean angle error, degrees", layout.meanAngleError),
            realFact("largestAngleError", "largest angle error, degrees", layout.largestAngleError),
            realFact("coverage", "part of the unit square covered", layout.coverage)};
}

} // namespace qvmesh
