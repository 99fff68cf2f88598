# Warning set shared by every target of ours.
function(proc_launcher_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wformat=2 -Wformat-security -Wnull-dereference -Wold-style-cast)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # A logging helper that forwards a format without a printf attribute escapes format checking.
    target_compile_options(${target} PRIVATE -Wsuggest-attribute=format)
  endif()
  if(PROC_LAUNCHER_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Build flavours that apply to every target, the platform stand-ins and tests included, so that
# a sanitized or hardened daemon never loads an uninstrumented library of ours.
include(${CMAKE_CURRENT_LIST_DIR}/Sanitizers.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/Coverage.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/Hardening.cmake)
