#include "l3ctl/stored_commands.hpp"

#include <unistd.h>

#include <cstring>
#include <string_view>

#include "l3ctl/context.hpp"
#include "l3ctl/library.hpp"
#include "l3ctl/printable.hpp"
#include "l3ctl/whole_file.hpp"
#include "settings/stored_file.hpp"

namespace l3ctl {

namespace {

/* A start renames the old file and reads it as the stored one, if the flag is there. */
constexpr char migration_flag[] = "/ztcfg/v1_to_v2.flag";
constexpr char old_path[] = "/ztcfg/l3_advance.conf";

void refuse(const char* file, const std::string& command) {
  if (!command.empty()) {
    throw Failure(std::string(file) + ": " + command +
                  "; \"l3ctl inspect\" says what to do; nothing was changed");
  }
}

}  // namespace

std::string command_in(const settings::Settings& stored) {
  constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:/-";
  size_t number = 0;
  for (const l3_caporl_entry& entry : stored.captive_portal->entries) {
    const std::string text(entry.caporl_ip, strnlen(entry.caporl_ip, sizeof entry.caporl_ip));
    if (text.find_first_not_of(plain) != std::string::npos) {
      return "captive_portal.destinations[" + std::to_string(number) + "], \"" + printable(text) +
             "\", holds what a shell could run";
    }
    ++number;
  }
  return "";
}

void refuse_stored_commands(const settings::Settings& stored) {
  refuse(configuration_path, command_in(stored));
}

void refuse_commands_to_migrate() {
  if (access(migration_flag, F_OK) != 0) {
    return;
  }
  if (const auto bytes = read_if_there(old_path)) {
    refuse(old_path, command_in(settings::settings_of(settings::read_stored_file(*bytes))));
  }
}

}  // namespace l3ctl
