# Warning set shared by every target of ours.
function(proc_launcher_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wformat=2 -Wformat-security -Wnull-dereference -Wold-style-cast)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # The log macros rely on the GNU comma swallowing of ##__VA_ARGS__, which GCC accepts under -Wpedantic.
    target_compile_options(${target} PRIVATE -Wno-gnu-zero-variadic-macro-arguments)
  endif()
  if(PROC_LAUNCHER_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
