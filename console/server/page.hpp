/* The files of the pages, as console/page has built them into the server. */
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "console/server/console.hpp"

namespace console {

struct PageFile {
  std::string_view path;
  std::string_view type;
  std::string_view body;
  bool is_gzipped;
};

std::span<const PageFile> page_files();

Response page_file(Console& console, const Request& request, const Caller& caller);

}  // namespace console
