/// \file
/// Sets of directions and of numbers that cover their range evenly.
#pragma once

#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvLinear {
struct Vector;
struct VectorFlt;
} // namespace qvLinear

namespace qvGeom {

/// Replaces `v` by a random direction of unit length. Draws from the process-wide `drand48`, three
/// numbers an attempt, so that `srand48` repeats a sequence; one thread at a time.
QVGEOM_API void randomUnitVector(qvLinear::Vector& v);

/// Replaces every element of `out`, whose size stays, by a random direction on the side that `axis`
/// points to.
QVGEOM_API void computeHemisphereVectors(const qvLinear::Vector& axis,
                                         std::vector<qvLinear::Vector>& out);

/// Maps the unit square to the unit sphere, equal areas to equal areas: `s` goes around z, `t` from
/// the pole at -z to that at +z.
QVGEOM_API void mapSphericalToUniformCartesian(float s, float t, qvLinear::VectorFlt& out);

/// The same to the cap of the sphere around +z that is `cap` high: 1 is a hemisphere. Here `t` goes
/// from the pole down.
QVGEOM_API void mapSphericalCapToUniformCartesian(float s, float t, float cap,
                                                  qvLinear::VectorFlt& out);

/// Takes a unit vector back to `t` of the sphere's mapping. `s` is the angle around z in radians,
/// plus 1 where that is negative: not the `s` of the mapping. Near the poles it is 0.
QVGEOM_API void mapUniformCartesianToSpherical(const qvLinear::VectorFlt& v, float& s, float& t);

/// The numbers below a power of two with their bits in reverse: any first few of them are spread
/// evenly.
class QVGEOM_API HammersleyPermutation2 {
public:
    /// Replaces the numbers by the 2^bits first. The arithmetic has 16 bits: from `bits` 16 on all
    /// numbers are 0. Below 0 or above 30 there are none.
    void calculate(int bits);

    int size() const { return numbers_.size(); }

    int operator[](int i) const { return numbers_[i]; }

private:
    Array<int> numbers_;
};

/// Numbers from 0 to 1, each with the digits of its index behind the point in reverse and permuted.
class QVGEOM_API ScrambledHammersleySequence {
public:
    /// Replaces the numbers by the `count` first in base 3, 5 or 7; no other base has any.
    void calculate(int base, int count);

    int getBase() const { return base_; }

    int size() const { return numbers_.size(); }

    float operator[](int i) const { return numbers_[i]; }

private:
    Array<float> numbers_;
    int base_ = 0;
};

} // namespace qvGeom
