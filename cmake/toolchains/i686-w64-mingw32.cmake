# Cross-compiles for 32-bit Windows with mingw-w64 (Debian: g++-mingw-w64-i686).
#   cmake -S . -B build/win32 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/i686-w64-mingw32.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)
set(TAVRIC_MINGW_TRIPLET i686-w64-mingw32)
set(TAVRIC_WIDL_TARGET --win32)

# SSE2 arithmetic instead of the x87 unit, whose extended precision would
# round intermediate results differently from the 64-bit builds.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")

include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
