# Cross-building for 64-bit Windows on Debian with MinGW-w64 (the posix
# thread model, for std::thread). The libraries built by
# tools/windows/build-deps.sh are found in QUELBY_DEPS_PREFIX.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(QUELBY_MINGW_HOST x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QUELBY_MINGW_HOST}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QUELBY_MINGW_HOST}-g++-posix)
set(CMAKE_RC_COMPILER ${QUELBY_MINGW_HOST}-windres)
set(CMAKE_DLLTOOL ${QUELBY_MINGW_HOST}-dlltool)
set(CMAKE_FIND_ROOT_PATH /usr/${QUELBY_MINGW_HOST})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Programs built here run under Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR wine64)
