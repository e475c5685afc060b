# What the macOS plug-in may take from outside itself, besides libSystem:
#   QUELBY_LIBCURL_FUNCTIONS     from macOS's /usr/lib/libcurl.4.dylib
#   QUELBY_XPLM_FUNCTIONS        from X-Plane, every function the project's
#   QUELBY_XPWIDGETS_FUNCTIONS   own headers in xplane/ declare
# Included by cmake/MacosStubs.cmake; run as a script, it prints the lists
# for tools/macos/check.sh:
#   cmake -P cmake/MacosImports.cmake

include("${CMAKE_CURRENT_LIST_DIR}/SdkFunctions.cmake")

# Every one of them is in the libcurl of macOS 11 (libcurl 7.64.1) and later;
# a function not listed here fails the link until it is checked and added.
# Options are not checked by a link: each one the plug-in sets must be in
# 7.64.1 too, or fall back where it is not (allowOnlyHttp).
set(QUELBY_LIBCURL_FUNCTIONS curl_easy_cleanup curl_easy_getinfo curl_easy_init curl_easy_perform
  curl_easy_setopt curl_easy_strerror curl_global_init curl_slist_append curl_slist_free_all)

get_filename_component(_quelby_sdk_dir "${CMAKE_CURRENT_LIST_DIR}/../xplane" ABSOLUTE)
quelby_sdk_functions(QUELBY_XPLM_FUNCTIONS "${_quelby_sdk_dir}" XPLM_API)
quelby_sdk_functions(QUELBY_XPWIDGETS_FUNCTIONS "${_quelby_sdk_dir}" WIDGET_API)

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  list(JOIN QUELBY_LIBCURL_FUNCTIONS " " curl)
  list(JOIN QUELBY_XPLM_FUNCTIONS " " xplm)
  list(JOIN QUELBY_XPWIDGETS_FUNCTIONS " " xpwidgets)
  # To standard output, one list a line.
  execute_process(COMMAND "${CMAKE_COMMAND}" -E echo "libcurl ${curl}")
  execute_process(COMMAND "${CMAKE_COMMAND}" -E echo "xplane ${xplm} ${xpwidgets}")
endif()
