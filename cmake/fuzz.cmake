# Fuzz harnesses (tests/fuzz/*_fuzz.cpp), each a LLVMFuzzerTestOneInput over untrusted bytes.
# - With VISTREL_FUZZ (a clang tree made by `make fuzz`): one libFuzzer program per harness, with
#   the address and undefined-behaviour sanitizers, collected under the target `fuzzers`.
# - Otherwise: a replay program per harness that runs the checked-in corpus once, under the same
#   sanitizers, as an ordinary test, so that a crash once found and fixed stays fixed.
file(GLOB VISTREL_FUZZ_HARNESSES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/fuzz/*_fuzz.cpp)
set(VISTREL_FUZZ_SANITIZERS -fsanitize=address,undefined -fno-sanitize-recover=undefined)

if(VISTREL_FUZZ)
    add_custom_target(fuzzers)
    foreach(harness ${VISTREL_FUZZ_HARNESSES})
        get_filename_component(name ${harness} NAME_WE)
        add_executable(${name} ${harness})
        vistrel_target(${name})
        target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
        target_link_libraries(${name} PRIVATE vistrel_memory)
        add_dependencies(fuzzers ${name})
    endforeach()
    return()
endif()

if(VISTREL_TSAN)
    return()
endif()

# The tree's own libraries are sanitized already in the sanitizer tree; elsewhere the replay gets
# a sanitized copy of them.
if(VISTREL_SANITIZE)
    set(VISTREL_REPLAY_LIBS vistrel_memory)
else()
    add_library(vistrel_replay_libs STATIC ${VISTREL_CORE_SOURCES} ${VISTREL_MEMORY_SOURCES})
    vistrel_target(vistrel_replay_libs)
    target_compile_options(vistrel_replay_libs PUBLIC ${VISTREL_FUZZ_SANITIZERS})
    target_link_options(vistrel_replay_libs PUBLIC ${VISTREL_FUZZ_SANITIZERS})
    target_link_libraries(vistrel_replay_libs PUBLIC Threads::Threads)
    set(VISTREL_REPLAY_LIBS vistrel_replay_libs)
endif()

foreach(harness ${VISTREL_FUZZ_HARNESSES})
    get_filename_component(name ${harness} NAME_WE)
    add_executable(${name}_replay ${harness} ${PROJECT_SOURCE_DIR}/tests/fuzz/replay_main.cpp)
    vistrel_target(${name}_replay)
    target_link_libraries(${name}_replay PRIVATE ${VISTREL_REPLAY_LIBS})
    add_test(NAME ${name}_corpus
        COMMAND ${name}_replay ${PROJECT_SOURCE_DIR}/tests/fuzz/corpus/${name})
    set_tests_properties(${name}_corpus PROPERTIES
        ENVIRONMENT "ASAN_OPTIONS=detect_leaks=1;UBSAN_OPTIONS=print_stacktrace=1")
endforeach()
