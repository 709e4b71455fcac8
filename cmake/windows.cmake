# The cross build: the real Win32 backend, vistrel.dll with its resources, the console host, and
# test programs that CTest runs under Wine in a prefix of this build tree.
enable_language(RC)
set(CMAKE_RC_FLAGS "${CMAKE_RC_FLAGS} -I${PROJECT_SOURCE_DIR}")

set(VISTREL_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
configure_file(${PROJECT_SOURCE_DIR}/scripts/wine-exec.in ${CMAKE_BINARY_DIR}/wine-exec @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_BINARY_DIR}/wine-exec)

# Real Win32 backend of the platform layer.
file(GLOB VISTREL_WIN32_SOURCES CONFIGURE_DEPENDS platform/win32/*.cpp)
add_library(vistrel_win32 STATIC ${VISTREL_WIN32_SOURCES})
vistrel_target(vistrel_win32)
target_link_libraries(vistrel_win32 PUBLIC vistrel_core shlwapi shell32 ole32 oleaut32 uuid version
    advapi32 user32 gdi32 comctl32)

# The helper process that runs writes with raised rights, and the plug-in's way to it.
add_library(vistrel_elevation STATIC libs/talelev/win32/pipe_frames.cpp
    libs/talelev/win32/elevator_client.cpp)
vistrel_target(vistrel_elevation)
target_link_libraries(vistrel_elevation PUBLIC vistrel_win32 bcrypt)
add_executable(vistrel-elevator WIN32 libs/talelev/win32/elevator_main.cpp)
vistrel_target(vistrel-elevator)
target_link_libraries(vistrel-elevator PRIVATE vistrel_elevation)
target_link_options(vistrel-elevator PRIVATE -municode)

# The page's Win32 view and the Win32 parts of the console.
file(GLOB_RECURSE VISTREL_UI_SOURCES CONFIGURE_DEPENDS console/win32/*.cpp)
add_library(vistrel_ui STATIC ${VISTREL_UI_SOURCES})
vistrel_target(vistrel_ui)
target_link_libraries(vistrel_ui PUBLIC vistrel_win32)

# vistrel.dll: the export, the DLL entry and the resources. The .def file keeps the export
# table to process_data alone.
file(GLOB VISTREL_DLL_SOURCES CONFIGURE_DEPENDS frame/win32/*.cpp frame/win32/*.rc)
add_library(vistrel SHARED ${VISTREL_DLL_SOURCES} ${PROJECT_SOURCE_DIR}/frame/win32/vistrel.def)
vistrel_target(vistrel)
set_target_properties(vistrel PROPERTIES PREFIX "" OUTPUT_NAME vistrel)
target_link_libraries(vistrel PRIVATE -Wl,--whole-archive vistrel_ui -Wl,--no-whole-archive
    vistrel_elevation vistrel_win32 vistrel_core)

# The console host.
file(GLOB VISTREL_HOST_SOURCES CONFIGURE_DEPENDS host/*.cpp host/*.rc)
if(VISTREL_HOST_SOURCES)
    add_executable(vistrel-host WIN32 ${VISTREL_HOST_SOURCES})
    vistrel_target(vistrel-host)
    target_link_libraries(vistrel-host PRIVATE user32 gdi32 comctl32)
    target_link_options(vistrel-host PRIVATE -municode)
endif()

# vistrel-scan.exe: the live scan of the machine it runs on.
add_executable(vistrel-scan scanner/win32/scan_main.cpp)
vistrel_target(vistrel-scan)
target_link_libraries(vistrel-scan PRIVATE vistrel_scanner vistrel_win32)

# The install folder: the DLL, the language file, the host and the scanner, ready to run.
set(VISTREL_DIST ${CMAKE_BINARY_DIR}/dist)
add_custom_target(dist ALL
    COMMAND ${CMAKE_COMMAND} -E make_directory ${VISTREL_DIST}/Lang
    COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:vistrel> ${VISTREL_DIST}/
    COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:vistrel-elevator> ${VISTREL_DIST}/
    COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:vistrel-scan> ${VISTREL_DIST}/
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${PROJECT_SOURCE_DIR}/lang/l_vistrel.ini
            ${VISTREL_DIST}/Lang/
    DEPENDS vistrel vistrel-elevator vistrel-scan)
if(TARGET vistrel-host)
    add_custom_command(TARGET dist POST_BUILD
        COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:vistrel-host> ${VISTREL_DIST}/)
endif()

enable_testing()

# The shared suites (unit tests and the contract suite on both backends) under Wine.
add_executable(vistrel_tests ${VISTREL_TEST_SOURCES})
vistrel_target(vistrel_tests)
target_compile_definitions(vistrel_tests PRIVATE VISTREL_HAS_WIN32_BACKEND=1)
target_link_libraries(vistrel_tests PRIVATE vistrel_scanner vistrel_memory vistrel_win32 gmock
    gtest)
add_test(NAME wine_unit_and_contract COMMAND vistrel_tests)

# Tests that only make sense on Windows: the DLL as a host loads it, the page, the editor.
file(GLOB_RECURSE VISTREL_WINE_TEST_SOURCES CONFIGURE_DEPENDS tests/wine/*.cpp tests/support/win32/*.cpp)
if(VISTREL_WINE_TEST_SOURCES)
    add_executable(vistrel_wine_tests ${VISTREL_WINE_TEST_SOURCES})
    vistrel_target(vistrel_wine_tests)
    target_link_libraries(vistrel_wine_tests PRIVATE vistrel_scanner vistrel_memory vistrel_elevation
        gmock gtest)
    add_dependencies(vistrel_wine_tests dist vistrel-elevator)
    target_compile_definitions(vistrel_wine_tests PRIVATE
        VISTREL_DIST_DIR="${VISTREL_DIST}" VISTREL_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    # The page runs through the hosted DLL take a few seconds each under Wine, so the program runs
    # in shards, each under its own time limit; one at a time, as they share the real registry.
    set(VISTREL_WINE_SHARDS 4)
    math(EXPR last_shard "${VISTREL_WINE_SHARDS} - 1")
    foreach(shard RANGE ${last_shard})
        add_test(NAME wine_windows_only_${shard} COMMAND vistrel_wine_tests)
        set_tests_properties(wine_windows_only_${shard} PROPERTIES RUN_SERIAL TRUE TIMEOUT 150
            ENVIRONMENT "GTEST_TOTAL_SHARDS=${VISTREL_WINE_SHARDS};GTEST_SHARD_INDEX=${shard}")
    endforeach()
endif()

# --- Platform backend tests: a DLL that holds only a version resource, which the contract suite
# reads with the system's version library and compares with the in-memory block reader; and
# string resources of the Windows-only test program for the test of the string lookup.
add_library(version_probe SHARED tests/support/version_probe/version_probe.c
    tests/support/version_probe/version_probe.rc)
set_target_properties(version_probe PROPERTIES PREFIX "" OUTPUT_NAME version_probe)
add_dependencies(vistrel_tests version_probe)
target_compile_definitions(vistrel_tests PRIVATE
    VISTREL_VERSION_PROBE_DLL="$<TARGET_FILE:version_probe>")
if(TARGET vistrel_wine_tests)
    target_sources(vistrel_wine_tests PRIVATE tests/wine/platform_strings.rc)
endif()

# Benchmarks run by hand under Wine (`make bench-wine`), not tests: real registry reads against
# a bare Win32 baseline in the same run.
file(GLOB VISTREL_WINE_BENCH_SOURCES CONFIGURE_DEPENDS tests/bench/win32/*.cpp)
if(VISTREL_WINE_BENCH_SOURCES)
    add_executable(vistrel_wine_bench ${VISTREL_WINE_BENCH_SOURCES})
    vistrel_target(vistrel_wine_bench)
    target_link_libraries(vistrel_wine_bench PRIVATE vistrel_win32)
endif()
