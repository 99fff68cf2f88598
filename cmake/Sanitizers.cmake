set(PROC_LAUNCHER_SANITIZERS "" CACHE STRING
  "Sanitizers to build with, as a list: address;undefined or thread (empty: none)")

if(PROC_LAUNCHER_SANITIZERS)
  if("thread" IN_LIST PROC_LAUNCHER_SANITIZERS AND "address" IN_LIST PROC_LAUNCHER_SANITIZERS)
    message(FATAL_ERROR "ThreadSanitizer cannot be combined with AddressSanitizer")
  endif()
  list(JOIN PROC_LAUNCHER_SANITIZERS "," sanitizer_list)
  # Stop at the first report: a run that goes on after one only buries it.
  add_compile_options(-fsanitize=${sanitizer_list} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${sanitizer_list})
endif()
