# What `cmake --install` puts where. Two components: "runtime" (the library and the command) and
# "development" (headers, link name, CMake and pkg-config files).
#
# The installed tree may be moved: no file in it holds the prefix it was installed to.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/imgcnv)

install(TARGETS imgcnv
        EXPORT imgcnv-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
                COMPONENT runtime
                NAMELINK_COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/imgcnv.h include/imgcnv.hpp
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

install(EXPORT imgcnv-targets NAMESPACE imgcnv::
        DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/imgcnv-config.cmake.in imgcnv-config.cmake
                              INSTALL_DESTINATION ${package_dir}
                              NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(imgcnv-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/imgcnv-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/imgcnv-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)

# pkg-config finds the prefix from the place of the .pc file, unless a directory was given
# absolute and so does not move with it.
cmake_path(IS_ABSOLUTE CMAKE_INSTALL_LIBDIR libdir_is_absolute)
if(libdir_is_absolute)
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
             BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig
             OUTPUT_VARIABLE up)
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${up}")
endif()
cmake_path(APPEND pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(cmake/imgcnv.pc.in imgcnv.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/imgcnv.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(TARGET imgcnv_tool)
  # The command finds the library beside it, wherever the tree is moved.
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
             BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE libdir_from_bindir)
  set_target_properties(imgcnv_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${libdir_from_bindir}")
  install(TARGETS imgcnv_tool DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()
