# The same programs for each way to imgcnv::imgcnv and imgcnv::frames. They ask for old C and no C++
# standard themselves: what imgcnv.hpp needs is for the C++ program to say.
enable_testing()
foreach(program consumer.c consumer.cpp frames.c)
  string(REPLACE . _ name ${program})
  add_executable(${name} ${CMAKE_CURRENT_LIST_DIR}/${program})
  add_test(NAME ${name} COMMAND ${name})
endforeach()
target_link_libraries(consumer_c PRIVATE imgcnv::imgcnv)
target_link_libraries(consumer_cpp PRIVATE imgcnv::imgcnv)
target_link_libraries(frames_c PRIVATE imgcnv::frames)
set_target_properties(consumer_c frames_c PROPERTIES C_STANDARD 99 C_EXTENSIONS OFF)
target_compile_features(consumer_cpp PRIVATE cxx_std_20)
