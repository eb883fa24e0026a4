include(GoogleTest)

# qvgeom_add_tests(<folder> <source>...) makes the executable qvGeom_<folder>_tests and registers
# each of its tests with ctest under the label <folder>. Without sources it does nothing.
function(qvgeom_add_tests folder)
    if(NOT ARGN)
        return()
    endif()
    set(target qvGeom_${folder}_tests)
    add_executable(${target} ${ARGN})
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    target_compile_definitions(${target} PRIVATE QVGEOM_TEST_DATA="${PROJECT_SOURCE_DIR}/data")
    target_compile_options(${target} PRIVATE -ffp-contract=off
        $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>)
    target_link_libraries(${target} PRIVATE
        qvGeom::qvGeom qvGeom_test_support qvGeom_warnings GTest::gtest_main)
    gtest_discover_tests(${target}
        TEST_PREFIX ${folder}. DISCOVERY_MODE PRE_TEST
        PROPERTIES LABELS ${folder} TIMEOUT 300)
endfunction()
