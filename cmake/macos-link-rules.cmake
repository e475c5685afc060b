# The macOS plug-in's link (cmake/macos.cmake): ld64.lld instead of the
# compiler driver, which would take Zig's own linker. The module is a Mach-O
# dynamic library for the slice's architecture and the oldest macOS, against
# Zig's C++ runtime and libSystem. LINK_FLAGS carry raw linker options.
list(JOIN QUELBY_MACOS_RUNTIME " " _quelby_runtime)
set(CMAKE_CXX_CREATE_SHARED_MODULE
  "${QUELBY_LD64} -arch ${QUELBY_MACOS_ARCH} -dylib -platform_version macos ${QUELBY_MACOS_MIN} ${QUELBY_MACOS_MIN} <LINK_FLAGS> -o <TARGET> <OBJECTS> <LINK_LIBRARIES> ${_quelby_runtime} ${QUELBY_MACOS_LIBSYSTEM}")
set(CMAKE_SHARED_MODULE_CREATE_CXX_FLAGS "")
set(CMAKE_CXX_LINK_FLAGS "")
