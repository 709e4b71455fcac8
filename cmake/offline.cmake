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
    target_link_libraries(vistrel_offline_tests PRIVATE vistrel_offline vistrel_scanner vistrel_memory
        gmock gtest)
    # The recorded scans run the native vistrel-scan (defined after this file) on their images.
    target_compile_definitions(vistrel_offline_tests PRIVATE VISTREL_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
        VISTREL_SCAN_PROGRAM="$<TARGET_FILE:vistrel-scan>")
    add_dependencies(vistrel_offline_tests vistrel-scan)
    # A real DLL with a version resource, made by the cross tool chain's compiler, resource
    # compiler and linker, goes into every recorded image as C:\Windows\System32\version_probe.dll.
    find_program(VISTREL_MINGW_CC x86_64-w64-mingw32-gcc-posix REQUIRED)
    find_program(VISTREL_MINGW_WINDRES x86_64-w64-mingw32-windres REQUIRED)
    set(probe_dir ${PROJECT_SOURCE_DIR}/tests/support/version_probe)
    set(probe_dll ${CMAKE_BINARY_DIR}/probe/version_probe.dll)
    add_custom_command(OUTPUT ${probe_dll}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/probe
        COMMAND ${VISTREL_MINGW_WINDRES} ${probe_dir}/version_probe.rc -O coff
                -o ${CMAKE_BINARY_DIR}/probe/version_probe.res.o
        COMMAND ${VISTREL_MINGW_CC} -shared -o ${probe_dll} ${probe_dir}/version_probe.c
                ${CMAKE_BINARY_DIR}/probe/version_probe.res.o
        DEPENDS ${probe_dir}/version_probe.rc ${probe_dir}/version_probe.c VERBATIM)
    add_custom_target(vistrel_offline_probe DEPENDS ${probe_dll})
    add_dependencies(vistrel_offline_tests vistrel_offline_probe)
    target_compile_definitions(vistrel_offline_tests PRIVATE VISTREL_PROBE_DLL="${probe_dll}")
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
