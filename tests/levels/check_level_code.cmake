# All code that a level's file emits must be local to it or named after the level. Compiled
# without optimisation, an inline function of anybody else's would be emitted
# here too, with this level's instructions, and the linker might keep this copy
# of it for programs on older CPUs.
# Usage: cmake -DLEVEL=avx2 -DSOURCE=... -DCOMMAND=<compiler and flags> -DNM=...
#              -DOBJECT=... -P check_level_code.cmake
separate_arguments(COMMAND)
execute_process(COMMAND ${COMMAND} -O0 -c ${SOURCE} -o ${OBJECT} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${NM} --defined-only ${OBJECT}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
# Code only (t is local, T and W are not): constants are the same for every level.
string(REGEX MATCHALL " [tTW] [^\n]+" symbols "${symbols}")
list(LENGTH symbols count)
if(count LESS 10)
  message(FATAL_ERROR "only ${count} symbols in ${OBJECT}: ${symbols}")
endif()
foreach(symbol IN LISTS symbols)
  string(TOLOWER "${symbol}" lower)
  if(NOT symbol MATCHES "^ t " AND NOT lower MATCHES "${LEVEL}")
    message(SEND_ERROR "compiled for ${LEVEL}, but neither local nor named after it: ${symbol}")
  endif()
endforeach()
message("${count} symbols of ${LEVEL}, all its own")
