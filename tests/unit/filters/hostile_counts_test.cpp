/*
 * Counts that no caller should set, on every way that a count takes: a set call, a get call, remove-all,
 * reset, and a start of the device. The generators' own tests show which rules such a count makes;
 * here it is how many commands each call runs, and what is left.
 */
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "sample_config.hpp"

using namespace harness;

namespace {

struct HostileCount {
  int32_t count;
  int rules; /* that the generator makes of it */
};
using HostileCounts = std::vector<HostileCount>;

/* The commands of a transcript. */
int commands(const std::string& transcript) {
  int found = 0;
  for (size_t at = 0; at < transcript.size(); at = transcript.find('\n', at) + 1) {
    found += transcript.compare(at, 4, "run ") == 0 ? 1 : 0;
  }
  return found;
}

/* Where the region lies in the file, and the calls that manage it. */
template <typename Region>
struct Filter {
  size_t offset;
  int32_t (*set)(const Region*);
  int32_t (*get)(Region*);
  int32_t (*remove_all)();
  int32_t (*reset)();
  int flushes_and_save; /* that set and remove-all run beside the rules */
  int commands_of_reset;
};

template <typename Region>
std::string stored(const Filter<Region>& filter) {
  return read_file(config_path).substr(filter.offset, sizeof(Region));
}

/* One entry, whatever the count is; an image of exactly its size, so that a step outside shows. */
template <typename Region>
void expect_bounded(const Filter<Region>& filter, Region image, const HostileCounts& counts) {
  load_firewall_switch(true);
  for (const auto& [count, rules] : counts) {
    SCOPED_TRACE("count " + std::to_string(count));
    image.count = count;
    const auto exact = std::make_unique<Region>(image);
    EXPECT_EQ(commands(record([&] { EXPECT_EQ(filter.set(exact.get()), 0); })),
              filter.flushes_and_save + rules);
    EXPECT_EQ(stored(filter), bytes_of(image));

    const auto got = std::make_unique<Region>();
    EXPECT_EQ(commands(record([&] { EXPECT_EQ(filter.get(got.get()), 0); })), 0);
    EXPECT_EQ(bytes_of(*got), bytes_of(image));

    Region emptied = image;
    emptied.count = 0;
    memset(emptied.entries, 0, sizeof(emptied.entries));
    EXPECT_EQ(commands(record([&] { EXPECT_EQ(filter.remove_all(), 0); })),
              filter.flushes_and_save);
    EXPECT_EQ(stored(filter), bytes_of(emptied));

    static_cast<void>(record([&] { EXPECT_EQ(filter.set(exact.get()), 0); }));
    EXPECT_EQ(commands(record([&] { EXPECT_EQ(filter.reset(), 0); })), filter.commands_of_reset);
    EXPECT_EQ(stored(filter), std::string(sizeof(Region), '\0'));
  }
}

constexpr size_t fw = sample_config::fw;
constexpr size_t fw6 = sample_config::fw6;
constexpr uint8_t device[6] = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};

l3_mac_filter one_device() {
  l3_mac_filter image = {};
  image.entries[0].mac_enable = 1;
  memcpy(image.entries[0].mac, device, sizeof(device));
  image.entries[0].stop_hour = 24;
  image.mac_filter_ctrl = 1;
  return image;
}

}  // namespace

// An entry of zeros makes a rule for every packet, so each place up to the record's end counts.
TEST(HostileCounts, OfTheIpFilter) {
  l3_ip_filter image = {};
  image.entries[0].src_ip = 0xc0a8010a;
  expect_bounded<l3_ip_filter>(
      {fw, gl3_web_set_firewall_cfg, gl3_web_get_firewall_cfg, gl3_web_remove_all_firewall_rule,
       gl3_web_set_ip_table_default, 3, 6},
      image, {{-1, 0}, {INT32_MIN, 0}, {51, 51}, {128, 128}, {129, 128}, {INT32_MAX, 128}});
}

TEST(HostileCounts, OfTheIpv6Filter) {
  l3_ip6_filter image = {};
  image.entries[0].src_ip[0] = 0xfd;
  expect_bounded<l3_ip6_filter>(
      {fw6, gl3_web_set_firewall6_cfg, gl3_web_get_firewall6_cfg, gl3_web_remove_all_firewall6_rule,
       gl3_web_set_ip_table_default, 3, 6},
      image, {{-1, 0}, {INT32_MIN, 0}, {51, 51}, {89, 89}, {90, 89}, {INT32_MAX, 89}});
}

// Behind the list all is zero, and entries of zeros are not enabled.
TEST(HostileCounts, OfTheUrlFilter) {
  l3_url_filter image = {};
  image.entries[0].url_enable = 1;
  memcpy(image.entries[0].url, "abc.de", 6);
  image.url_filter_ctrl = 1;
  expect_bounded<l3_url_filter>({fw + 2416, gl3_web_set_url_cfg, gl3_web_get_url_cfg,
                                 gl3_web_remove_all_url_rule, gl3_web_set_url_table_default, 2, 2},
                                image, {{-1, 0}, {INT32_MIN, 0}, {51, 1}, {INT32_MAX, 1}});
}

TEST(HostileCounts, OfTheMacFilter) {
  expect_bounded<l3_mac_filter>({fw + 4636, gl3_web_set_mac_cfg, gl3_web_get_mac_cfg,
                                 gl3_web_remove_all_mac_rule, gl3_web_set_mac_table_default, 2, 4},
                                one_device(),
                                {{-1, 0}, {INT32_MIN, 0}, {11, 1}, {51, 1}, {INT32_MAX, 1}});
}

TEST(HostileCounts, OfTheIpv6MacFilter) {
  expect_bounded<l3_mac_filter>({fw6 + 7036, gl3_web_set_mac6_cfg, gl3_web_get_mac6_cfg,
                                 gl3_web_remove_all_mac6_rule, gl3_web_set_mac_table_default, 2, 4},
                                one_device(),
                                {{-1, 0}, {INT32_MIN, 0}, {11, 1}, {51, 1}, {INT32_MAX, 1}});
}

// Nothing switches a single entry off here.
TEST(HostileCounts, OfTheDhcpFilter) {
  l3_dhcp_filter image = {};
  memcpy(image.entries[0].mac, device, sizeof(device));
  image.dhcp_mac_filter_ctrl = 1;
  expect_bounded<l3_dhcp_filter>(
      {fw + 4848, gl3_web_set_dhcp_cfg, gl3_web_get_dhcp_cfg, gl3_web_remove_all_dhcp_rule,
       gl3_web_set_dhcp_table_default, 2, 2},
      image, {{-1, 0}, {INT32_MIN, 0}, {11, 11}, {51, 51}, {65, 65}, {66, 65}, {INT32_MAX, 65}});
}

// The switch is the first word behind the list: read as an entry, it is one in use, from anywhere.
TEST(HostileCounts, OfTheAccessList) {
  l3_acl image = {};
  image.entries[0] = {1, 1, 0, 0xc0a80102, 0xc0a80102};
  image.acl_filter_ctrl = 1;
  expect_bounded<l3_acl>({fw + 5060, gl3_web_set_acl_cfg, gl3_web_get_acl_cfg,
                          gl3_web_remove_all_acl_rule, gl3_web_set_acl_table_default, 3, 3},
                         image,
                         {{-1, 0}, {INT32_MIN, 0}, {16, 2}, {17, 3}, {51, 3}, {INT32_MAX, 3}});
}

TEST(HostileCounts, OfTheCaptivePortal) {
  l3_caporl image = {};
  image.entries[0].caporl_enable = 1;
  memcpy(image.entries[0].caporl_ip, "203.0.113.80", 12);
  image.caporl_filter_ctrl = 1;
  expect_bounded<l3_caporl>(
      {fw + 5388, gl3_web_set_caporl_cfg, gl3_web_get_caporl_cfg, gl3_web_remove_all_caporl_rule,
       gl3_web_set_caporl_table_default, 2, 2},
      image, {{-1, 1}, {INT32_MIN, 1}, {33, 2}, {51, 2}, {INT32_MAX, 2}});
}

namespace {

/* The sample configuration with one count in every list. */
std::string file_with_counts(int32_t count) {
  std::string file = sample_config::file('1');
  for (const size_t offset :
       {fw, fw + 2416, fw + 4636, fw + 4848, fw + 5060, fw + 5388, fw6, fw6 + 4816, fw6 + 7036}) {
    file.replace(offset, 4, word(static_cast<uint32_t>(count)));
  }
  return file;
}

/* A start with both save files, and switching on after it; each in a process of its own. */
void expect_start(int32_t count, int commands_of_start, int commands_of_switch) {
  SCOPED_TRACE("count " + std::to_string(count));
  const std::string file = file_with_counts(count);
  in_a_new_process([&] {
    write_file(config_path, file);
    sample_config::put_save_files();
    EXPECT_EQ(commands(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); })), commands_of_start);
    EXPECT_EQ(commands(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); })), commands_of_switch);
    EXPECT_EQ(read_file(config_path), file);
  });
}

}  // namespace

TEST(HostileCounts, AtAStart) {
  constexpr int start = 34 + 2;       // the module list and the tree; save and restore
  constexpr int on = 11 + 3 + 6 + 2;  // flushes of both families, the dispatch, two saves
  constexpr int bad_tcp = 10;
  constexpr int portal = 1;  // the drop of the rest
  for (const int32_t count : {-1, INT32_MIN}) {
    expect_start(count, start + bad_tcp + portal, on + bad_tcp + portal);
  }

  // IPv4: what stands behind the IP filter's entries is one more of zeros, and then a protocol that
  // does not exist; behind the MAC filter's are three that count as enabled, behind the URL filter's
  // one, once it gets as far as the access list's count. That list ends at an unknown service, the
  // portal with the record.
  constexpr int ip = 51;
  constexpr int mac = 1 + 3;
  constexpr int acl = 1;
  constexpr int rules = ip + 1 + bad_tcp + mac + acl + 1 + portal;
  expect_start(51, start + rules, on + rules + 51 + 1);
  expect_start(INT32_MAX, start + rules + 1, on + rules + 1 + 89 + 1);
}
