# What `cmake --install` puts into a prefix: the daemon with its manual page, libprocmgr_common.so
# with its header, a CMake package (find_package(procmgr_common) -> procmgr_common::procmgr_common),
# a pkg-config file and the systemd unit. The platform stand-ins go only where asked for, with
# `cmake --install <build> --component platform_sim`.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(PROC_LAUNCHER_SYSTEMD_UNIT_DIR "lib/systemd/system" CACHE STRING
  "Directory of the systemd unit, relative to the install prefix or absolute")
set(procmgr_common_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/procmgr_common)

# A system daemon, run by systemd rather than by users.
install(TARGETS proc_launcher RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/docs/proc_launcher.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)

# The package is written by hand rather than exported: an export would also have to carry the
# platform libraries that the library links, which are the board's and not ours to ship.
install(TARGETS procmgr_common_shared LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/procmgr_common/procmgr_common.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/procmgr_common)
# The library's header includes the messaging declarations, so they travel with it.
install(FILES ${PROJECT_SOURCE_DIR}/platform/easy_comm.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/platform)

set(PROCMGR_COMMON_LIBRARY
  ${CMAKE_INSTALL_LIBDIR}/${CMAKE_SHARED_LIBRARY_PREFIX}procmgr_common${CMAKE_SHARED_LIBRARY_SUFFIX})
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/procmgr_common-config.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/procmgr_common-config.cmake
  INSTALL_DESTINATION ${procmgr_common_cmake_dir}
  PATH_VARS PROCMGR_COMMON_LIBRARY CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/procmgr_common-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/packaging/procmgr_common-config.cmake
  ${PROJECT_BINARY_DIR}/packaging/procmgr_common-config-version.cmake
  DESTINATION ${procmgr_common_cmake_dir})

# The .pc file finds its prefix from where it lies, so the same file serves every prefix.
file(RELATIVE_PATH PROCMGR_COMMON_PC_TO_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/packaging/procmgr_common.pc.in
  ${PROJECT_BINARY_DIR}/packaging/procmgr_common.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/procmgr_common.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The unit names the daemon by its absolute path, known only when installing (--prefix).
set(unit_file ${PROJECT_BINARY_DIR}/packaging/proc_launcher.service)
install(CODE "
  set(sbindir \"${CMAKE_INSTALL_SBINDIR}\")
  cmake_path(ABSOLUTE_PATH sbindir BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
  set(PROC_LAUNCHER_EXECUTABLE \"\${sbindir}/$<TARGET_FILE_NAME:proc_launcher>\")
  configure_file(\"${PROJECT_SOURCE_DIR}/packaging/proc_launcher.service.in\" \"${unit_file}\" @ONLY)")
install(FILES ${unit_file} DESTINATION ${PROC_LAUNCHER_SYSTEMD_UNIT_DIR})

if(PROC_LAUNCHER_PLATFORM STREQUAL "sim")
  install(TARGETS platform_sim sim_group_owner sim_hal sim_easy_comm sim_bounded_string
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT platform_sim EXCLUDE_FROM_ALL)
endif()
