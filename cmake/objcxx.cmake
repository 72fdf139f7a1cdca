# Objective-C++ for the macOS adapter. On a Mac it is a language of the project. Elsewhere the same
# files are built against GNUstep, for tests alone, by clang++: CMake would take g++ for the
# language, which cannot compile them.
option(KELVO_GNUSTEP_ADAPTER "Build the macOS adapter against GNUstep and test it (not on a Mac)" OFF)

if(APPLE)
  enable_language(OBJCXX)
  set(KELVO_MACOS_ADAPTER ON)
elseif(KELVO_GNUSTEP_ADAPTER)
  find_program(KELVO_GNUSTEP_COMPILER NAMES clang++ clang++-14)
  find_path(KELVO_GNUSTEP_INCLUDE AppKit/AppKit.h PATH_SUFFIXES GNUstep)
  find_library(KELVO_GNUSTEP_BASE gnustep-base)
  find_library(KELVO_GNUSTEP_GUI gnustep-gui)
  # The runtime is gcc's own, and so lies in gcc's folders.
  execute_process(COMMAND gcc -print-file-name=include OUTPUT_VARIABLE kelvo_gcc_include
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND gcc -print-file-name=libobjc.so OUTPUT_VARIABLE kelvo_objc_library
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(KELVO_GNUSTEP_COMPILER AND KELVO_GNUSTEP_INCLUDE AND KELVO_GNUSTEP_BASE AND KELVO_GNUSTEP_GUI
     AND IS_ABSOLUTE "${kelvo_objc_library}")
    set(KELVO_MACOS_ADAPTER ON)
  else()  # the test of this name says so, too
    message(${kelvo_missing_host} "macOS adapter: not built, for want of clang++ or GNUstep's headers")
    set(KELVO_MACOS_ADAPTER OFF)
  endif()
else()
  set(KELVO_MACOS_ADAPTER OFF)
endif()

if(KELVO_MACOS_ADAPTER AND NOT APPLE)
  set(kelvo_objcxx_flags -x objective-c++ -std=c++20 -fPIC -pthread -Wall -Wextra -Werror
    -fobjc-runtime=gcc -fexceptions -fobjc-exceptions -fconstant-string-class=NSConstantString
    -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1 -DGNU_RUNTIME=1 -D_NATIVE_OBJC_EXCEPTIONS
    -isystem ${KELVO_GNUSTEP_INCLUDE} -isystem ${kelvo_gcc_include}
    -I${CMAKE_SOURCE_DIR} -I${CMAKE_BINARY_DIR}/generated
    # What GNUstep lacks, and the adapter includes or takes for given.
    -I${CMAKE_SOURCE_DIR}/platform/macos/off_mac/gnustep
    -include ${CMAKE_SOURCE_DIR}/platform/macos/off_mac/gnustep/prefix.h)
  if(CMAKE_BUILD_TYPE STREQUAL "Debug")
    list(APPEND kelvo_objcxx_flags -g)
  else()
    list(APPEND kelvo_objcxx_flags -O2 -g)
  endif()
  if(KELVO_SANITIZERS)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
      message(FATAL_ERROR "With KELVO_GNUSTEP_ADAPTER, sanitizers need clang for all files")
    endif()
    list(APPEND kelvo_objcxx_flags -fsanitize=${KELVO_SANITIZERS} -fno-omit-frame-pointer
                                   -fno-sanitize-recover=all)
  endif()
  add_library(kelvo_gnustep INTERFACE)
  target_link_libraries(kelvo_gnustep INTERFACE
    ${KELVO_GNUSTEP_GUI} ${KELVO_GNUSTEP_BASE} ${kelvo_objc_library} Threads::Threads)
endif()

# Adds Objective-C++ files of the current folder to a target.
function(target_objcxx_sources target)
  if(APPLE)
    target_sources(${target} PRIVATE ${ARGN})
    set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -fobjc-arc)
    return()
  endif()
  foreach(file IN LISTS ARGN)
    set(source ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    set(object ${CMAKE_CURRENT_BINARY_DIR}/${file}.o)
    add_custom_command(OUTPUT ${object}
      COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} ${KELVO_GNUSTEP_COMPILER} ${kelvo_objcxx_flags}
              -MD -MF ${object}.d -c ${source} -o ${object}
      DEPENDS ${source}
      DEPFILE ${object}.d
      COMMENT "Building against GNUstep ${file}"
      VERBATIM)
    set_source_files_properties(${object} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
    target_sources(${target} PRIVATE ${object})
  endforeach()
  target_link_libraries(${target} PUBLIC kelvo_gnustep)
endfunction()
