# nlohmann_json for a cross build: the build machine's header-only library
# (Debian: nlohmann-json3-dev), seen through a folder that holds nothing but
# its headers. Its own package would add the host's /usr/include, whose C
# library headers must never reach the cross compiler.
find_path(TAVRIC_HOST_NLOHMANN_JSON_INCLUDE_DIR nlohmann/json.hpp
  PATHS /usr/include /usr/local/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(NOT TAVRIC_HOST_NLOHMANN_JSON_INCLUDE_DIR)
  set(nlohmann_json_FOUND FALSE)
  set(nlohmann_json_NOT_FOUND_MESSAGE
      "nlohmann/json.hpp not found on the build machine (Debian: nlohmann-json3-dev)")
  return()
endif()
if(NOT TARGET nlohmann_json::nlohmann_json)
  set(_tavric_dir ${CMAKE_BINARY_DIR}/host-headers/nlohmann_json)
  file(MAKE_DIRECTORY ${_tavric_dir})
  file(CREATE_LINK ${TAVRIC_HOST_NLOHMANN_JSON_INCLUDE_DIR}/nlohmann ${_tavric_dir}/nlohmann
       SYMBOLIC)
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
  set_target_properties(nlohmann_json::nlohmann_json PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${_tavric_dir})
  unset(_tavric_dir)
endif()
set(nlohmann_json_FOUND TRUE)
