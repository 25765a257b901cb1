#include "management/store/unsafe_text.hpp"

#include <unistd.h>

#include <cstring>
#include <string_view>

#include "management/error.hpp"
#include "management/remedy.hpp"
#include "management/store/paths.hpp"
#include "management/store/stored_check.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/escape.hpp"
#include "settings/stored_file/stored_file.hpp"

namespace management {

namespace {

void refuse(const char* file, const std::string& command) {
  if (!command.empty()) {
    throw Error(std::string(file) + ": " + command + and_remedy(Remedy::Kind::inspect_unsafe) +
                "; nothing was changed");
  }
}

}  // namespace

std::string find_unsafe_text(const settings::Settings& stored) {
  constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:/-";
  size_t number = 0;
  for (const l3_caporl_entry& entry : stored.captive_portal->entries) {
    const std::string text(entry.caporl_ip, strnlen(entry.caporl_ip, sizeof entry.caporl_ip));
    if (text.find_first_not_of(plain) != std::string::npos) {
      return "captive_portal.destinations[" + std::to_string(number) + "], \"" + escape(text) +
             "\", holds what a shell could run";
    }
    ++number;
  }
  return "";
}

void reject_unsafe_text(const settings::Settings& stored) {
  refuse(configuration_path, find_unsafe_text(stored));
}

void reject_unsafe_migration() {
  if (access(migration_flag, F_OK) != 0) {
    return;
  }
  if (const auto bytes = read_start_if_exists(old_path, largest_stored_file)) {
    refuse(old_path, find_unsafe_text(settings::settings_of(settings::read_stored_file(*bytes))));
  }
}

}  // namespace management
