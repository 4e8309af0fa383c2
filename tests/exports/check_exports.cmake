cmake_minimum_required(VERSION 3.25)

# Compares what a shared library exports with the list of the Debian package, and its header with
# both. A symbol too many is a promise nobody meant to give; one too few breaks programs. A new
# library in NEEDED is a dependency for everybody.
# Usage: cmake -DLIBRARY=... -DSONAME=... -DSYMBOLS=... -DHEADER=... -DALLOWED=... -DNM=...
#              -DREADELF=... -P check_exports.cmake
function(compare what found expected)
  list(SORT found COMPARE STRING)
  list(SORT expected COMPARE STRING)
  if(NOT found STREQUAL expected)
    set(missing ${expected})
    list(REMOVE_ITEM missing ${found} "")
    list(REMOVE_ITEM found ${expected} "")
    message(FATAL_ERROR "${what}: missing [${missing}], unexpected [${found}]")
  endif()
endfunction()

# Lines of a .symbols file: " NAME@VERSION 1.0.0".
file(STRINGS ${SYMBOLS} listed REGEX "^ ")
list(TRANSFORM listed REPLACE "^ ([^ ]+)@[^ ]+ .*" "\\1")

# Lines of nm: "ADDRESS TYPE NAME" or "ADDRESS TYPE NAME@@VERSION".
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^ \n]+\n" symbols "${symbols}")
list(TRANSFORM symbols STRIP)
list(TRANSFORM symbols REPLACE "@.*" "")
compare("${LIBRARY} exports other symbols than ${SYMBOLS} lists" "${symbols}" "${listed}")

# The functions that the header declares, but the one with a C++ symbol.
file(STRINGS ${HEADER} declared REGEX "^IMGCNV_[A-Z_]*API .*\\(")
list(TRANSFORM declared REPLACE "^[^(]*[ *]([A-Za-z0-9_]+)\\(.*" "\\1")
list(REMOVE_ITEM declared IMGCNV_ConvertToRGBA32_Ex)
list(REMOVE_DUPLICATES declared)
list(FILTER listed EXCLUDE REGEX "^_Z|^IMGCNV_FRAMES_[0-9]+$")
compare("${SYMBOLS} lists other functions than ${HEADER} declares" "${listed}" "${declared}")

execute_process(COMMAND ${READELF} -d ${LIBRARY}
                OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "NEEDED[^\n]*" needed "${dynamic}")
list(TRANSFORM needed REPLACE ".*\\[(.*)\\].*" "\\1")
if(NOT "libc.so.6" IN_LIST needed)
  message(FATAL_ERROR "cannot read what ${LIBRARY} needs:\n${dynamic}")
endif()
list(REMOVE_ITEM needed ${ALLOWED})
if(needed)
  message(FATAL_ERROR "${LIBRARY} needs ${needed}, allowed are ${ALLOWED}")
endif()
if(NOT dynamic MATCHES "SONAME[^\n]*\\[${SONAME}\\]")
  message(FATAL_ERROR "${LIBRARY} is not ${SONAME}:\n${dynamic}")
endif()
