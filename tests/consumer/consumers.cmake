# The same two programs for each way to imgcnv::imgcnv. They ask for old C and no C++ standard
# themselves: what imgcnv.hpp needs is for the C++ program to say.
enable_testing()
foreach(language c cpp)
  add_executable(consumer_${language} ${CMAKE_CURRENT_LIST_DIR}/consumer.${language})
  target_link_libraries(consumer_${language} PRIVATE imgcnv::imgcnv)
  add_test(NAME consumer_${language} COMMAND consumer_${language})
endforeach()
set_target_properties(consumer_c PROPERTIES C_STANDARD 99 C_EXTENSIONS OFF)
target_compile_features(consumer_cpp PRIVATE cxx_std_20)
