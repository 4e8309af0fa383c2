# What every target of this project is compiled with.
#
# imgcnv_options is linked privately by each target. Floating-point contraction
# is off everywhere: a fused multiply-add changes the luma.
include(CheckCXXCompilerFlag)

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

# Hardening, where the compiler has it: checked calls of the C library, guarded return addresses
# and stack buffers, probes of every stack page, and addresses that are read-only after loading.
if(NOT EMSCRIPTEN AND NOT IMGCNV_SANITIZE)
  set(CMAKE_REQUIRED_FLAGS -Werror) # Clang only warns of a flag that this CPU does not have
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection
               -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "IMGCNV_HAS${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(${has})
      target_compile_options(imgcnv_options INTERFACE ${flag})
    endif()
  endforeach()
  unset(CMAKE_REQUIRED_FLAGS)
  target_compile_options(imgcnv_options INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release,RelWithDebInfo>:-D_FORTIFY_SOURCE=2>)
  target_link_options(imgcnv_options INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

# Programs read files that anybody may have made: an index beyond a vector's end ends them, too. The
# libraries go without these checks of the standard library, for the sake of their inner loops.
add_library(imgcnv_hardening INTERFACE)
if(NOT IMGCNV_SANITIZE AND NOT EMSCRIPTEN)
  target_compile_definitions(imgcnv_hardening INTERFACE _GLIBCXX_ASSERTIONS)
endif()

# A library that needs no more than it is linked with, and shows what `map` lists.
function(imgcnv_export_only library map)
  set_property(TARGET ${library} PROPERTY LINK_DEPENDS ${map})
  if(EMSCRIPTEN)
    return()
  endif()
  target_link_options(${library} PRIVATE -Wl,--version-script=${map} -Wl,--as-needed)
  if(NOT IMGCNV_SANITIZE) # whose runtime Clang links to programs alone
    target_link_options(${library} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()
