# Settings shared by the mingw-w64 toolchain files; they set
# TAVRIC_MINGW_TRIPLET and TAVRIC_WIDL_TARGET before including this file.
set(CMAKE_C_COMPILER ${TAVRIC_MINGW_TRIPLET}-gcc)
# The posix thread model: thread_local and std::thread need it.
find_program(TAVRIC_MINGW_CXX NAMES ${TAVRIC_MINGW_TRIPLET}-g++-posix ${TAVRIC_MINGW_TRIPLET}-g++)
set(CMAKE_CXX_COMPILER ${TAVRIC_MINGW_CXX})
set(CMAKE_RC_COMPILER ${TAVRIC_MINGW_TRIPLET}-windres)
set(TAVRIC_WIDL ${TAVRIC_MINGW_TRIPLET}-widl)

set(CMAKE_FIND_ROOT_PATH /usr/${TAVRIC_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Everything linked statically: a plain Windows installation has no mingw
# runtime DLLs (libstdc++, libgcc, winpthread).
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Header-only packages (CLI11, nlohmann_json, Eigen3) come from the build machine,
# through the configs in host-packages/ (see there).
set(CLI11_DIR ${CMAKE_CURRENT_LIST_DIR}/host-packages CACHE PATH "CLI11 for the cross build")
set(nlohmann_json_DIR ${CMAKE_CURRENT_LIST_DIR}/host-packages
    CACHE PATH "nlohmann_json for the cross build")
set(Eigen3_DIR ${CMAKE_CURRENT_LIST_DIR}/host-packages CACHE PATH "Eigen3 for the cross build")
