# The native vistrel-scan: the offline scan of a mounted Windows folder when the offline machine
# is built (included after it), else a program that says offline analysis is missing. The
# language file goes beside it as in the install folder.
if(TARGET vistrel_offline)
    add_executable(vistrel-scan scanner/scan_main.cpp scanner/offline_door.cpp)
    target_link_libraries(vistrel-scan PRIVATE vistrel_offline)
else()
    add_executable(vistrel-scan scanner/scan_main.cpp scanner/offline_door_missing.cpp)
endif()
vistrel_target(vistrel-scan)
target_link_libraries(vistrel-scan PRIVATE vistrel_scanner vistrel_memory)
add_custom_command(TARGET vistrel-scan POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E make_directory $<TARGET_FILE_DIR:vistrel-scan>/Lang
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${PROJECT_SOURCE_DIR}/lang/l_vistrel.ini
            $<TARGET_FILE_DIR:vistrel-scan>/Lang/)
