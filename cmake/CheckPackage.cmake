# Checks the install package: the zip holds the plug-in's folder and nothing
# else, and the folder unpacked into an X-Plane root loads and opens its window.
# Usage: cmake -DZIP=<zip> -DDATA=<source data folder> -DTESTBED=<quelby-testbed>
#              -DSCRATCH=<empty folder to use> -P CheckPackage.cmake
file(REMOVE_RECURSE "${SCRATCH}")
set(plugins "${SCRATCH}/Resources/plugins")
file(MAKE_DIRECTORY "${plugins}")
execute_process(COMMAND ${CMAKE_COMMAND} -E tar xf "${ZIP}" WORKING_DIRECTORY "${plugins}"
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cannot unpack ${ZIP}")
endif()

file(GLOB_RECURSE unpacked RELATIVE "${plugins}" "${plugins}/*")
file(GLOB_RECURSE shipped RELATIVE "${DATA}" "${DATA}/*")
set(expected "Quelby/lin_x64/Quelby.xpl")
foreach(file IN LISTS shipped)
  list(APPEND expected "Quelby/${file}")
endforeach()
list(SORT unpacked)
list(SORT expected)
if(NOT "${unpacked}" STREQUAL "${expected}")
  message(FATAL_ERROR "the package holds:\n  ${unpacked}\nexpected:\n  ${expected}")
endif()

execute_process(
  COMMAND "${TESTBED}" --plugin "${plugins}/Quelby/lin_x64/Quelby.xpl" --root "${SCRATCH}"
          --frames 30 --rate 0 --show
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the unpacked plug-in did not run cleanly:\n${out}\n${err}")
endif()
if(NOT out MATCHES "main window: +visible")
  message(FATAL_ERROR "the unpacked plug-in's window did not open:\n${out}")
endif()
if(NOT EXISTS "${SCRATCH}/quelby_debug.txt")
  message(FATAL_ERROR "the unpacked plug-in wrote no log into the X-Plane folder")
endif()
message(STATUS "package: ${expected}")
