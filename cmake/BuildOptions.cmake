# SPDX-License-Identifier: MIT
# The compiler options of the whole project: warnings, hardening, sanitizers.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Release, RelWithDebInfo or Debug" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_C_FLAGS_RELEASE "-O2")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

option(VELUTILS_WERROR "Treat warnings as errors, as the presets do" OFF)
set(VELUTILS_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

# The options for the project's own sources.
add_library(velutils_build_options INTERFACE)
target_compile_definitions(velutils_build_options INTERFACE _GNU_SOURCE)
target_compile_options(velutils_build_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${VELUTILS_WERROR}>:-Werror>
  # Makes the same bytes from the same sources in any build folder.
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.
  # -Bsymbolic-functions binds the library's calls to its own functions, so the compiler may inline them.
  -fno-semantic-interposition
  -fstack-protector-strong)
target_link_options(velutils_build_options INTERFACE
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

option(VELUTILS_COVERAGE "Count the lines and branches that run, for gcov" OFF)
if(VELUTILS_COVERAGE)
  target_compile_options(velutils_build_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(velutils_build_options INTERFACE --coverage)
endif()

option(VELUTILS_ANALYZE "Compile with GCC's static analyzer" OFF)
if(VELUTILS_ANALYZE)
  # GCC 12's analyzer does not know that new throws, nor destructors, nor return value optimisation. So
  # its warnings about null, leaks and uninitialised values are wrong for C++. The other warnings stay
  # errors: double free or close, use after free or close, misuse of descriptors and of the stack.
  target_compile_options(velutils_build_options INTERFACE -fanalyzer
    -Wno-analyzer-possible-null-argument -Wno-analyzer-possible-null-dereference
    -Wno-analyzer-malloc-leak -Wno-analyzer-file-leak -Wno-analyzer-use-of-uninitialized-value)
endif()

if(VELUTILS_SANITIZE)
  target_compile_options(velutils_build_options INTERFACE
    -fsanitize=${VELUTILS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  target_link_options(velutils_build_options INTERFACE -fsanitize=${VELUTILS_SANITIZE})
else()
  # Sanitizers do not work with fortified calls, and check more.
  target_compile_options(velutils_build_options INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()
