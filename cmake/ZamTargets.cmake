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

add_library(zam_build_options INTERFACE)
target_link_libraries(zam_build_options INTERFACE zam_warnings)
if(ZAM_SANITIZE)
  target_compile_options(zam_build_options INTERFACE -fsanitize=${ZAM_SANITIZE} -fno-sanitize-recover=all
                                                     -fno-omit-frame-pointer)
  target_link_options(zam_build_options INTERFACE -fsanitize=${ZAM_SANITIZE})
endif()
