namespace qvGeom {

int ownFunction() { return 0; }

} // namespace qvGeom

namespace qvStray {

int strayVariable = 0;

} // namespace qvStray

int strayFunction() { return 0; }
