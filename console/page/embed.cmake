# Writes the pages' files as a C++ source.   cmake -DFOLDER=… -DOUTPUT=… -P embed.cmake
set(arrays "")
set(rows "")

# add(PATH FILE TYPE NAME): where the file is there.
macro(add path file type name)
  if(EXISTS ${FOLDER}/${file})
    file(READ ${FOLDER}/${file} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(APPEND arrays "const unsigned char ${name}[] = {${bytes}};\n")
    string(REGEX MATCH "\\.gz$" is_gzipped ${file})
    if(is_gzipped)
      set(is_gzipped true)
    else()
      set(is_gzipped false)
    endif()
    string(APPEND rows "      {\"${path}\", \"${type}\", text_of(${name}), ${is_gzipped}},\n")
  endif()
endmacro()

add(/ index.html "text/html; charset=utf-8" index_html)
add(/app.css app.css.gz "text/css; charset=utf-8" app_css)
add(/app.js app.js.gz "text/javascript; charset=utf-8" app_js)

file(WRITE ${OUTPUT} "// Written by console/page/embed.cmake.
#include \"console/server/page.hpp\"

namespace console {

namespace {

${arrays}
template <std::size_t Size>
std::string_view text_of(const unsigned char (&bytes)[Size]) {
  return {reinterpret_cast<const char*>(bytes), Size};
}

}  // namespace

std::span<const PageFile> page_files() {
  static const PageFile files[] = {
${rows}  };
  return files;
}

}  // namespace console
")
