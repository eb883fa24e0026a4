#!/usr/bin/env python3
"""Checks a shared object's strong symbols: check_exports.py <nm> <shared object>.

Each must belong to one of the library's namespaces. Weak symbols are left alone: they are
instantiations of standard templates, which every C++ library carries.
"""

import re
import subprocess
import sys

NAMESPACES = ["qv", "qvUtil", "qvOS", "qvString", "qvRTB", "qvLinear", "qvGeom"]
# Mangled, because there the namespace comes first whatever the return type: _ZN6qvGeom8meshAreaE...
# and the same after the marks of vtables (TV), typeinfo (TI, TS), guards (GV) and thunks (Th, Tv, Tc).
OWN = re.compile(
    r"_Z(T[VITS]|GV|T[hv][n\d_]+_|Tc([hv][n\d_]+_)+)?N[KVRO]*("
    + "|".join(f"{len(name)}{name}" for name in NAMESPACES)
    + ")"
)
WEAK = "wWvVu"
COMPANION = "__odr_asan."  # one for each variable, made by the address sanitizer


def strong_symbols(nm, library):
    listing = subprocess.run(
        [nm, "-D", "--defined-only", library], check=True, capture_output=True, text=True
    ).stdout
    fields = [line.split() for line in listing.splitlines()]
    return [name for _, kind, name in fields if kind not in WEAK and not name.startswith(COMPANION)]


def main():
    symbols = strong_symbols(*sys.argv[1:3])
    strays = [name for name in symbols if not OWN.match(name)]
    readable = subprocess.run(["c++filt", "--", *strays], check=True, capture_output=True, text=True)
    if strays:
        print(readable.stdout, end="")
    print(f"{len(strays)} strong symbols of {len(symbols)} outside the library's namespaces")
    if not symbols:
        sys.exit("the library exports nothing at all")
    sys.exit(1 if strays else 0)


if __name__ == "__main__":
    main()
