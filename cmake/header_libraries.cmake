# CLI11 and nlohmann-json are headers alone, the same for every processor. A firmware build system has them in its sysroot.
# A cross compiler does not look into the build machine's own /usr/include, whose other headers would be wrong: where the
# sysroot lacks the two, it gets a folder that holds nothing else.
function(add_header_library name header)
  find_path(${name}_INCLUDE ${header})
  if(NOT ${name}_INCLUDE)
    cmake_path(GET header PARENT_PATH folder)
    find_path(${name}_OF_BUILD_MACHINE ${header} NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/include)
    file(CREATE_LINK ${${name}_OF_BUILD_MACHINE}/${folder} ${CMAKE_BINARY_DIR}/include/${folder} SYMBOLIC)
    set(${name}_INCLUDE ${CMAKE_BINARY_DIR}/include)
  endif()
  add_library(${name} INTERFACE)
  # The compiler's own place needs no naming, and must not come before the C++ library's.
  if(CMAKE_CROSSCOMPILING AND NOT ${name}_INCLUDE IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    target_include_directories(${name} SYSTEM INTERFACE ${${name}_INCLUDE})
  endif()
endfunction()

add_header_library(l3_json nlohmann/json.hpp)
add_header_library(l3_parser CLI/CLI.hpp)
