#!/bin/sh
# build_by_pkg_config.sh <prefix> <build folder> <version> <compiler> <compiler flags>
# Builds and runs the program with nothing but what pkg-config says, also after the tree has moved.
set -eu
project=$(dirname "$0") prefix=$1 build=$2 version=$3 compiler=$4 flags=$5

rm -rf "$build"
mkdir -p "$build/moved"
cp -R "$prefix/." "$build/moved"

for root in "$prefix" "$build/moved"; do
    libDir=$(dirname "$(find "$root" -name qvgeom.pc)")/..
    export PKG_CONFIG_PATH="$libDir/pkgconfig"
    [ "$(pkg-config --modversion qvgeom)" = "$version" ]
    # shellcheck disable=SC2046,SC2086 # both are lists of words
    "$compiler" -std=c++20 $flags "$project/weld_two_triangles.cpp" \
        $(pkg-config --cflags --libs qvgeom) -o "$build/weld_two_triangles"
    LD_LIBRARY_PATH=$libDir "$build/weld_two_triangles"
done
