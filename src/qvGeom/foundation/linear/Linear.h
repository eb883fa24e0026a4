/// \file
/// All of `qvLinear`.
#pragma once

#include "qvGeom/foundation/linear/AffineMatrix.h"
#include "qvGeom/foundation/linear/Angle.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Intersect.h"
#include "qvGeom/foundation/linear/Line.h"
#include "qvGeom/foundation/linear/Normal.h"
#include "qvGeom/foundation/linear/Plane.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/foundation/linear/Point2.h"
#include "qvGeom/foundation/linear/Polyline2d.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"
#include "qvGeom/foundation/linear/Range.h"
#include "qvGeom/foundation/linear/Tolerances.h"
#include "qvGeom/foundation/linear/Vector.h"
