# Warnings and sanitizers for everything that is built here.
add_compile_options(-Wall -Wextra -Wconversion -Wshadow)
if(QOR_WERROR)
  add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # Locks say what they guard (internal/Mutex.h); clang checks it.
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety;-Wzero-as-null-pointer-constant;-Wsuggest-override>")
endif()
if(QOR_SANITIZE)
  # -g1: line numbers for the reports, without the time that whole debug information takes
  add_compile_options(-fsanitize=${QOR_SANITIZE} -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${QOR_SANITIZE})
  if(QOR_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
if(QOR_BUILD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)  # everything counts its branches, for the fuzzer to follow
endif()
