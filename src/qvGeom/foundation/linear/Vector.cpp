#include "qvGeom/foundation/linear/Vector.h"

namespace qvLinear {

bool normalizeExtreme(Vector& v) {
    const double largest = maxNorm(v);
    const bool isFinite = std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
    if (!isFinite || largest == 0.0)
        return false;
    const int exponent = std::ilogb(largest); // powers of two lose no digits
    Vector scaled{std::scalbn(v.x, -exponent), std::scalbn(v.y, -exponent),
                  std::scalbn(v.z, -exponent)};
    if (!scaled.normalize())
        return false;
    v = scaled;
    return true;
}

} // namespace qvLinear
