# Compares what the shared library exports and needs with the lists beside this
# file. A symbol too many is a promise nobody meant to give; one too few breaks
# programs; a new library in NEEDED is a dependency for everybody.
# Usage: cmake -DLIBRARY=... -DNM=... -DREADELF=... -P check_exports.cmake
function(compare what list)
  list(SORT ARGN COMPARE STRING)
  list(JOIN ARGN "\n" found)
  file(READ ${CMAKE_CURRENT_LIST_DIR}/${list} expected)
  string(STRIP "${expected}" expected)
  if(NOT found STREQUAL expected)
    message(FATAL_ERROR "${LIBRARY} ${what}:\n${found}\nexpected (${list}):\n${expected}")
  endif()
endfunction()

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^ \n]+\n" symbols "${symbols}")
list(TRANSFORM symbols STRIP)
compare("exports" symbols.txt ${symbols})

execute_process(COMMAND ${READELF} -d ${LIBRARY}
                OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "NEEDED[^\n]*" needed "${dynamic}")
list(TRANSFORM needed REPLACE ".*\\[(.*)\\].*" "\\1")
compare("needs" needed.txt ${needed})
if(dynamic MATCHES "R(UN)?PATH")
  message(FATAL_ERROR "${LIBRARY} looks for libraries in a path of its own")
endif()
if(NOT dynamic MATCHES "SONAME[^\n]*\\[libimgcnv\\.so\\.1\\]")
  message(FATAL_ERROR "${LIBRARY} is not libimgcnv.so.1:\n${dynamic}")
endif()
