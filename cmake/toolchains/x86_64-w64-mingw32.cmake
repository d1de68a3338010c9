# Cross-compiles for 64-bit Windows with mingw-w64 (Debian: g++-mingw-w64-x86-64).
#   cmake -S . -B build/win64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/x86_64-w64-mingw32.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(TAVRIC_MINGW_TRIPLET x86_64-w64-mingw32)
set(TAVRIC_WIDL_TARGET --win64)

include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
