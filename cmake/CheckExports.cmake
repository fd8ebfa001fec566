# Fails when the shared library exports anything but its API. Run with -DNM=<nm> -DLIBRARY=<file>.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} --dynamic --demangle --defined-only --format=posix ${LIBRARY}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE ";" " " symbols "${symbols}")
string(REGEX REPLACE "\n$" "" symbols "${symbols}")
string(REPLACE "\n" ";" symbols "${symbols}")
set(namespaces "(vesta2|basekit2|optstore2|notify2)::")
set(count 0)
foreach(symbol IN LISTS symbols)
  if(symbol MATCHES "^${namespaces}"
      OR symbol MATCHES "^(vtable|VTT|typeinfo|typeinfo name) for ${namespaces}"
      OR symbol MATCHES "thunk to ${namespaces}")
    math(EXPR count "${count} + 1")
  elseif(NOT symbol MATCHES "^VESTA2_0")
    message(SEND_ERROR "exported, but not of the API: ${symbol}")
  endif()
endforeach()
if(count LESS 100)
  message(FATAL_ERROR "only ${count} symbols of the API are exported")
endif()
message(STATUS "${count} symbols exported, all of the API")
