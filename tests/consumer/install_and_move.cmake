# cmake -DBUILD=... -DPREFIX=... -DCONFIG=... -P install_and_move.cmake
# Installs into an empty PREFIX by way of another name, so that what depends on the prefix of the
# installation is found out.
file(REMOVE_RECURSE ${PREFIX} ${PREFIX}-at-install)
execute_process(
  COMMAND ${CMAKE_COMMAND} --install ${BUILD} --config ${CONFIG} --prefix ${PREFIX}-at-install
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${PREFIX}-at-install ${PREFIX})

file(GLOB_RECURSE texts ${PREFIX}/*.cmake ${PREFIX}/*.pc)
foreach(text IN LISTS texts)
  file(STRINGS ${text} hits REGEX "-at-install|${BUILD}")
  if(hits)
    message(FATAL_ERROR "${text} is tied to the place it was made at: ${hits}")
  endif()
endforeach()
if(NOT texts)
  message(FATAL_ERROR "no CMake or pkg-config files in ${PREFIX}")
endif()

# Below /usr and /usr/local no flag names a folder that compilers search anyway.
foreach(system /usr /usr/local)
  set(ENV{DESTDIR} ${PREFIX}-of-system)
  file(REMOVE_RECURSE $ENV{DESTDIR})
  execute_process(
    COMMAND ${CMAKE_COMMAND} --install ${BUILD} --config ${CONFIG} --prefix ${system}
            --component development
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(GLOB_RECURSE texts $ENV{DESTDIR}/*.pc)
  list(LENGTH texts count)
  if(NOT count EQUAL 2)
    message(FATAL_ERROR "expected two .pc files below ${system}, found: ${texts}")
  endif()
  foreach(text IN LISTS texts)
    file(STRINGS ${text} hits REGEX "-[IL]|pcfiledir")
    if(hits)
      message(FATAL_ERROR "${text} names a folder that needs no naming: ${hits}")
    endif()
  endforeach()
endforeach()
file(REMOVE_RECURSE $ENV{DESTDIR})
