# Cross-building the macOS plug-in on Debian, one architecture per build
# folder (tools/macos/build.sh joins the two slices into one universal file).
# Zig's clang compiles against the macOS headers Zig carries; Debian's
# ld64.lld links against the libc++ Zig built for the target and libSystem's
# link stubs, and signs the result ad hoc. Takes, as tools/macos/setup.sh
# prints them:
#   QUELBY_MACOS_ARCH       x86_64 or arm64
#   QUELBY_MACOS_TOOLCHAIN  the Zig toolchain's folder: bin/cc-<arch>,
#                           bin/c++-<arch>, runtime-<arch>.txt
#   QUELBY_MACOS_MIN        the oldest macOS the plug-in runs on
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR "${QUELBY_MACOS_ARCH}")
# The checks CMake compiles read this file again: they need the same.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUELBY_MACOS_ARCH QUELBY_MACOS_TOOLCHAIN
  QUELBY_MACOS_MIN)
if(NOT QUELBY_MACOS_ARCH MATCHES "^(x86_64|arm64)$" OR NOT IS_DIRECTORY "${QUELBY_MACOS_TOOLCHAIN}")
  message(FATAL_ERROR "configure with -DQUELBY_MACOS_ARCH=x86_64|arm64 and the "
    "QUELBY_MACOS_TOOLCHAIN and QUELBY_MACOS_MIN that tools/macos/setup.sh prints")
endif()

set(CMAKE_C_COMPILER "${QUELBY_MACOS_TOOLCHAIN}/bin/cc-${QUELBY_MACOS_ARCH}")
set(CMAKE_CXX_COMPILER "${QUELBY_MACOS_TOOLCHAIN}/bin/c++-${QUELBY_MACOS_ARCH}")
find_program(CMAKE_AR llvm-ar-14 REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib-14 REQUIRED)
find_program(QUELBY_LD64 ld64.lld-14 REQUIRED)
# Nothing here can run, nor link a program without the runtime below.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
# No Xcode, no SDK folder: the compiler knows its headers.
set(CMAKE_OSX_SYSROOT "" CACHE PATH "" FORCE)
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "" FORCE)
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "" FORCE)
# Libraries and headers only where the build names them, never the build
# machine's.
set(CMAKE_FIND_ROOT_PATH "${QUELBY_MACOS_TOOLCHAIN}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# What every slice links besides the project's code: Zig's libc++, libc++abi
# and compiler runtime for the target, and libSystem's link stubs.
file(STRINGS "${QUELBY_MACOS_TOOLCHAIN}/runtime-${QUELBY_MACOS_ARCH}.txt" QUELBY_MACOS_RUNTIME)
get_filename_component(_quelby_zig_dir "${CMAKE_CXX_COMPILER}/../../zig" ABSOLUTE)
string(REGEX REPLACE "^([0-9]+).*" "\\1" _quelby_macos_major "${QUELBY_MACOS_MIN}")
set(QUELBY_MACOS_LIBSYSTEM "${_quelby_zig_dir}/lib/libc/darwin/libSystem.${_quelby_macos_major}.tbd")
# The link itself is ld64.lld's, set after CMake's rules for Darwin.
set(CMAKE_USER_MAKE_RULES_OVERRIDE_CXX "${CMAKE_CURRENT_LIST_DIR}/macos-link-rules.cmake")
