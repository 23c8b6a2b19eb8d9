# Compiler warnings and sanitizers as an interface target that every voltrace target links.
add_library(voltrace_build_flags INTERFACE)
target_compile_options(voltrace_build_flags INTERFACE -Wall -Wextra -Wpedantic)
if(VOLTRACE_WERROR)
  target_compile_options(voltrace_build_flags INTERFACE -Werror)
  # GCC 12's flow-based warnings report impossible accesses inside inlined standard-library code
  # at -O2 and -O3 (std::string concatenation, small vectors behind a size test). They stay
  # visible as warnings but do not fail the build.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(voltrace_build_flags INTERFACE
      -Wno-error=restrict -Wno-error=array-bounds -Wno-error=stringop-overflow
      -Wno-error=free-nonheap-object -Wno-error=mismatched-new-delete
      # std::regex's std::function members under -O2 with the sanitizers.
      -Wno-error=maybe-uninitialized)
  endif()
endif()
if(VOLTRACE_SANITIZE)
  target_compile_options(voltrace_build_flags INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(voltrace_build_flags INTERFACE -fsanitize=address,undefined)
endif()
if(VOLTRACE_TSAN)
  target_compile_options(voltrace_build_flags INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(voltrace_build_flags INTERFACE -fsanitize=thread)
endif()
