# `cpack` in a build directory makes one .deb of the installed files for that build's target
# architecture. The platform's own libraries are the board's, not Debian packages, so they are
# not listed as dependencies.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME proc-launcher)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "Launcher of the platform's application group, with fault reporting and OS memory watch")
set(CPACK_PACKAGE_DESCRIPTION
  "Starts the group-owner service, turns application state changes and OS memory shortage into sensor node faults at the device HAL, and ships libprocmgr_common for other programs of the platform.")
set(CPACK_PACKAGE_CONTACT "proc_launcher maintainers <proc-launcher@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Written out rather than derived by dpkg-shlibdeps, which cannot read a cross build's binaries.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1, libstdc++6 (>= 12)")
# Enable the unit for the next boot, stop it before removal, and refresh the linker cache.
set(deb_scripts ${PROJECT_SOURCE_DIR}/packaging/deb)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${deb_scripts}/postinst ${deb_scripts}/prerm ${deb_scripts}/postrm ${deb_scripts}/triggers)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
else()
  message(FATAL_ERROR "No Debian architecture known for ${CMAKE_SYSTEM_PROCESSOR}")
endif()

include(CPack)
