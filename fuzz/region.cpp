/*
 * Each set call with any image, on a device whose records hold anything, with commands that fail and
 * transfers that come in pieces. The image arrives whole, in memory and in the file; nothing beside it
 * changes; the same call again does nothing; get, remove-all and reset do what they say.
 */
#include <memory>

#include "images.hpp"
#include "input.hpp"
#include "oracle.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

constexpr size_t fw_offset = 31;
constexpr size_t qos_offset = 6199;
constexpr size_t fw6_offset = 6447;

/* Bytes of the file that a reset empties beside the region: the other family's. */
struct Twin {
  size_t offset = 0;
  size_t size = 0;
};

/* A region with the calls that manage it. */
template <typename Region>
struct Kind {
  Region& stored;
  size_t offset; /* in the file */
  int32_t (*set)(const Region*);
  int32_t (*get)(Region*);
  int32_t (*remove_all)();
  int32_t (*reset)();
  size_t room;              /* entries up to the record's end, whatever the count */
  size_t commands_each = 1; /* that an entry makes at most */
  Twin twin = {};
};

template <typename Object>
std::string bytes_of(const Object& object) {
  return {reinterpret_cast<const char*>(&object), sizeof(object)};
}

std::string memory() {
  return bytes_of(fw_rules_table) + bytes_of(RtQoSRulesTable) + bytes_of(fw6_rules_table);
}

/* `before` with the region's bytes replaced. */
template <typename Region>
std::string with(std::string before, size_t offset, const Region& region) {
  return before.replace(offset, sizeof(region), bytes_of(region));
}

void check_files(const std::string& expected) {
  check(world.files[config_path] == expected, "the file changes in the region alone");
  check(open_files() == 0, "no descriptor stays open");
  world.files.erase(save_path);
  world.files.erase(save6_path);
  check(world.files.size() == 1, "there is one configuration file");
}

template <typename Region>
void check_set(const Kind<Region>& kind, const Region& image) {
  const std::string before = memory();
  const std::string file = with(world.files[config_path], kind.offset, image);
  world.commands.clear();
  const int32_t result = kind.set(&image);
  check(result == 0 || result == -1, "a call works or fails");
  const size_t walked = image.count < 0 ? 0 : std::min(static_cast<size_t>(image.count), kind.room);
  check(world.commands.size() <= walked * kind.commands_each + frame_commands,
        "no count makes more commands");
  check(memory() == with(before, kind.offset - fw_offset, image), "memory changes in the region");
  check_files(file);

  world.commands.clear();
  check(kind.set(&image) == 0 && world.commands.empty(), "the same image again is no change");
  check(memory() == with(before, kind.offset - fw_offset, image), "and leaves memory alone");
  check_files(file);
}

template <typename Region>
void check_get(const Kind<Region>& kind, const Region& image) {
  const auto got = std::make_unique<Region>();
  const std::string before = memory();
  check(kind.get(got.get()) == 0 && bytes_of(*got) == bytes_of(image), "what was set is got");
  check(memory() == before, "a reload finds in the file what memory holds");
}

/* What the file holds once the list is empty: with mode and switch kept, or all zero, the twin too. */
template <typename Region>
std::string emptied(const Kind<Region>& kind, const Region& image, bool keeps_mode) {
  auto left = std::make_unique<Region>();
  if (keeps_mode) {
    *left = image;
    left->count = 0;
    memset(left->entries, 0, sizeof(left->entries));
  }
  std::string file = with(world.files[config_path], kind.offset, *left);
  return keeps_mode ? file : file.replace(kind.twin.offset, kind.twin.size, kind.twin.size, '\0');
}

/* The calls that empty the list, once with its mode and switch kept and once without. A command that
 * fails does so before anything is changed. */
template <typename Region>
void check_emptying(const Kind<Region>& kind, const Region& image) {
  for (const bool keeps_mode : {true, false}) {
    kind.set(&image);
    const std::string before = world.files[config_path];
    const std::string after = emptied(kind, image, keeps_mode);
    world.commands.clear();
    const int32_t result = keeps_mode ? kind.remove_all() : kind.reset();
    check(result == 0 || (result == -1 && world.failing != 0),
          "only a failed command fails a call");
    check(world.commands.size() <= frame_commands, "emptying makes no rule of an entry");
    check_files(result == 0 ? after : before);
    check(memory() == world.files[config_path].substr(fw_offset), "memory is as the file");
  }
}

template <typename Region>
void check_kind(Input& input, const Kind<Region>& kind) {
  const auto image = std::make_unique<Region>();
  fill(input, *image);
  check_set(kind, *image);
  check_get(kind, *image);
  check_emptying(kind, *image);
}

void check_qos(Input& input) {
  const auto rules = std::make_unique<l3_qos_rules>();
  RtQoSRulesTable.control = input.byte();
  set_qos_cfg_to_cfgfile();
  fill(input, *rules);
  const std::string file = with(world.files[config_path], qos_offset + 4, *rules);
  check(gl3_web_set_route_qos(rules.get()) == 0, "rules are set");
  check_files(file);
  check(gl3_web_set_route_qos(rules.get()) == 0, "and set again");
  check_files(file);
  const auto got = std::make_unique<l3_qos_rules>();
  check(gl3_web_get_route_qos(got.get()) == 0 && bytes_of(*got) == bytes_of(*rules),
        "what was set is got");
  check(world.commands.empty(), "route QoS is no packet-filter rule");
}

void check_ipv4(Input& input, unsigned which) {
  l3_fw_rules& fw = fw_rules_table;
  switch (which) {
    case 0:
      return check_kind<l3_ip_filter>(input,
                                      {fw.ip_filter,
                                       fw_offset,
                                       gl3_web_set_firewall_cfg,
                                       gl3_web_get_firewall_cfg,
                                       gl3_web_remove_all_firewall_rule,
                                       gl3_web_set_ip_table_default,
                                       entries_to_the_end<l3_ip_filter_entry>(fw, fw.ip_filter),
                                       1,
                                       {fw6_offset, sizeof(l3_ip6_filter)}});
    case 1:
      return check_kind<l3_url_filter>(
          input, {fw.url_filter, fw_offset + 2416, gl3_web_set_url_cfg, gl3_web_get_url_cfg,
                  gl3_web_remove_all_url_rule, gl3_web_set_url_table_default,
                  entries_to_the_end<l3_url_entry>(fw, fw.url_filter)});
    case 2:
      return check_kind<l3_mac_filter>(input, {fw.mac_filter,
                                               fw_offset + 4636,
                                               gl3_web_set_mac_cfg,
                                               gl3_web_get_mac_cfg,
                                               gl3_web_remove_all_mac_rule,
                                               gl3_web_set_mac_table_default,
                                               entries_to_the_end<l3_mac_entry>(fw, fw.mac_filter),
                                               1,
                                               {fw6_offset + 7036, sizeof(l3_mac_filter)}});
    case 3:
      return check_kind<l3_dhcp_filter>(
          input, {fw.dhcp_filter, fw_offset + 4848, gl3_web_set_dhcp_cfg, gl3_web_get_dhcp_cfg,
                  gl3_web_remove_all_dhcp_rule, gl3_web_set_dhcp_table_default,
                  entries_to_the_end<l3_dhcp_entry>(fw, fw.dhcp_filter)});
    case 4:
      return check_kind<l3_acl>(input,
                                {fw.acl, fw_offset + 5060, gl3_web_set_acl_cfg, gl3_web_get_acl_cfg,
                                 gl3_web_remove_all_acl_rule, gl3_web_set_acl_table_default,
                                 entries_to_the_end<l3_acl_entry>(fw, fw.acl), range_commands});
    default:
      return check_kind<l3_caporl>(
          input, {fw.caporl, fw_offset + 5388, gl3_web_set_caporl_cfg, gl3_web_get_caporl_cfg,
                  gl3_web_remove_all_caporl_rule, gl3_web_set_caporl_table_default,
                  entries_to_the_end<l3_caporl_entry>(fw, fw.caporl)});
  }
}

void check_ipv6(Input& input, unsigned which) {
  l3_fw6_rules& fw6 = fw6_rules_table;
  if (which == 0) {
    return check_kind<l3_ip6_filter>(input,
                                     {fw6.ip_filter,
                                      fw6_offset,
                                      gl3_web_set_firewall6_cfg,
                                      gl3_web_get_firewall6_cfg,
                                      gl3_web_remove_all_firewall6_rule,
                                      gl3_web_set_ip_table_default,
                                      entries_to_the_end<l3_ip6_filter_entry>(fw6, fw6.ip_filter),
                                      1,
                                      {fw_offset, sizeof(l3_ip_filter)}});
  }
  check_kind<l3_mac_filter>(input, {fw6.mac_filter,
                                    fw6_offset + 7036,
                                    gl3_web_set_mac6_cfg,
                                    gl3_web_get_mac6_cfg,
                                    gl3_web_remove_all_mac6_rule,
                                    gl3_web_set_mac_table_default,
                                    entries_to_the_end<l3_mac_entry>(fw6, fw6.mac_filter),
                                    1,
                                    {fw_offset + 4636, sizeof(l3_mac_filter)}});
}

/* A device with the firewall on or off whose records are full of one byte. */
void start_device(Input& input) {
  start_process();
  init_cfgfile();
  uint8_t state = input.byte() & 1;
  set_firewall_state_to_cfgfile(state);
  gl3_web_get_fw_status(&state);
  const uint8_t filling = input.byte();
  memset(&fw_rules_table, filling, sizeof(fw_rules_table));
  memset(&fw6_rules_table, filling, sizeof(fw6_rules_table));
  set_firewall_rules_to_cfgfile();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const unsigned which = input.byte() % 9;
  start_device(input);
  world.failing = input.byte();
  world.transfer = input.byte() * size_t{64};
  if (which < 6) {
    check_ipv4(input, which);
  } else if (which < 8) {
    check_ipv6(input, which - 6);
  } else {
    check_qos(input);
  }
  return 0;
}
