# The NumPy module: plain files, installed where Debian's interpreter looks below the prefix.
set(python /usr/bin/python3) # not another one that may stand first on the path
execute_process(COMMAND ${python} -c "if True:
    import re, sys, sysconfig
    scheme = sysconfig.get_default_scheme()
    if sys.argv[1] == '/usr' and 'deb_system' in sysconfig.get_scheme_names():
        scheme = 'deb_system'
    print(re.sub('^/usr/(local/)?', '', sysconfig.get_path('purelib', scheme)))"
    ${CMAKE_INSTALL_PREFIX}
  OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE python_missing)
if(python_missing OR NOT BUILD_SHARED_LIBS)
  message(STATUS "The Python module is not installed: it takes ${python} and shared libraries")
  return()
endif()
set(IMGCNV_PYTHON_DIR ${found} CACHE STRING
    "Where the Python module is installed, absolute or below the prefix")

set(module_dir ${IMGCNV_PYTHON_DIR}/imgcnv)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/imgcnv/ DESTINATION ${module_dir} COMPONENT python
        FILES_MATCHING PATTERN "*.py" PATTERN "py.typed"
        PATTERN "__pycache__" EXCLUDE)

# The module takes the libraries that lie beside it. Links to the installed ones let it work below
# any prefix; distributions, which set CMAKE_SKIP_INSTALL_RPATH, have the loader find them.
if(NOT CMAKE_SKIP_INSTALL_RPATH AND NOT IS_ABSOLUTE ${IMGCNV_PYTHON_DIR}
   AND NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
             BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${module_dir} OUTPUT_VARIABLE libdir_from_module)
  install(CODE "
    foreach(library libimgcnv libimgcnv_frames)
      set(link \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${module_dir}/\${library}.so.${PROJECT_VERSION_MAJOR}\")
      file(REMOVE \"\${link}\")
      file(CREATE_LINK \"${libdir_from_module}/\${library}.so.${PROJECT_VERSION_MAJOR}\" \"\${link}\" SYMBOLIC)
      list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${CMAKE_INSTALL_PREFIX}/${module_dir}/\${library}.so.${PROJECT_VERSION_MAJOR}\")
    endforeach()" COMPONENT python)
endif()
