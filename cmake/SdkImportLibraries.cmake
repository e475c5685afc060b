# Import libraries for the SDK's two Windows DLLs, made from the project's own
# declarations: every function a header declares with XPLM_API comes from
# XPLM_64.dll, every one declared with WIDGET_API from XPWidgets_64.dll. No
# X-Plane binary is needed. Defines the targets quelby_xplm_import and
# quelby_xpwidgets_import, and QUELBY_<DLL>_DEF with each .def file's path.

include("${CMAKE_CURRENT_LIST_DIR}/SdkFunctions.cmake")

function(quelby_sdk_import_library target dll macro)
  quelby_sdk_functions(names "${PROJECT_SOURCE_DIR}/xplane" "${macro}")
  if(NOT names)
    message(FATAL_ERROR "no ${macro} function found in xplane/")
  endif()
  set(def "${CMAKE_BINARY_DIR}/sdk/${dll}.def")
  set(text "LIBRARY ${dll}.dll\nEXPORTS\n")
  foreach(name IN LISTS names)
    string(APPEND text "  ${name}\n")
  endforeach()
  file(WRITE "${def}.new" "${text}")
  file(COPY_FILE "${def}.new" "${def}" ONLY_IF_DIFFERENT)
  set(lib "${CMAKE_BINARY_DIR}/sdk/lib${dll}.a")
  add_custom_command(OUTPUT "${lib}"
    COMMAND "${CMAKE_DLLTOOL}" -d "${def}" -D "${dll}.dll" -l "${lib}"
    DEPENDS "${def}"
    COMMENT "Import library for ${dll}.dll"
    VERBATIM)
  add_custom_target(${target}_make DEPENDS "${lib}")
  add_library(${target} UNKNOWN IMPORTED GLOBAL)
  set_target_properties(${target} PROPERTIES IMPORTED_LOCATION "${lib}")
  add_dependencies(${target} ${target}_make)
  string(TOUPPER "${dll}" upper)
  set(QUELBY_${upper}_DEF "${def}" PARENT_SCOPE)
  set(QUELBY_${upper}_FUNCTIONS "${names}" PARENT_SCOPE)
endfunction()
