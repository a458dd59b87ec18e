# Builds for macOS 14 on Apple silicon from Linux, with the Zig toolchain's clang, linker, libc++ and Darwin headers.
# FERNWAHRUNG_CROSS is the folder that scripts/cross-macos has filled: tools/ with the compiler under the names CMake
# asks for, include/ with the header-only libraries, lib/ with stubs of the libraries and frameworks that are on the Mac.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES FERNWAHRUNG_CROSS)

foreach(tool C_COMPILER=cc CXX_COMPILER=c++ AR=ar RANLIB=ranlib INSTALL_NAME_TOOL=no-tool)
  string(REGEX MATCH "(.*)=(.*)" match ${tool})
  set(CMAKE_${CMAKE_MATCH_1} ${FERNWAHRUNG_CROSS}/tools/${CMAKE_MATCH_2})
endforeach()

# What is made here is looked at and never run: no optimisation, no debug information, and none of the traps for undefined
# behaviour that Zig adds otherwise.
set(CMAKE_CXX_FLAGS_INIT "-fno-sanitize=undefined -g0")
set(CMAKE_CXX_FLAGS_RELEASE "-O0 -DNDEBUG" CACHE STRING "")
include_directories(SYSTEM ${CMAKE_CURRENT_LIST_DIR}/../../tests/darwin-declarations)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L${FERNWAHRUNG_CROSS}/lib -F${FERNWAHRUNG_CROSS}/Frameworks")

# Nothing of the machine this runs on may slip in.
set(CMAKE_FIND_ROOT_PATH ${FERNWAHRUNG_CROSS} ${CMAKE_CURRENT_LIST_DIR}/packages)
set(CMAKE_PREFIX_PATH ${CMAKE_CURRENT_LIST_DIR}/packages)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${FERNWAHRUNG_CROSS}/lib/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# Asking a test program for its cases would start it.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
