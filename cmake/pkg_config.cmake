# Run by `cmake --install` after pkg_config_settings.cmake: writes imgcnv.pc and imgcnv-frames.pc
# for the prefix that is installed to.
set(pc_include_flags "-I\${includedir} ")
set(pc_library_flags "-L\${libdir} ")
if(IS_ABSOLUTE ${pc_libdir})
  set(pc_prefix ${CMAKE_INSTALL_PREFIX}) # a folder that was given absolute does not move
elseif(CMAKE_INSTALL_PREFIX MATCHES "^/usr(/local)?/?$"
       AND pc_libdir MATCHES "^lib(/${pc_architecture})?$" AND pc_includedir STREQUAL "include")
  # Compilers look there by themselves. Told to, they would look there before other folders.
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
  set(pc_include_flags "")
  set(pc_library_flags "")
else()
  # pkg-config finds the prefix from the place of the .pc file.
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
             BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pc_libdir}/pkgconfig OUTPUT_VARIABLE up)
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${up}")
endif()
cmake_path(APPEND pc_full_libdir "\${prefix}" ${pc_libdir})
cmake_path(APPEND pc_full_includedir "\${prefix}" ${pc_includedir})

# What a program links besides: with a shared library nothing.
set(pc_cxx_libraries "-lstdc++ -lm -pthread")
if(pc_shared)
  set(pc_core_libraries "")
  set(pc_core_private "Libs.private: ${pc_cxx_libraries}")
  set(pc_frames_requires "Requires.private: imgcnv = ${pc_version}")
else()
  set(pc_core_libraries " ${pc_cxx_libraries}")
  set(pc_core_private "")
  set(pc_frames_requires "Requires: imgcnv = ${pc_version}")
endif()

configure_file(${pc_sources}/imgcnv.pc.in ${pc_made}/imgcnv.pc @ONLY)
configure_file(${pc_sources}/imgcnv-frames.pc.in ${pc_made}/imgcnv-frames.pc @ONLY)
