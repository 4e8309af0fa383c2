# What `cmake --install` puts where. Five components: "libraries", "runtime" (the command),
# "development" (headers, link names, CMake and pkg-config files), "python" (the NumPy module) and
# "web" (the viewer).
#
# The installed tree may be moved: no file in it holds the prefix it was installed to, except the
# pkg-config files of the folders that compilers search anyway.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/imgcnv)

# The frames library finds the other one beside it, wherever the tree is moved.
set_target_properties(imgcnv_frames PROPERTIES EXPORT_NAME frames INSTALL_RPATH "$ORIGIN")
install(TARGETS imgcnv imgcnv_frames
        EXPORT imgcnv-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
                COMPONENT libraries
                NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/imgcnv.h include/imgcnv.hpp include/imgcnv_frames.h
              include/imgcnv_frames.hpp
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

# The .pc files are written when the prefix is known. That is at installation.
set(pc_settings ${CMAKE_CURRENT_BINARY_DIR}/pkg_config_settings.cmake)
file(WRITE ${pc_settings} "
set(pc_sources [[${PROJECT_SOURCE_DIR}/cmake]])
set(pc_made [[${CMAKE_CURRENT_BINARY_DIR}]])
set(pc_version [[${PROJECT_VERSION}]])
set(pc_description [[${PROJECT_DESCRIPTION}]])
set(pc_libdir [[${CMAKE_INSTALL_LIBDIR}]])
set(pc_includedir [[${CMAKE_INSTALL_INCLUDEDIR}]])
set(pc_architecture [[${CMAKE_LIBRARY_ARCHITECTURE}]])
set(pc_shared [[${BUILD_SHARED_LIBS}]])
include([[${PROJECT_SOURCE_DIR}/cmake/pkg_config.cmake]])
")
install(SCRIPT ${pc_settings} COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/imgcnv.pc ${CMAKE_CURRENT_BINARY_DIR}/imgcnv-frames.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
           BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE libdir_from_bindir)
if(TARGET imgcnv_tool)
  set_target_properties(imgcnv_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${libdir_from_bindir}")
  install(TARGETS imgcnv_tool DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()

# The page of scripts/build-web.sh, where it has been made: `imgcnv view` opens it.
install(FILES dist/viewer.html DESTINATION ${CMAKE_INSTALL_DATADIR}/imgcnv COMPONENT web OPTIONAL)

include(cmake/install_python.cmake)
