/*
 * The lists of a configuration file. A section that begins new and ends old has a count that its
 * entries do not fit, which is what is looked for here.
 */
#include <algorithm>
#include <array>
#include <cstring>

#include "settings/object.hpp"
#include "settings/settings.hpp"
#include "settings/stored_file/findings.hpp"
#include "settings/stored_file/image.hpp"

namespace settings {

namespace {

using Findings = std::vector<StoredFinding>;
using enum StoredFinding::Kind;

constexpr char begins_new_ends_old[] = "a section begins new and ends old where a write was cut";

StoredField field_of(const StoredSection& section, const Member& member, size_t entry) {
  return {&section, &member, static_cast<int>(entry), section.entry_offset(entry) + member.offset};
}

std::string entry_name(const StoredSection& section, size_t entry) {
  return item_path(std::string(section.name) + ".entries", entry);
}

void judge_count(const StoredSection& section, std::string_view image, Findings& findings) {
  const auto count = static_cast<int32_t>(word_at(image, section.offset));
  const std::string where = std::string(section.name) + ".count";
  if (count < 0) {
    findings.push_back(
        finding_in(section, implausible, section.offset, where,
                   std::to_string(count) + ": a negative count is read as no entry"));
  } else if (static_cast<size_t>(count) > section.capacity) {
    findings.push_back(finding_in(
        section, implausible, section.offset, where,
        std::to_string(count) + ", but there is room for " + std::to_string(section.capacity) +
            ": rules are made from whatever lies behind the entries too"));
  }
}

bool is_zero(const StoredSection& section, std::string_view image, size_t entry) {
  return is_empty(image, section.entry_offset(entry), section.entry_size);
}

/* The conversion of an older file leaves its list mode and switch at these bytes of the section. */
bool is_left_by_conversion(const StoredSection& section, std::string_view image, size_t entry) {
  constexpr size_t old_words = 1804;
  constexpr size_t old_end = 1812;
  const size_t begin = section.entry_offset(entry) - section.offset;
  const size_t end = begin + section.entry_size;
  const size_t first = std::max(begin, old_words);
  const size_t last = std::min(end, old_end);
  return std::strcmp(section.name, "fw_rules_table.url_filter") == 0 && first < last &&
         is_empty(image, section.offset + begin, first - begin) &&
         is_empty(image, section.offset + last, end - last);
}

void judge_behind_count(const StoredSection& section, std::string_view image, Findings& findings) {
  size_t first = section.capacity;
  size_t number = 0;
  for (size_t i = used_entries(section, image); i < section.capacity; ++i) {
    if (!is_zero(section, image, i) && !is_left_by_conversion(section, image, i)) {
      first = std::min(first, i);
      ++number;
    }
  }
  if (number != 0) {
    findings.push_back(
        finding_in(section, torn, section.entry_offset(first), entry_name(section, first),
                   std::to_string(number) + (number == 1 ? " entry" : " entries") +
                       " not empty behind the count of " +
                       std::to_string(used_entries(section, image)) + ": " + begins_new_ends_old));
  }
}

/* Settings refuse it, but it blocks nothing, so it is a note. The reader reports zeros. */
void judge_mac(const StoredField& field, std::string_view image, Findings& findings) {
  std::array<uint8_t, 6> mac;
  std::memcpy(mac.data(), image.data() + field.offset, mac.size());
  const char* group = group_of(mac);
  const char* section = field.section->setting;
  if (group != nullptr && section != nullptr) {
    findings.push_back({note, field.offset, name_of(field),
                        mac_text(mac) + " is a " + group +
                            " address, from which no device sends: the entry has no effect",
                        Remedy::delete_entry, section, mac_text(mac)});
  }
}

void judge_text(const StoredField& field, std::string_view image, Findings& findings) {
  const std::string_view text = image.substr(field.offset, field.member->size);
  const size_t end = text.find('\0');
  if (end == std::string_view::npos) {
    findings.push_back(finding_in(*field.section, implausible, field.offset, name_of(field),
                                  "has no zero at its end"));
  } else if (!is_empty(text, end, text.size())) {
    findings.push_back({note, field.offset, name_of(field),
                        "bytes stand behind its end: a cut write leaves such, or whoever set it",
                        Remedy::check_text});
  }
}

void judge_member(const StoredField& field, std::string_view image, Findings& findings) {
  switch (field.member->kind) {
    case FieldKind::mac:
      judge_mac(field, image, findings);
      break;
    case FieldKind::text:
      judge_text(field, image, findings);
      break;
    case FieldKind::on_if_set:
    case FieldKind::down_if_set:
    case FieldKind::wan_if_set:
      if (word_at(image, field.offset) > 1) {
        findings.push_back(finding_in(*field.section, implausible, field.offset, name_of(field),
                                      meaning_of(field, image)));
      }
      break;
    default:  // Judged by the reader of settings files.
      break;
  }
}

/* An entry of zeros is a rule of the IP filters, for every packet, and an empty place of the access
 * list; elsewhere it can only be one that was not written. */
void judge_empty_entry(const StoredSection& section, size_t entry, Findings& findings) {
  const std::string name = section.name;
  if (name.ends_with(".acl")) {
    return;
  }
  const bool is_rule = name.ends_with(".ip_filter");
  findings.push_back(finding_in(
      section, is_rule ? note : torn, section.entry_offset(entry), entry_name(section, entry),
      is_rule ? std::string("is zero throughout, a rule for every packet from the LAN; if nobody "
                            "made that, ") +
                    begins_new_ends_old
              : std::string("is in use by the count, but empty: ") + begins_new_ends_old));
}

/* The file offset of the entry or section that a path of the settings names. */
size_t offset_of(const std::string& path) {
  const std::string name = path.substr(0, path.find('.'));
  const size_t bracket = path.find('[');
  for (const StoredSection& section : stored_sections()) {
    if (section.setting != nullptr && section.setting == name) {
      return bracket == std::string::npos || section.capacity == 0
                 ? section.offset
                 : section.entry_offset(std::stoul(path.substr(bracket + 1)));
    }
  }
  return fw_offset;
}

}  // namespace

void judge_list(const StoredSection& section, std::string_view image, Findings& findings) {
  judge_count(section, image, findings);
  for (size_t i = 0; i < used_entries(section, image); ++i) {
    if (is_zero(section, image, i)) {
      judge_empty_entry(section, i, findings);
      continue;
    }
    for (const Member& member : section.entry) {
      judge_member(field_of(section, member, i), image, findings);
    }
  }
  judge_behind_count(section, image, findings);
}

void check_by_reader(std::string_view image, Findings& findings) {
  const Reading reading = read(write(settings_of(image)), Origin::stored);
  for (const Problem& error : reading.errors) {
    const size_t offset = offset_of(error.path);
    if (std::any_of(findings.begin(), findings.end(), [offset](const StoredFinding& finding) {
          return finding.kind == torn && finding.offset == offset;
        })) {
      continue;  // An empty entry has no host name either.
    }
    findings.push_back({StoredFinding::Kind::implausible, offset, error.path, error.what,
                        Remedy::rewrite_section, error.path.substr(0, error.path.find('.'))});
  }
}

}  // namespace settings
