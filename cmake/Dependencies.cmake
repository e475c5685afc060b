# The libraries that do the plug-in's real work, as one target each:
#   quelby_dep_curl     libcurl (HTTP to the website)
#   quelby_dep_crypto   OpenSSL's libcrypto (MD5, base64)
#   quelby_dep_pugixml  pugixml (the rule file)
#   quelby_dep_sound    OpenAL's headers; the library itself is opened when
#                       the plug-in runs, so that a machine without it loads
#                       the plug-in and plays nothing
# A development build links the system's shared libraries. A static release
# links archives only, so that the plug-in needs nothing but the C library:
# OpenSSL and pugixml from the build system's packages, libcurl built from
# Debian's source package into QUELBY_DEPS_PREFIX by tools/release/build-deps.sh.

# Windows: libcurl (over Windows' own TLS) and pugixml cross-built from
# Debian's source packages by tools/windows/build-deps.sh into
# QUELBY_DEPS_PREFIX, beside the header-only libraries; the digest is the
# system's own.
if(WIN32)
  if(NOT QUELBY_DEPS_PREFIX)
    message(FATAL_ERROR "a Windows build needs QUELBY_DEPS_PREFIX (tools/windows/build.sh sets it)")
  endif()
  include_directories(BEFORE SYSTEM "${QUELBY_DEPS_PREFIX}/include")
  add_library(quelby_dep_sound INTERFACE)
  add_library(Boost::headers INTERFACE IMPORTED)
  add_library(quelby_dep_curl INTERFACE)
  target_compile_definitions(quelby_dep_curl INTERFACE CURL_STATICLIB)
  target_link_libraries(quelby_dep_curl INTERFACE "${QUELBY_DEPS_PREFIX}/lib/libcurl.a"
    ws2_32 crypt32 bcrypt secur32 advapi32)
  add_library(quelby_dep_crypto INTERFACE)
  target_link_libraries(quelby_dep_crypto INTERFACE bcrypt crypt32)
  add_library(quelby_dep_pugixml INTERFACE)
  target_link_libraries(quelby_dep_pugixml INTERFACE "${QUELBY_DEPS_PREFIX}/lib/libpugixml.a")
  return()
endif()

# macOS: libcurl and the digest are macOS's own, OpenAL its framework opened
# when the plug-in runs; pugixml is compiled in from the source that
# tools/macos/build-deps.sh put into QUELBY_DEPS_PREFIX beside the headers of
# the header-only libraries and of the APIs. libcurl is linked through a stub
# of the project's own (cmake/MacosStubs.cmake).
if(APPLE)
  if(NOT QUELBY_DEPS_PREFIX)
    message(FATAL_ERROR "a macOS build needs QUELBY_DEPS_PREFIX (tools/macos/build.sh sets it)")
  endif()
  include_directories(BEFORE SYSTEM "${QUELBY_DEPS_PREFIX}/include")
  include("${CMAKE_CURRENT_LIST_DIR}/MacosStubs.cmake")
  add_library(quelby_dep_sound INTERFACE)
  add_library(Boost::headers INTERFACE IMPORTED)
  add_library(quelby_dep_curl INTERFACE)
  target_link_libraries(quelby_dep_curl INTERFACE "${QUELBY_LIBCURL_STUB}")
  add_library(quelby_dep_crypto INTERFACE)
  add_library(quelby_dep_pugixml STATIC "${QUELBY_DEPS_PREFIX}/src/pugixml.cpp")
  return()
endif()

find_package(PkgConfig REQUIRED)
find_path(QUELBY_OPENAL_INCLUDE AL/al.h REQUIRED)
add_library(quelby_dep_sound INTERFACE)
target_include_directories(quelby_dep_sound SYSTEM INTERFACE "${QUELBY_OPENAL_INCLUDE}")
target_link_libraries(quelby_dep_sound INTERFACE ${CMAKE_DL_LIBS})

if(NOT QUELBY_STATIC_RELEASE)
  find_package(CURL REQUIRED)
  find_package(OpenSSL REQUIRED)
  pkg_check_modules(PUGIXML REQUIRED IMPORTED_TARGET pugixml)

  add_library(quelby_dep_curl INTERFACE)
  target_link_libraries(quelby_dep_curl INTERFACE CURL::libcurl)
  add_library(quelby_dep_crypto INTERFACE)
  target_link_libraries(quelby_dep_crypto INTERFACE OpenSSL::Crypto)
  add_library(quelby_dep_pugixml INTERFACE)
  target_link_libraries(quelby_dep_pugixml INTERFACE PkgConfig::PUGIXML)
  return()
endif()

if(NOT QUELBY_DEPS_PREFIX)
  message(FATAL_ERROR "QUELBY_STATIC_RELEASE needs QUELBY_DEPS_PREFIX (tools/release.sh sets it)")
endif()

# Finds one archive; the release never falls back to a shared library.
function(quelby_static_archive var name)
  find_library(${var} NAMES "lib${name}.a" PATHS "${QUELBY_DEPS_PREFIX}/lib" ${ARGN})
  if(NOT ${var})
    find_library(${var} NAMES "lib${name}.a")
  endif()
  if(NOT ${var})
    message(FATAL_ERROR "static library lib${name}.a not found")
  endif()
  set(${var} "${${var}}" PARENT_SCOPE)
endfunction()

# Headers there (SimpleIni's among them) come before the system's.
include_directories(BEFORE SYSTEM "${QUELBY_DEPS_PREFIX}/include")

set(OPENSSL_USE_STATIC_LIBS TRUE)
find_package(OpenSSL REQUIRED)

quelby_static_archive(QUELBY_CURL_A curl NO_DEFAULT_PATH)
add_library(quelby_dep_curl INTERFACE)
target_include_directories(quelby_dep_curl SYSTEM INTERFACE "${QUELBY_DEPS_PREFIX}/include")
target_compile_definitions(quelby_dep_curl INTERFACE CURL_STATICLIB)
target_link_libraries(quelby_dep_curl INTERFACE "${QUELBY_CURL_A}" OpenSSL::SSL OpenSSL::Crypto
  ${CMAKE_DL_LIBS} Threads::Threads)

add_library(quelby_dep_crypto INTERFACE)
target_link_libraries(quelby_dep_crypto INTERFACE OpenSSL::Crypto ${CMAKE_DL_LIBS} Threads::Threads)

quelby_static_archive(QUELBY_PUGIXML_A pugixml)
find_path(QUELBY_PUGIXML_INCLUDE pugixml.hpp REQUIRED)
add_library(quelby_dep_pugixml INTERFACE)
target_include_directories(quelby_dep_pugixml SYSTEM INTERFACE "${QUELBY_PUGIXML_INCLUDE}")
target_link_libraries(quelby_dep_pugixml INTERFACE "${QUELBY_PUGIXML_A}")

