#include "console/server/page.hpp"

#include <algorithm>

#include "console/server/problem.hpp"

namespace console {

/* Every browser takes gzip, so nothing else is kept of the large files. */
Response page_file(Console& /*console*/, const Request& request, const Caller& /*caller*/) {
  const auto files = page_files();
  const auto file = std::find_if(files.begin(), files.end(),
                                 [&](const PageFile& one) { return one.path == request.path; });
  if (file == files.end()) {
    return problem(404, "not_found", "this server was built without its pages");
  }
  Response response;
  response.headers = {{"Content-Type", std::string(file->type)}};
  if (file->is_gzipped) {
    response.headers.emplace_back("Content-Encoding", "gzip");
  }
  response.body = file->body;
  return response;
}

}  // namespace console
