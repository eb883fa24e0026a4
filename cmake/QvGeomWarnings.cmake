# The warnings our own targets are compiled with. Linked privately, never exported.
add_library(qvGeom_warnings INTERFACE)
target_compile_options(qvGeom_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2
    $<$<BOOL:${QVGEOM_WERROR}>:-Werror>)
