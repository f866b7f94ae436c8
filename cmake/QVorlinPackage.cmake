# CMake package and pkg-config files of the installed tree.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QVorlin)
configure_package_config_file(cmake/QVorlinConfig.cmake.in QVorlinConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(QVorlinConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QVorlinConfig.cmake
    ${PROJECT_BINARY_DIR}/QVorlinConfigVersion.cmake
    DESTINATION ${package_dir})
install(EXPORT QVorlinTargets NAMESPACE QVorlin:: DESTINATION ${package_dir})

# One .pc file a library; the installed prefix is found relative to the file itself, so that the
# tree can be moved.
file(RELATIVE_PATH pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
function(qvorlin_install_pc name library description requires requires_private)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
qvorlin_install_pc(qvorlin qvorlin "${PROJECT_DESCRIPTION}"
    "Qt5Core Qt5Gui Qt5Widgets Qt5Multimedia qvorlin-shm" "libdrm")
qvorlin_install_pc(qvorlin-shm qvorlin-shm "Media streams in shared memory: reader and writer" "" "")
qvorlin_install_pc(qvorlin-logger qvorlin-logger "Logging to the system log and standard output" "" "")
qvorlin_install_pc(qvorlin-sysinfo qvorlin-sysinfo "System information shared by all processes" "" "")
