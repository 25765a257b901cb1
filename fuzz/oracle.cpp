#include "oracle.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "world.hpp"

namespace fuzz {

namespace {

constexpr std::string_view whole_lines[] = {
    "iptables-save -t filter >/ztcfg/firewall.conf",
    "ip6tables-save -t filter >/ztcfg/firewall6.conf",
    "iptables-restore </ztcfg/firewall.conf",
    "ip6tables-restore </ztcfg/firewall6.conf",
    "mkdir -p /lib/modules/$(uname -r);touch /lib/modules/$(uname -r)/modules.dep",
    "mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat",
};

/* A text that is placed as it is: its caller, or the platform, answers for it. */
struct FreeText {
  std::string_view before;
  std::string_view after;
  size_t at_most;
};

constexpr FreeText portal_address = {"iptables -A forward_ext_captiveportal  -d ", " -j ACCEPT",
                                     20};

/* The page jump places two texts of its caller's, and between them the platform's address. */
constexpr std::string_view page_jumps[] = {
    "iptables -t nat -A PREROUTING -i br0 -s ",
    "iptables -t nat -D PREROUTING -i br0 -s ",
};
constexpr std::string_view before_gateway = " ! -d ";
constexpr std::string_view behind_gateway = " -p tcp --dport 80 -j DNAT --to ";
constexpr size_t longest_gateway = 15;

constexpr FreeText free_texts[] = {
    {"iptables -A forward_ext_ip -i ", " -j forward_ext_ds_ip", 15},
    {"ip6tables -A forward_ext_ip -i ", " -j forward_ext_ds_ip", 15},
    {"iptables -A input_ext_acl -i ", " -j input_ext_ds_acl", 15},
    {"iptables -I input_ext_local_access_ex -i ", " -j DROP", 15},
};

bool matches(std::string_view line, const FreeText& text) {
  return line.size() >= text.before.size() + text.after.size() && line.starts_with(text.before) &&
         line.ends_with(text.after) &&
         line.size() - text.before.size() - text.after.size() <= text.at_most;
}

/* The caller's text may hold the fixed words, too; then any of them will do. */
bool is_page_jump(std::string_view line) {
  const auto* head = std::ranges::find_if(
      page_jumps, [&](std::string_view beginning) { return line.starts_with(beginning); });
  if (head == std::end(page_jumps)) {
    return false;
  }
  for (size_t at = line.find(before_gateway, head->size()); at != std::string_view::npos;
       at = line.find(before_gateway, at + 1)) {
    const size_t gateway = at + before_gateway.size();
    const size_t behind = line.find(behind_gateway, gateway);
    if (behind != std::string_view::npos && behind - gateway <= longest_gateway) {
      return true;
    }
  }
  return false;
}

bool is_plain(char character) {
  return isalnum(static_cast<unsigned char>(character)) != 0 ||
         std::string_view(" -_./:,!").find(character) != std::string_view::npos;
}

/* How a line's characters stand to each other, one after the other. */
struct Reader {
  bool quoted = false;
  bool escaped = false;

  /* Whether the shell takes this character for itself, or as a quote or a backslash before one of the four
   * characters that need it. */
  bool takes(char character) {
    constexpr std::string_view special = "$`\"\\";
    const bool is_special = special.find(character) != std::string_view::npos;
    if (escaped) {
      escaped = false;
      return is_special;
    }
    if (character == '"') {
      quoted = !quoted;
      return true;
    }
    escaped = quoted && character == '\\';
    return escaped || (quoted ? !is_special : is_plain(character));
  }
};

bool means_what_it_says(std::string_view line) {
  Reader reader;
  return std::ranges::all_of(line, [&](char character) { return reader.takes(character); }) &&
         !reader.quoted;
}

}  // namespace

void check(bool holds, const char* rule, std::string_view detail) {
  if (!holds) {
    fprintf(stderr, "broken: %s: %.*s\n", rule, static_cast<int>(detail.size()), detail.data());
    abort();
  }
}

void check_command(std::string_view line) {
  check(line.size() < 256, "a command line fits its buffer", line);
  if (std::ranges::find(whole_lines, line) != std::end(whole_lines)) {
    return;
  }
  check(line.starts_with("iptables -") || line.starts_with("ip6tables -"),
        "a command line calls the packet filter", line);
  const bool free =
      std::ranges::any_of(free_texts, [&](const FreeText& text) { return matches(line, text); });
  if (free || is_page_jump(line) || (!world.texts_are_checked && matches(line, portal_address))) {
    return;
  }
  check(means_what_it_says(line), "the shell takes each character of a line for itself", line);
}

std::vector<std::string> shell_words(std::string_view line) {
  std::vector<std::string> words(1);
  Reader reader;
  for (const char character : line) {
    const Reader before = reader;
    check(reader.takes(character), "the shell takes each character of a line for itself", line);
    if (character == ' ' && !before.quoted) {
      words.emplace_back();
    } else if (!reader.escaped && (reader.quoted == before.quoted)) {
      words.back() += character;
    }
  }
  return words;
}

size_t most_commands() {
  const auto& fw = fw_rules_table;
  const auto& fw6 = fw6_rules_table;
  constexpr size_t tree_flushes_and_binding = 34 + 14 + 16 + 8;
  return tree_flushes_and_binding + 8 * frame_commands +
         entries_to_the_end<l3_ip_filter_entry>(fw, fw.ip_filter) +
         entries_to_the_end<l3_url_entry>(fw, fw.url_filter) +
         entries_to_the_end<l3_mac_entry>(fw, fw.mac_filter) +
         entries_to_the_end<l3_acl_entry>(fw, fw.acl) * range_commands +
         entries_to_the_end<l3_caporl_entry>(fw, fw.caporl) +
         entries_to_the_end<l3_ip6_filter_entry>(fw6, fw6.ip_filter) +
         entries_to_the_end<l3_mac_entry>(fw6, fw6.mac_filter);
}

}  // namespace fuzz
