/* What is wrong with a settings text, collected so that everything is told at once. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace settings {

class Problems {
 public:
  /* `source` names the text in every message, usually the file's name. */
  explicit Problems(std::string source) : source_(std::move(source)) {}

  /* "source:line: path: what"; the path is left out where it is empty. */
  void refuse(size_t line, const std::string& path, const std::string& what) {
    errors.push_back(message(line, path, what));
  }
  void warn(size_t line, const std::string& path, const std::string& what) {
    warnings.push_back(message(line, path, what));
  }

  std::vector<std::string> errors;
  std::vector<std::string> warnings;

 private:
  std::string message(size_t line, const std::string& path, const std::string& what) const {
    return source_ + ":" + std::to_string(line) + ": " + (path.empty() ? "" : path + ": ") + what;
  }

  std::string source_;
};

}  // namespace settings
