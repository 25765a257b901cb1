/* What doctor says of the folder of the settings and of the files in it. */
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "management/error.hpp"
#include "management/health/health.hpp"
#include "management/store/paths.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

using State = Finding::State;

/* A start makes what is in the folder into rules, as root. Returns whether its owner alone may write. */
bool check_owner(Findings& findings, const std::string& path, const struct stat& about) {
  const std::string mode = S_ISDIR(about.st_mode) ? "755" : "600";
  if ((about.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    findings.push_back({State::problem, path, "can be written by others than its owner",
                        "chmod " + mode + " " + path + "; root follows what is in it"});
    return false;
  }
  if (about.st_uid != geteuid()) {
    findings.push_back(
        {State::warning, path, "belongs to user " + std::to_string(about.st_uid),
         "chown it to the user that runs l3ctl, number " + std::to_string(geteuid())});
    return false;
  }
  return true;
}

void check_folder(Findings& findings) {
  struct stat about = {};
  if (stat(settings_folder, &about) != 0 || !S_ISDIR(about.st_mode)) {
    findings.push_back({State::problem, settings_folder, "is not there",
                        "make the folder, on storage that outlives a restart"});
  } else if (access(settings_folder, W_OK) != 0) {
    findings.push_back({State::problem, settings_folder,
                        std::string("cannot be written: ") + std::strerror(errno),
                        "mount it writable; until then no setting is kept"});
  } else if (check_owner(findings, settings_folder, about)) {
    findings.push_back({State::ok, settings_folder, "can be written", ""});
  }
}

/* "is a directory, not a regular file"; empty for a regular file. */
std::string special_kind(const std::string& path) {
  try {
    require_regular_file(path);
    return "";
  } catch (const Error& error) {
    return without_path(error.what(), path);
  }
}

void check_permissions(Findings& findings) {
  struct stat about = {};
  if (lstat(configuration_path, &about) != 0) {
    if (errno == ENOENT) {
      findings.push_back(
          {State::ok, configuration_path, "does not exist yet; the next start makes it", ""});
    } else {
      findings.push_back({State::problem, configuration_path,
                          std::string("cannot be looked at: ") + std::strerror(errno),
                          "see to the storage it lies on; until then no setting is known"});
    }
  } else if (const std::string special = special_kind(configuration_path); !special.empty()) {
    findings.push_back({State::problem, configuration_path, special,
                        "remove it; the next start makes one with defaults"});
  } else if (stat(configuration_path, &about) != 0) {
    findings.push_back({State::problem, configuration_path, "is a link that leads nowhere",
                        "remove it; the next start makes a file with defaults"});
  } else if (check_owner(findings, configuration_path, about)) {
    findings.push_back({State::ok, configuration_path, "can be written by its owner alone", ""});
  }
}

/* A saved rule set: a start brings back the IPv6 one as it is, and records empty chains without. */
void check_saved_rules(Findings& findings, const std::string& path) {
  std::optional<std::string> text;
  try {
    // The line that ends a rule set is followed by no more than a comment.
    text = read_end_if_exists(path, 4096);
  } catch (const Error& failure) {
    findings.push_back({State::problem, path, without_path(failure.what(), path),
                        "remove it" + and_remedy(Remedy::Kind::save_rules_anew)});
    return;
  }
  struct stat about = {};
  if (!text || stat(path.c_str(), &about) != 0) {
    findings.push_back({State::warning,
                        path,
                        "is not there, so the next start records the empty chains and brings no "
                        "rules back",
                        "",
                        {{Remedy::Kind::save_rules}}});
  } else if (text->find("\nCOMMIT\n") == std::string::npos) {
    findings.push_back({State::problem,
                        path,
                        "is cut short, so it cannot be restored",
                        "",
                        {{Remedy::Kind::save_rules_anew}}});
  } else if (check_owner(findings, path, about)) {
    findings.push_back({State::ok, path, "is whole", ""});
  }
}

}  // namespace

std::string without_path(const std::string& what, const std::string& path) {
  const std::string start = path + ": ";
  return what.starts_with(start) ? what.substr(start.size()) : what;
}

void check_files(Findings& findings) {
  check_folder(findings);
  check_permissions(findings);
  check_saved_rules(findings, saved_rules_path);
  check_saved_rules(findings, saved_rules6_path);
  if (access(migration_flag, F_OK) == 0) {
    findings.push_back({State::warning, migration_flag,
                        "is there: the next start takes the stored records for those of version 1",
                        "remove it, unless this gateway has just been upgraded from version 1"});
  }
}

}  // namespace management
