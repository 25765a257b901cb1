# CLI11 and nlohmann-json are headers alone, the same for every processor. A firmware build system has them in its sysroot.
# A cross compiler does not look into the build machine's own /usr/include, whose other headers would be wrong: where the
# sysroot lacks the two, it gets a folder that holds nothing else.
function(add_header_library name header)
  string(TOUPPER ${name}_INCLUDE include)
  find_path(${include} ${header})
  if(NOT ${include})
    cmake_path(GET header PARENT_PATH folder)
    find_path(${include}_OF_BUILD_MACHINE ${header} NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/include)
    file(CREATE_LINK ${${include}_OF_BUILD_MACHINE}/${folder} ${CMAKE_BINARY_DIR}/include/${folder} SYMBOLIC)
    set(${include} ${CMAKE_BINARY_DIR}/include)
  endif()
  add_library(${name} INTERFACE)
  # The compiler's own place needs no naming, and must not come before the C++ library's.
  if(CMAKE_CROSSCOMPILING AND NOT ${include} IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    target_include_directories(${name} SYSTEM INTERFACE ${${include}})
  endif()
endfunction()

add_header_library(l3_json nlohmann/json.hpp)
add_header_library(l3_parser CLI/CLI.hpp)
