"""Gives the layer check small source trees with one fault each."""

import tempfile
import unittest
from pathlib import Path

from check_layers import check

# file, its text, part of the fault expected (None: clean)
CASES = [
    ("topology/GeomArea.cpp", "#include <vector>", None),
    ("topology/GeomArea.cpp", '#include "qvGeom/Export.h"', None),
    ("topology/GeomArea.cpp", '#include "qvGeom/topology/GeomBoundary.h"', None),
    ("topology/GeomArea.cpp", '#include "qvGeom/topology/detail/Walk.h"', None),
    ("topology/detail/Walk.h", '#include "qvGeom/topology/detail/Step.h"', None),
    ("topology/detail/Walk.h", '#include "qvGeom/foundation/base/internal/Slices.h"', None),
    ("view/GeomClip.h", '#include "qvGeom/foundation/cache/MeshCache.h"', None),
    ("topology/GeomOrientation.cpp", '#include "qvGeom/editing/GeomSelection.h"', None),
    ("topology/GeomArea.cpp", '#include "qvGeom/editing/GeomSelection.h"', "points up"),
    ("topology/GeomOrientation.cpp", '#include "qvGeom/editing/GeomVertexWeld.h"', "points up"),
    ("editing/GeomSelection.cpp", '\n #  include "qvGeom/spatial/GeomOctree.h"', ":2: "),
    ("foundation/base/Signal.h", '#include "qvGeom/foundation/linear/Point.h"', "points up"),
    ("editing/A.cpp", '#include "qvGeom/foundation/cache/MeshCache.h"', "points up"),
    ("editing/A.cpp", '#include "qvGeom/topology/detail/Walk.h"', "is private"),
    ("topology/GeomArea.h", '#include "qvGeom/topology/detail/Walk.h"', "is not installed"),
    ("topology/GeomArea.cpp", '#include "qvGeom/planar/internal/Lanes.h"', "points up"),
    ("topology/GeomArea.h", '#include "qvGeom/topology/internal/Lanes.h"', "is not installed"),
    ("topology/GeomArea.cpp", '#include "GeomArea.h"', "is not written from qvGeom/"),
    ("topology/GeomArea.cpp", '#include "qvGeom/misc/A.h"', "has no place"),
    ("misc/A.h", "", "has no place"),
    ("topology/GeomArea.cpp", "#include <boost/any.hpp>", "is neither"),
    ("io/A.h", '#include "qvGeom/io/A.h"', "include each other"),
]


class CheckLayers(unittest.TestCase):
    def test_finds_each_fault_and_no_other(self):
        for name, text, expected in CASES:
            with self.subTest(file=name, text=text), tempfile.TemporaryDirectory() as source:
                path = Path(source, "qvGeom", name)
                path.parent.mkdir(parents=True)
                path.write_text(text + "\n")
                faults, num_files = check(source)
                self.assertEqual(num_files, 1)
                self.assertEqual(len(faults), 0 if expected is None else 1, faults)
                self.assertTrue(expected is None or expected in faults[0], faults)


if __name__ == "__main__":
    unittest.main()
