# The offline machine (a mounted Windows folder read through its hive files) and its tests: a
# native-only backend, since it needs the hive library.
find_package(PkgConfig REQUIRED)
pkg_check_modules(HIVEX REQUIRED IMPORTED_TARGET hivex)

file(GLOB VISTREL_OFFLINE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/platform/offline/*.cpp)
add_library(vistrel_offline STATIC ${VISTREL_OFFLINE_SOURCES})
vistrel_target(vistrel_offline)
target_link_libraries(vistrel_offline PUBLIC vistrel_core PkgConfig::HIVEX)

file(GLOB VISTREL_OFFLINE_TEST_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/offline/*.cpp)
if(VISTREL_OFFLINE_TEST_SOURCES)
    add_executable(vistrel_offline_tests ${VISTREL_OFFLINE_TEST_SOURCES}
        ${PROJECT_SOURCE_DIR}/tests/support/test_main.cpp
        ${PROJECT_SOURCE_DIR}/tests/support/pe_image_builder.cpp
        ${PROJECT_SOURCE_DIR}/tests/support/version_block_builder.cpp)
    vistrel_target(vistrel_offline_tests)
    target_link_libraries(vistrel_offline_tests PRIVATE vistrel_offline vistrel_memory gmock gtest)
    add_test(NAME offline_machine COMMAND vistrel_offline_tests)
    set_tests_properties(offline_machine PROPERTIES TIMEOUT 180)
endif()

# Not a test: reports the offline registry's walk against a bare walk with the hive library.
if(EXISTS ${PROJECT_SOURCE_DIR}/tests/bench/offline/offline_walk_bench.cpp)
    add_executable(vistrel_offline_bench ${PROJECT_SOURCE_DIR}/tests/bench/offline/offline_walk_bench.cpp
        ${PROJECT_SOURCE_DIR}/tests/bench/offline/synthetic_hive.cpp)
    target_include_directories(vistrel_offline_bench PRIVATE ${HIVEX_INCLUDE_DIRS})
    vistrel_target(vistrel_offline_bench)
    target_link_libraries(vistrel_offline_bench PRIVATE vistrel_offline vistrel_memory)
endif()
