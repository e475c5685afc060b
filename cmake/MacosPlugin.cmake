# The macOS plug-in's link options (ld64.lld's own, see
# cmake/macos-link-rules.cmake), and a second, strict link of the same code:
#   - only X-Plane's five entry points are exported (the names of
#     cmake/exports.map, as Mach-O spells them);
#   - the SDK's functions, every one the project's own headers in xplane/
#     declare, are left to be looked up in X-Plane when it loads the plug-in,
#     and any other symbol that neither the plug-in, libSystem nor libcurl
#     defines fails the link;
#   - each slice carries an ad-hoc signature (Apple Silicon runs no unsigned
#     code; the linker signs arm64 by itself, x86_64 when asked).
# The strict link (target quelby-strict-link) links the same code against
# stubs of X-Plane's two frameworks made from xplane/ instead, with nothing
# left to be looked up: it fails if any symbol would stay unresolved.

set(_quelby_generated "${CMAKE_BINARY_DIR}/stubs")

# The entry points from the Linux export list.
file(STRINGS "${PROJECT_SOURCE_DIR}/cmake/exports.map" _quelby_entry_lines REGEX "^ *XPlugin[A-Za-z]*;")
set(_quelby_exports "")
foreach(line IN LISTS _quelby_entry_lines)
  string(REGEX REPLACE "^ *([A-Za-z]+);.*$" "_\\1\n" name "${line}")
  string(APPEND _quelby_exports "${name}")
endforeach()
set(QUELBY_MACOS_EXPORTS "${_quelby_generated}/exports.txt")
file(WRITE "${QUELBY_MACOS_EXPORTS}.new" "${_quelby_exports}")
file(COPY_FILE "${QUELBY_MACOS_EXPORTS}.new" "${QUELBY_MACOS_EXPORTS}" ONLY_IF_DIFFERENT)

# The SDK's functions, each allowed to stay undefined (QUELBY_XPLM_FUNCTIONS
# and QUELBY_XPWIDGETS_FUNCTIONS come from cmake/MacosStubs.cmake).
set(_quelby_lookup "")
foreach(name IN LISTS QUELBY_XPLM_FUNCTIONS QUELBY_XPWIDGETS_FUNCTIONS)
  string(APPEND _quelby_lookup "-U _${name}\n")
endforeach()
set(QUELBY_MACOS_LOOKUP "${_quelby_generated}/sdk-lookup.rsp")
file(WRITE "${QUELBY_MACOS_LOOKUP}.new" "${_quelby_lookup}")
file(COPY_FILE "${QUELBY_MACOS_LOOKUP}.new" "${QUELBY_MACOS_LOOKUP}" ONLY_IF_DIFFERENT)

set(QUELBY_MACOS_LINK_OPTIONS -install_name Quelby.xpl -exported_symbols_list
  "${QUELBY_MACOS_EXPORTS}" -undefined error -dead_strip -S -adhoc_codesign)

function(quelby_macos_plugin target)
  target_link_options(${target} PRIVATE ${QUELBY_MACOS_LINK_OPTIONS} "@${QUELBY_MACOS_LOOKUP}")
  # Linked again when Zig's runtime or libSystem's stubs change too.
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${QUELBY_MACOS_EXPORTS}"
    "${QUELBY_MACOS_LOOKUP}" "${QUELBY_LIBCURL_STUB}" ${QUELBY_MACOS_RUNTIME}
    "${QUELBY_MACOS_LIBSYSTEM}")

  get_target_property(sources ${target} SOURCES)
  add_library(${target}StrictLink MODULE ${sources})
  target_link_libraries(${target}StrictLink PRIVATE quelby_logic quelby_warnings
    "${QUELBY_XPLM_STUB}" "${QUELBY_XPWIDGETS_STUB}")
  target_link_options(${target}StrictLink PRIVATE ${QUELBY_MACOS_LINK_OPTIONS})
  set_target_properties(${target}StrictLink PROPERTIES PREFIX "" SUFFIX ".xpl"
    OUTPUT_NAME "${target}" LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/strict-link")
  set_property(TARGET ${target}StrictLink APPEND PROPERTY LINK_DEPENDS "${QUELBY_MACOS_EXPORTS}"
    "${QUELBY_XPLM_STUB}" "${QUELBY_XPWIDGETS_STUB}" "${QUELBY_LIBCURL_STUB}"
    ${QUELBY_MACOS_RUNTIME} "${QUELBY_MACOS_LIBSYSTEM}")
  add_custom_target(quelby-strict-link ALL DEPENDS ${target}StrictLink)
endfunction()
