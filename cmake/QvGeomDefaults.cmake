# Choices that belong to a build of this project alone, not to one that embeds it.
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, Debug or RelWithDebInfo" FORCE)
endif()

if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
    find_program(QVGEOM_CCACHE ccache)
    mark_as_advanced(QVGEOM_CCACHE)
    if(QVGEOM_CCACHE)
        set(CMAKE_CXX_COMPILER_LAUNCHER ${QVGEOM_CCACHE})
    endif()
endif()

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
