# Link stubs (text-based .tbd files, as Apple's linkers read them) for the
# libraries the macOS plug-in takes from outside itself, so that no macOS
# binary is needed to link it:
#   QUELBY_LIBCURL_STUB   macOS's /usr/lib/libcurl.4.dylib, with the libcurl
#                         functions the plug-in may call (MacosImports.cmake)
#   QUELBY_XPLM_STUB      X-Plane's XPLM and XPWidgets frameworks, with every
#   QUELBY_XPWIDGETS_STUB function the project's own headers in xplane/
#                         declare; only the strict link uses them, as the
#                         plug-in leaves the SDK's functions to be looked up
#                         when X-Plane loads it

include("${CMAKE_CURRENT_LIST_DIR}/MacosImports.cmake")

# Writes a stub of a library with the given C functions, for both slices.
function(quelby_macos_stub out install_name compatibility)
  set(symbols "")
  foreach(name IN LISTS ARGN)
    list(APPEND symbols "_${name}")
  endforeach()
  list(JOIN symbols ", " symbols)
  set(text "--- !tapi-tbd\ntbd-version: 4\ntargets: [ x86_64-macos, arm64-macos ]\n")
  string(APPEND text "install-name: '${install_name}'\n")
  string(APPEND text "current-version: ${compatibility}\ncompatibility-version: ${compatibility}\n")
  string(APPEND text "exports:\n  - targets: [ x86_64-macos, arm64-macos ]\n    symbols: [ ${symbols} ]\n...\n")
  file(WRITE "${out}.new" "${text}")
  file(COPY_FILE "${out}.new" "${out}" ONLY_IF_DIFFERENT)
endfunction()

set(QUELBY_LIBCURL_STUB "${CMAKE_BINARY_DIR}/stubs/libcurl.4.tbd")
quelby_macos_stub("${QUELBY_LIBCURL_STUB}" /usr/lib/libcurl.4.dylib 7.0.0 ${QUELBY_LIBCURL_FUNCTIONS})

set(QUELBY_XPLM_STUB "${CMAKE_BINARY_DIR}/stubs/XPLM.tbd")
quelby_macos_stub("${QUELBY_XPLM_STUB}" @rpath/XPLM.framework/Versions/C/XPLM 1.0.0
  ${QUELBY_XPLM_FUNCTIONS})
set(QUELBY_XPWIDGETS_STUB "${CMAKE_BINARY_DIR}/stubs/XPWidgets.tbd")
quelby_macos_stub("${QUELBY_XPWIDGETS_STUB}" @rpath/XPWidgets.framework/Versions/C/XPWidgets 1.0.0
  ${QUELBY_XPWIDGETS_FUNCTIONS})
file(GLOB _quelby_sdk_headers "${PROJECT_SOURCE_DIR}/xplane/*.h")
set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${_quelby_sdk_headers})
