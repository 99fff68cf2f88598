option(PROC_LAUNCHER_HARDENING
  "Build with fortified libc calls, stack protector, PIE and full RELRO (release builds)" OFF)

if(PROC_LAUNCHER_HARDENING)
  if(CMAKE_BUILD_TYPE STREQUAL "Debug" OR CMAKE_BUILD_TYPE STREQUAL "")
    # Fortification only works on optimised code; without it the macro is silently useless.
    message(FATAL_ERROR "PROC_LAUNCHER_HARDENING needs an optimised build type, not '${CMAKE_BUILD_TYPE}'")
  endif()
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES C CXX)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong
    -Wformat=2 -Wformat-security)
  add_link_options(-Wl,-z,relro,-z,now)
endif()
