# Warnings, sanitizers and the switches of the build, carried by the interface target kelvo_options.
option(KELVO_BUILD_BENCHMARKS "Build the benchmarks in bench/" ON)
option(KELVO_BUILD_FUZZERS "Build the libFuzzer targets in fuzz/ (clang only)" OFF)
option(KELVO_REQUIRE_ALL_HOSTS "Fail where the part for a file manager cannot be built" OFF)
set(KELVO_SANITIZERS "" CACHE STRING "Sanitizers, as -fsanitize= takes them: address,undefined or thread")
set(kelvo_missing_host STATUS)
if(KELVO_REQUIRE_ALL_HOSTS)  # else its tests and its package would be missed by nobody
  set(kelvo_missing_host FATAL_ERROR)
endif()

add_library(kelvo_options INTERFACE)
target_compile_options(kelvo_options INTERFACE -Wall -Wextra -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # Optimised builds of gcc 12 warn of "text" + std::string, wrongly (GCC bug 105651).
  target_compile_options(kelvo_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(kelvo_options INTERFACE -Wthread-safety)
endif()

# Optimised builds are what people run: they are hardened, and tell nothing of the build's folder.
# tests/packaging/hardening_test.py looks at the files for all of it.
include(CheckPIESupported)
include(CheckCXXCompilerFlag)
check_pie_supported(LANGUAGES CXX)
set(kelvo_hardening -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong
  $<$<NOT:$<PLATFORM_ID:Darwin>>:-fstack-clash-protection> -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
# Marks where jumps and returns may lead: a processor's own feature, hence another name on each. On a
# Mac it belongs to the system's own programs.
if(NOT APPLE)
  foreach(flag -fcf-protection=full -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "KELVO_HAS${flag}" has_flag)
    check_cxx_compiler_flag(${flag} ${has_flag})
    if(${has_flag})
      list(APPEND kelvo_hardening ${flag})
      break()
    endif()
  endforeach()
endif()
target_compile_options(kelvo_options INTERFACE "$<$<NOT:$<CONFIG:Debug>>:${kelvo_hardening}>")
if(NOT APPLE)
  target_link_options(kelvo_options INTERFACE "LINKER:-z,relro" "LINKER:-z,now")
endif()
if(KELVO_SANITIZERS)
  target_compile_options(kelvo_options INTERFACE -fsanitize=${KELVO_SANITIZERS} -fno-omit-frame-pointer
                                                 -fno-sanitize-recover=all)
  target_link_options(kelvo_options INTERFACE -fsanitize=${KELVO_SANITIZERS})
  if(KELVO_SANITIZERS MATCHES "address")
    target_sources(kelvo_options INTERFACE
      $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${CMAKE_SOURCE_DIR}/cmake/sanitizer_defaults.cc>)
  endif()
endif()
