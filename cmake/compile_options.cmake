# What every target of this project is compiled with.
#
# imgcnv_options is linked privately by each target. Floating-point contraction
# is off everywhere: a fused multiply-add changes the luma.
add_library(imgcnv_options INTERFACE)
target_compile_features(imgcnv_options INTERFACE cxx_std_20)
target_compile_options(imgcnv_options INTERFACE -Wall -Wextra -ffp-contract=off)
if(IMGCNV_WERROR)
  target_compile_options(imgcnv_options INTERFACE -Werror)
endif()

# Release means -O2 with asserts off; -O3 gains nothing on the hand-vectorised
# loops and doubles the size of the rest.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG")

# IMGCNV_SANITIZE: a comma list for -fsanitize=, set by the sanitizer presets.
if(IMGCNV_SANITIZE)
  add_compile_options(-fsanitize=${IMGCNV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${IMGCNV_SANITIZE})
endif()
