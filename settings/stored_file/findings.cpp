/* The file as a whole: its size, its two lines, its switches and modes. */
#include "settings/stored_file/findings.hpp"

#include <algorithm>

#include "settings/document.hpp"
#include "settings/stored_file/image.hpp"

namespace settings {

namespace {

using Findings = std::vector<StoredFinding>;
using enum StoredFinding::Kind;

constexpr size_t ipsec_offset = fw_offset + offsetof(l3_fw_rules, ipsec_pass_ctrl);
constexpr size_t ipsec6_offset = fw6_offset + offsetof(l3_fw6_rules, ipsec_pass_ctrl);

bool is_one_in_any_order(std::string_view bytes, size_t offset) {
  const std::string_view word = bytes.substr(offset, 4);
  return word == std::string_view("\0\0\0\1", 4) || word == std::string_view("\1\0\0\0", 4);
}

/* How many bytes too early the records lie: a creation whose texts came out short leaves that, and
 * of its records the two words that are not zero show it. */
size_t shift_of(std::string_view bytes) {
  const size_t missing = stored_size - std::min(bytes.size(), stored_size);
  const bool is_shifted = missing > 0 && missing < fw_offset &&
                          is_one_in_any_order(bytes, ipsec_offset - missing) &&
                          is_one_in_any_order(bytes, ipsec6_offset - missing);
  return is_shifted ? missing : 0;
}

size_t start_of(const StoredSection& section) {
  return section.offset + section.words.front().offset;
}

/* "fw_rules_table.acl": the record's name for what belongs to no region. */
std::string record_name(const StoredSection& section) {
  const std::string name = section.name;
  return name.substr(0, name.find('.'));
}

/* Whether a file of this size ends between two parts. */
bool is_between_parts(size_t size) {
  const auto sections = stored_sections();
  return size == firewall_line_offset ||
         std::any_of(sections.begin(), sections.end(),
                     [size](const StoredSection& section) { return start_of(section) == size; });
}

/* The last part of which the file has anything. */
std::string last_part(size_t size) {
  std::string name = size < firewall_line_offset ? "the line of VPN pass-through"
                                                 : "the line of the master switch";
  for (const StoredSection& section : stored_sections()) {
    if (start_of(section) < size) {
      name = section.name;
    }
  }
  return name;
}

/* What lies behind the end: whole records by their names, parts of a cut one by theirs. */
std::string parts_behind(size_t size) {
  std::string names = is_between_parts(size) ? "" : "the rest of that";
  if (size <= firewall_line_offset) {
    names += (names.empty() ? "" : ", ") + std::string("the line of the master switch");
  }
  std::string last;
  for (const StoredSection& section : stored_sections()) {
    const std::string name = section.record >= size ? record_name(section) : section.name;
    if (start_of(section) >= size && name != last) {
      names += (names.empty() ? "" : ", ") + name;
      last = name;
    }
  }
  return names;
}

void judge_size(std::string_view bytes, Findings& findings) {
  const std::string size = std::to_string(bytes.size());
  if (bytes.empty()) {
    findings.push_back({torn, 0, "the file", "is empty: a creation was cut before its first write",
                        Remedy::replace_file});
  } else if (bytes.size() < stored_size) {
    findings.push_back({torn, bytes.size(), "the file",
                        "short: " + size + " of " + std::to_string(stored_size) +
                            " bytes, as a creation leaves it that was cut; the last part is " +
                            last_part(bytes.size()) +
                            "; missing, and read as zero: " + parts_behind(bytes.size()),
                        Remedy::replace_file});
  } else if (bytes.size() > stored_size) {
    findings.push_back({implausible, stored_size, "the file",
                        std::to_string(bytes.size() - stored_size) +
                            " bytes behind the last record, which nothing reads",
                        Remedy::drop_excess});
  }
}

struct Line {
  size_t offset;
  const char* key;
  const char* where;
  bool (*is_on)(std::string_view image);
};

constexpr Line lines[] = {
    {vpn_line_offset, "vpn_pass_through=", "the line of VPN pass-through", vpn_of},
    {firewall_line_offset, "fire_wall=", "the line of the master switch", firewall_of},
};

void judge_line(const Line& line, std::string_view bytes, Findings& findings) {
  const std::string key = line.key;
  if (bytes.size() < line.offset + key.size() + 2) {
    return;  // Told with the size.
  }
  const std::string found(bytes.substr(line.offset, key.size() + 2));
  if (found == key + "0\n" || found == key + "1\n") {
    return;
  }
  const bool is_missing = is_empty(bytes, line.offset, found.size());
  findings.push_back({torn, line.offset, line.where,
                      (is_missing ? "is missing, zero bytes stand there"
                                  : "reads " + shown({.kind = Node::Kind::text, .text = found})) +
                          "; it counts as " + (line.is_on(bytes) ? "on" : "off"),
                      Remedy::rewrite_line});
}

/* Words with a call of their own. An apply would find nothing to change where what is stored counts as
 * what is asked for. */
struct OneWord {
  size_t offset;
  Remedy remedy;
  const char* section;
};

constexpr OneWord one_words[] = {
    {fw_offset + offsetof(l3_fw_rules, anti_port_scan), Remedy::set_switch, "port_scan_protection"},
    {ipsec_offset, Remedy::set_switch, "ipsec_pass_through"},
    {fw_offset + offsetof(l3_fw_rules, security_level), Remedy::set_level, "security_level"},
    {qos_offset + offsetof(l3_route_qos, control), Remedy::set_switch, "route_qos"},
    {fw6_offset + offsetof(l3_fw6_rules, security_level), Remedy::set_level, "security_level"},
};

StoredFinding finding_in(const StoredField& field, std::string_view image) {
  StoredFinding finding = finding_in(*field.section, implausible, field.offset, name_of(field),
                                     meaning_of(field, image));
  for (const OneWord& word : one_words) {
    if (word.offset == field.offset) {
      finding.remedy = word.remedy;
      finding.section = word.section;
    }
  }
  return finding;
}

/* Switches and modes: the library takes any number as one of two, but no settings file produces it. */
void judge_words(const StoredSection& section, std::string_view image, Findings& findings) {
  for (const Member& member : section.words) {
    const StoredField field{&section, &member, -1, section.offset + member.offset};
    const auto words = words_of(member.kind);
    const uint32_t value = word_at(image, field.offset);
    if (!words.empty() && value >= words.size()) {
      findings.push_back(finding_in(field, image));
    }
  }
}

/* A change of the level writes both copies; the spare word behind them is always zero. */
void judge_end(std::string_view image, Findings& findings) {
  constexpr size_t level = qos_offset - sizeof(uint32_t);
  constexpr size_t reserved = stored_size - sizeof(uint32_t);
  constexpr size_t level6 = reserved - sizeof(uint32_t);
  if (word_at(image, level) != word_at(image, level6)) {
    findings.push_back({torn, level6, "fw6_rules_table.security_level",
                        "differs from fw_rules_table.security_level: some sections are old, some "
                        "new, as a cut between the records leaves them",
                        Remedy::set_level, "security_level"});
  }
  if (word_at(image, reserved) != 0) {
    findings.push_back({implausible, reserved, "fw6_rules_table.reserved", "is not zero",
                        Remedy::replace_to_clean});
  }
}

void judge_values(std::string_view image, Findings& findings) {
  for (const StoredSection& section : stored_sections()) {
    judge_words(section, image, findings);
    if (section.capacity != 0) {
      judge_list(section, image, findings);
    }
  }
  check_by_reader(image, findings);
  judge_end(image, findings);
}

}  // namespace

std::vector<StoredFinding> findings_of(std::string_view image, std::string_view bytes) {
  Findings findings;
  if (const size_t shift = shift_of(bytes); shift != 0) {
    // Every value is garbage then, so none is judged.
    findings.push_back({torn, fw_offset, "the records",
                        "lie " + std::to_string(shift) +
                            " bytes too early: a creation whose two lines came out short left them "
                            "shifted",
                        Remedy::replace_file});
    return findings;
  }
  judge_size(bytes, findings);
  for (const Line& line : lines) {
    judge_line(line, bytes, findings);
  }
  judge_values(image, findings);
  if (bytes.size() < stored_size) {
    // Whatever is set would make zeros of all that is missing.
    for (StoredFinding& finding : findings) {
      finding.remedy = Remedy::replace_file;
      finding.section.clear();
    }
  }
  std::stable_sort(
      findings.begin(), findings.end(),
      [](const StoredFinding& a, const StoredFinding& b) { return a.offset < b.offset; });
  return findings;
}

StoredFinding finding_in(const StoredSection& section, StoredFinding::Kind kind, size_t offset,
                         std::string where, std::string what) {
  const bool has_setting = section.setting != nullptr;
  return {kind,
          offset,
          std::move(where),
          std::move(what),
          has_setting ? Remedy::rewrite_section : Remedy::replace_file,
          has_setting ? section.setting : ""};
}

bool is_empty(std::string_view image, size_t offset, size_t size) {
  const std::string_view part = image.substr(offset, size);
  return std::all_of(part.begin(), part.end(), [](char byte) { return byte == '\0'; });
}

}  // namespace settings
