# mingw-common.cmake - the part of the two Windows toolchain files that does
# not depend on the target width.  Expects VELNOR_MINGW_TRIPLET.
#
# The posix thread-model compilers are used so that the whole C++ library is
# available; everything from the compiler's runtime is linked statically so
# the DLL and the test programs need only system DLLs.
foreach(tool gcc g++)
  find_program(VELNOR_FOUND_${tool} NAMES ${VELNOR_MINGW_TRIPLET}-${tool}-posix ${VELNOR_MINGW_TRIPLET}-${tool} REQUIRED)
endforeach()
set(CMAKE_C_COMPILER ${VELNOR_FOUND_gcc})
set(CMAKE_CXX_COMPILER ${VELNOR_FOUND_g++})
set(CMAKE_RC_COMPILER ${VELNOR_MINGW_TRIPLET}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${VELNOR_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
