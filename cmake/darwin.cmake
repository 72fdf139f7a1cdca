# Toolchain file for a Mac's target on other machines: good for configuring, as a check of the build
# files, and for nothing else, since there is no SDK.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
find_program(KELVO_CLANG NAMES clang clang-14 REQUIRED)
find_program(KELVO_CLANGXX NAMES clang++ clang++-14 REQUIRED)
find_program(KELVO_TRUE true REQUIRED)
set(CMAKE_C_COMPILER ${KELVO_CLANG})
set(CMAKE_CXX_COMPILER ${KELVO_CLANGXX})
set(CMAKE_OBJCXX_COMPILER ${KELVO_CLANGXX})
foreach(language C CXX OBJCXX)
  set(CMAKE_${language}_COMPILER_TARGET x86_64-apple-macos13.3)
endforeach()
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_INSTALL_NAME_TOOL ${KELVO_TRUE})
# There is no linker for the target.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
# Nor a library of its form, which this one is looked up by.
set(CUPS_LIBRARIES cups CACHE STRING "")
