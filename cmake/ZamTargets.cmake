# What every target of the project is compiled with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(zam_warnings INTERFACE)
target_compile_options(zam_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlapping copies in the standard library's own strings where there are none (its bug 105651).
  target_compile_options(zam_warnings INTERFACE -Wno-restrict)
endif()

# What makes mistakes harder to use; scripts/check-hardening looks whether it is there. Fortified functions of the C
# library need optimisation, and sanitizers look closer themselves.
#
# Of the processor's protection of control flow only branches are marked: an exception that comes out of a fault leaves
# the stack of the signal by another way than shadow stacks allow, so the library must not claim to bear them.
option(ZAM_HARDEN "Build with what makes mistakes harder to use" ON)
add_library(zam_hardening INTERFACE)
if(ZAM_HARDEN AND NOT ZAM_SANITIZE)
  target_compile_options(zam_hardening INTERFACE -fstack-protector-strong -fstack-clash-protection
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    target_compile_options(zam_hardening INTERFACE -fcf-protection=branch)
  endif()
  target_link_options(zam_hardening INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
endif()

add_library(zam_build_options INTERFACE)
target_link_libraries(zam_build_options INTERFACE zam_warnings zam_hardening)
if(ZAM_SANITIZE)
  target_compile_options(zam_build_options INTERFACE -fsanitize=${ZAM_SANITIZE} -fno-sanitize-recover=all
                                                     -fno-omit-frame-pointer)
  target_link_options(zam_build_options INTERFACE -fsanitize=${ZAM_SANITIZE})
endif()

option(ZAM_COVERAGE "Count which lines and branches run, for scripts/coverage" OFF)
if(ZAM_COVERAGE)
  target_compile_options(zam_build_options INTERFACE --coverage)
  target_link_options(zam_build_options INTERFACE --coverage)
endif()
