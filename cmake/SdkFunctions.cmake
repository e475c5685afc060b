# The SDK functions and constants the project's own headers in xplane/
# declare, for the Windows import libraries and for the check against
# X-Plane's official headers.

# Lists the functions the headers in dir declare with the macro.
function(quelby_sdk_functions out dir macro)
  file(GLOB headers "${dir}/*.h")
  set(names)
  foreach(header IN LISTS headers)
    file(STRINGS "${header}" lines REGEX "^${macro} ")
    foreach(line IN LISTS lines)
      if(line MATCHES "^${macro} [^(]*[ *]([A-Za-z_][A-Za-z0-9_]*)\\(")
        list(APPEND names "${CMAKE_MATCH_1}")
      endif()
    endforeach()
  endforeach()
  list(SORT names)
  list(REMOVE_DUPLICATES names)
  set(${out} "${names}" PARENT_SCOPE)
endfunction()

# Lists the constants (enumerators set to a value) the headers in dir name.
function(quelby_sdk_constants out dir)
  file(GLOB headers "${dir}/*.h")
  set(names)
  foreach(header IN LISTS headers)
    file(READ "${header}" text)
    string(REGEX MATCHALL "[ {,\n](xplm|xp)[A-Za-z0-9_]* *= *[-0-9]" matches "${text}")
    foreach(match IN LISTS matches)
      string(REGEX REPLACE "^[ {,\n]*([A-Za-z0-9_]+).*$" "\\1" name "${match}")
      list(APPEND names "${name}")
    endforeach()
  endforeach()
  list(SORT names)
  list(REMOVE_DUPLICATES names)
  set(${out} "${names}" PARENT_SCOPE)
endfunction()
