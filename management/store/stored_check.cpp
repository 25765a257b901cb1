#include "management/store/stored_check.hpp"

#include "management/error.hpp"
#include "management/remedy.hpp"
#include "management/store/paths.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

using settings::ByteOrder;
using settings::StoredFile;
using settings::StoredFinding;

/* The first fault, and how many follow. */
std::string in_one_line(const settings::StoredFile& stored) {
  const StoredFinding* first = nullptr;
  size_t more = 0;
  for (const StoredFinding& finding : stored.findings) {
    if (finding.kind == StoredFinding::Kind::note) {
      continue;
    }
    more += first != nullptr ? 1 : 0;
    first = first != nullptr ? first : &finding;
  }
  if (first == nullptr) {
    return "";
  }
  return std::string(configuration_path) + " is " + name_of(first->kind) + " (" + first->where +
         ": " + first->what + (more == 0 ? "" : "; and " + std::to_string(more) + " more") + ")";
}

}  // namespace

StoredFile inspect_stored_file(const std::string& file, std::string_view bytes) {
  StoredFile stored = settings::read_stored_file(bytes);
  const bool is_other =
      stored.order != ByteOrder::unknown && stored.order != settings::host_byte_order();
  if (is_other && is_in_use(file)) {
    stored.findings.insert(
        stored.findings.begin(),
        {StoredFinding::Kind::implausible, 0, "the file",
         std::string("was written by a ") + name_of(stored.order) +
             " host: the library of this one reads the bytes of every word in the wrong order",
         // What else is wrong would be taken over.
         settings::is_plausible(stored) ? settings::Remedy::convert_file
                                        : settings::Remedy::restore_backup});
  }
  return stored;
}

bool is_in_use(const std::string& file) {
  std::error_code error;
  return file == configuration_path || std::filesystem::equivalent(file, configuration_path, error);
}

const char* name_of(ByteOrder order) {
  return order == ByteOrder::little ? "little-endian"
         : order == ByteOrder::big  ? "big-endian"
                                    : "unknown";
}

const char* name_of(StoredFinding::Kind kind) {
  return kind == StoredFinding::Kind::torn          ? "torn"
         : kind == StoredFinding::Kind::implausible ? "implausible"
                                                    : "note";
}

void require_regular_store() {
  for (const char* file :
       {configuration_path, saved_rules_path, saved_rules6_path, pending_path, time_zone_path}) {
    try {
      require_regular_file(file);
    } catch (const Error& error) {
      throw Error(std::string(error.what()) + "; nothing was changed");
    }
  }
}

std::string stored_damage() {
  const auto bytes = read_start_if_exists(configuration_path, largest_stored_file);
  return bytes ? in_one_line(inspect_stored_file(configuration_path, *bytes)) : "";
}

void warn_of_stored_damage() {
  require_regular_file(configuration_path);
  try {
    if (const std::string damage = stored_damage(); !damage.empty()) {
      notify("warning: " + damage + and_remedy(Remedy::Kind::inspect));
    }
  } catch (const Error& error) {
    notify(std::string("warning: ") + error.what() + "; it was not checked");
  }
}

}  // namespace management
