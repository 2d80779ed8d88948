# i686-w64-mingw32.cmake - cross-builds velnor.dll for 32-bit Windows with
# the mingw-w64 toolchain.  Use: cmake -DCMAKE_TOOLCHAIN_FILE=cmake/i686-w64-mingw32.cmake
# No 32-bit Windows runtime is expected on the build machine, so test programs
# are built but not run here.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(VELNOR_MINGW_TRIPLET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
