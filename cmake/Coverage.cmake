option(PROC_LAUNCHER_COVERAGE "Instrument every target for gcov line and branch coverage" OFF)

if(PROC_LAUNCHER_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    message(FATAL_ERROR "Coverage builds use gcov and need GCC")
  endif()
  # Atomic counters: the daemon's state-change handler and main loop run on different threads.
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
