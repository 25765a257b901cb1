#include "management/store/stored_settings.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/store/sections.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/redirect_output.hpp"

namespace management {

namespace {

/* The library reports only that it could not read the file. */
std::string why_unreadable() {
  const int file = open(configuration_path, O_RDWR | O_CLOEXEC);
  if (file == -1) {
    return std::strerror(errno);
  }
  close(file);
  return "its content could not be read";
}

}  // namespace

bool stored_exists() {
  return access(configuration_path, F_OK) == 0;
}

settings::Settings load_stored() {
  require_regular_file(configuration_path);
  const RedirectLibraryOutput redirection;
  settings::Settings stored;
  const auto all = sections();
  const bool is_loaded = std::all_of(all.begin(), all.end(), [&](const Section& section) {
    return section.load == nullptr || section.load(stored) == 0;
  });
  if (!is_loaded) {
    throw Error(std::string("cannot read ") + configuration_path + ": " + why_unreadable());
  }
  return stored;
}

settings::Settings stored_or_defaults() {
  if (stored_exists()) {
    return load_stored();
  }
  notify(std::string(configuration_path) + " does not exist yet; these are its defaults");
  settings::Settings defaults;
  for (const Section& section : sections()) {
    if (section.set_default != nullptr) {
      section.set_default(defaults);
    }
  }
  return defaults;
}

}  // namespace management
