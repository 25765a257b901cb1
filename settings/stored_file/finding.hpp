/* What is torn or implausible about a configuration file, and what to do about it, as data. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace settings {

/* A front end words it, with its own commands. */
enum class Remedy : uint8_t {
  replace_file, /* put a backup back, or remove the file: the next start makes one with defaults */
  replace_to_clean, /* the same, where nothing reads what is wrong */
  restore_backup,
  convert_file, /* put the file back in place of itself, in this host's byte order */
  drop_excess,  /* put the file back in place of itself, which leaves out what is behind its end */
  rewrite_line, /* the same, which writes the line anew as it counts */
  set_switch,   /* set the switch of `section` */
  set_level,    /* set the security level and look at the other settings, or put a backup back */
  rewrite_section, /* export `section`, mend it and set it again, or put a backup back */
  delete_entry,    /* delete the entry of `section` that `entry` names */
  check_text,      /* check that the text is as it was set */
};

struct StoredFinding {
  /* Torn: a write was interrupted. Implausible: no settings file can produce this. Note: harmless. */
  enum class Kind : uint8_t { torn, implausible, note };
  Kind kind;
  size_t offset; /* in the file */
  std::string where;
  std::string what;
  Remedy remedy;
  std::string section = {}; /* of the settings */
  std::string entry = {};
};

}  // namespace settings
