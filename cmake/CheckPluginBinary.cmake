# Checks the built plug-in: it exports exactly X-Plane's five entry points,
# needs no X-Plane library, which the simulator process provides at load time,
# and binds no function newer than X-Plane 11.50 at load.
# Usage: cmake -DXPL=<path to Quelby.xpl> -DNM=<nm> -DREADELF=<readelf> -P CheckPluginBinary.cmake
execute_process(COMMAND "${NM}" -D --defined-only "${XPL}" OUTPUT_VARIABLE defined RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${XPL}")
endif()
string(REGEX MATCHALL "[ \t][TDBRV][ \t]+[^\n]+" entries "${defined}")
set(exported "")
foreach(entry IN LISTS entries)
  string(REGEX REPLACE "^[ \t][TDBRV][ \t]+" "" name "${entry}")
  list(APPEND exported "${name}")
endforeach()
list(SORT exported)
set(expected XPluginDisable XPluginEnable XPluginReceiveMessage XPluginStart XPluginStop)
if(NOT "${exported}" STREQUAL "${expected}")
  message(FATAL_ERROR "exported symbols: '${exported}', expected: '${expected}'")
endif()

execute_process(COMMAND "${READELF}" -d "${XPL}" OUTPUT_VARIABLE dynamic)
string(REGEX MATCHALL "NEEDED[^\n]*" needed "${dynamic}")
foreach(line IN LISTS needed)
  if(line MATCHES "XPLM|XPWidgets")
    message(FATAL_ERROR "the plug-in links an X-Plane library: ${line}")
  endif()
endforeach()

# X-Plane 12.04's mixer functions are found by name while the plug-in runs;
# bound at load, they would keep it from loading in X-Plane 11.
execute_process(COMMAND "${NM}" -D --undefined-only "${XPL}" OUTPUT_VARIABLE undefined)
if(NOT undefined MATCHES "XPLMFindSymbol")
  message(FATAL_ERROR "the plug-in does not import XPLMFindSymbol; is nm's output readable?")
endif()
foreach(name XPLMPlayPCMOnBus XPLMStopAudio)
  if(undefined MATCHES "[ \t]${name}[\r\n]")
    message(FATAL_ERROR "the plug-in imports ${name}, which X-Plane 11 lacks")
  endif()
endforeach()
message(STATUS "exports: ${exported}")
