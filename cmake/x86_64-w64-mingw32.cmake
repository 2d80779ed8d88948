# x86_64-w64-mingw32.cmake - cross-builds velnor for 64-bit Windows with the
# mingw-w64 toolchain; ctest runs the test programs under wine.
# Use: cmake -DCMAKE_TOOLCHAIN_FILE=cmake/x86_64-w64-mingw32.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(VELNOR_MINGW_TRIPLET x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)

# Test programs run through a wrapper that keeps a private, quiet wine prefix
# inside the build directory and initialises it on first use.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine-run.sh ${CMAKE_BINARY_DIR}/wineprefix)
