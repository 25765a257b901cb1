/* Carrying an older configuration file over: what is converted, and what stays byte for byte. */
#include <cerrno>
#include <cstdio>

#include "harness.hpp"

using namespace harness;

namespace {

constexpr char old_path[] = "/ztcfg/l3_advance.conf";
constexpr char rename_line[] = "mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat";

/* Where things lie in the file: the IPv4 record begins at byte 31. */
constexpr size_t url_count = 31 + 2416;
constexpr size_t url_entries = 31 + 2420;
constexpr size_t old_list_mode = 31 + 2416 + 1804;
constexpr size_t old_switch = 31 + 2416 + 1808;
constexpr size_t url_black_white = 31 + 4620;
constexpr size_t url_filter_ctrl = 31 + 4624;
constexpr size_t ipsec_pass_ctrl = 31 + 4632;

void put(std::string& file, size_t offset, const std::string& bytes) {
  file.replace(offset, bytes.size(), bytes);
}

/* A file in which every byte behind the two text lines depends on its offset. */
std::string patterned_file() {
  std::string file = "vpn_pass_through=1\nfire_wall=1\n";
  while (file.size() < 15019) {
    file += static_cast<char>(1 + file.size() % 253);
  }
  return file;
}

std::string name_bytes(const std::string& name) {
  return name + std::string(32 - name.size(), '\0');
}

std::string old_entry(uint32_t reserved, const std::string& name) {
  return word(reserved) + name_bytes(name);
}

/* Enabled, the whole day: hours 0 and 24, minutes 0 and 0. */
std::string new_entry(uint32_t reserved, const std::string& name) {
  return word(1) + word(reserved) + name_bytes(name) + std::string("\0\x18\0\0", 4);
}

std::string old_file(uint32_t count) {
  std::string file = patterned_file();
  put(file, url_count, word(count));
  put(file, old_list_mode, word(2));
  put(file, old_switch, word(7));
  return file;
}

/* The words that every migration writes. */
void put_controls(std::string& file) {
  put(file, url_black_white, word(2));
  put(file, url_filter_ctrl, word(7));
  put(file, ipsec_pass_ctrl, word(1));
}

/* The shell, as far as the migration needs it. */
void rename_works() {
  world.system = [](const std::string& line) {
    EXPECT_EQ(line, rename_line);
    return rename(old_path, config_path) == 0 ? 0 : exited(1);
  };
}

void expect_migrated() {
  rename_works();
  EXPECT_EQ(record([] { EXPECT_EQ(porting_firewall_cfg_v1_to_v2(), 0); }),
            lines({command(rename_line)}));
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 1);
  EXPECT_FALSE(file_exists(old_path));
  EXPECT_EQ(open_descriptors(), 0);
}

/* The records in memory are those of the file. */
void expect_memory_as_in_file() {
  const std::string file = read_file(config_path);
  EXPECT_EQ(bytes_of(fw_rules_table), file.substr(31, 6168));
  EXPECT_EQ(bytes_of(fw6_rules_table), file.substr(6447, 8572));
}

}  // namespace

TEST(Migration, ThreeOldEntriesBecomeEnabledAllDayEntries) {
  std::string file = old_file(3);
  put(file, url_entries, old_entry(0, "example.com"));
  put(file, url_entries + 36, old_entry(0xabcd1234, "news.example.org"));
  put(file, url_entries + 72, old_entry(9, "thirty-one-characters-long.test"));
  write_file(old_path, file);
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 0);
  expect_migrated();

  put(file, url_entries, new_entry(0, "example.com"));
  put(file, url_entries + 44, new_entry(0xabcd1234, "news.example.org"));
  put(file, url_entries + 88, new_entry(9, "thirty-one-characters-long.test"));
  put_controls(file);
  EXPECT_EQ(read_file(config_path), file);
  expect_memory_as_in_file();
}

TEST(Migration, ANameWithoutATerminatorIsCopiedWhole) {
  std::string file = old_file(1);
  put(file, url_entries, old_entry(5, "thirty-two-characters-and-no-end"));
  write_file(old_path, file);
  expect_migrated();
  put(file, url_entries, new_entry(5, "thirty-two-characters-and-no-end"));
  put_controls(file);
  EXPECT_EQ(read_file(config_path), file);
}

TEST(Migration, FiftyOldEntriesFillTheNewArea) {
  std::string file = old_file(50);
  std::string converted;
  for (uint32_t i = 0; i < 50; ++i) {
    const std::string name = "host" + std::to_string(i) + ".test";
    put(file, url_entries + 36 * i, old_entry(1000 + i, name));
    converted += new_entry(1000 + i, name);
  }
  write_file(old_path, file);
  expect_migrated();
  put(file, url_entries, converted);
  put_controls(file);
  EXPECT_EQ(read_file(config_path), file);
  expect_memory_as_in_file();
}

TEST(Migration, ACountAboveFiftyIsKeptButOnlyFiftyEntriesAreConverted) {
  for (const uint32_t count : {51U, 1000000U, 0x7fffffffU}) {
    g_porting_firewall_cfg_v1_to_v2_called_count = 0;
    std::string file = old_file(count);
    std::string converted;
    for (uint32_t i = 0; i < 50; ++i) {
      put(file, url_entries + 36 * i, old_entry(i, "a.test"));
      converted += new_entry(i, "a.test");
    }
    write_file(old_path, file);
    expect_migrated();
    put(file, url_entries, converted);
    put_controls(file);
    EXPECT_EQ(read_file(config_path), file) << count;
    EXPECT_EQ(word_at(file, url_count), count);
  }
}

TEST(Migration, ACountOfZeroOrLessChangesOnlyTheControlWords) {
  for (const uint32_t count : {0U, 0xffffffffU, 0x80000000U}) {
    g_porting_firewall_cfg_v1_to_v2_called_count = 0;
    std::string file = old_file(count);
    write_file(old_path, file);
    expect_migrated();
    put_controls(file);
    EXPECT_EQ(read_file(config_path), file) << count;
  }
}

TEST(Migration, ASecondCallInAProcessDoesNothing) {
  write_file(old_path, old_file(0));
  expect_migrated();
  write_file(old_path, old_file(1));
  EXPECT_EQ(record([] { EXPECT_EQ(porting_firewall_cfg_v1_to_v2(), 0); }), "");
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 1);
  EXPECT_TRUE(file_exists(old_path));
}

TEST(Migration, OnlyACounterAboveZeroHoldsItBack) {
  write_file(old_path, old_file(0));
  g_porting_firewall_cfg_v1_to_v2_called_count = 2;
  EXPECT_EQ(record([] { EXPECT_EQ(porting_firewall_cfg_v1_to_v2(), 0); }), "");
  g_porting_firewall_cfg_v1_to_v2_called_count = -1;
  rename_works();
  EXPECT_EQ(record([] { EXPECT_EQ(porting_firewall_cfg_v1_to_v2(), 0); }),
            lines({command(rename_line)}));
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 0);
}

TEST(Migration, WithoutAnOldFileTheCurrentOneIsConvertedAsIfItWereOld) {
  std::string file = old_file(1);
  put(file, url_entries, old_entry(77, "current.test"));
  write_file(config_path, file);
  expect_migrated();
  put(file, url_entries, new_entry(77, "current.test"));
  put_controls(file);
  EXPECT_EQ(read_file(config_path), file);
}

TEST(Migration, WithoutAnyFileTheDefaultsAreCreated) {
  expect_migrated();
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_EQ(file_mode(config_path), 0600U);
  expect_memory_as_in_file();
}

TEST(Migration, AnOldFileThatEndsEarlyIsFilledWithZeros) {
  std::string file = old_file(1).substr(0, url_entries + 36);
  put(file, url_entries, old_entry(4, "short.test"));
  write_file(old_path, file);
  expect_migrated();

  std::string expected = file.substr(0, url_entries) + new_entry(4, "short.test");
  expected.resize(15019, '\0');
  put(expected, ipsec_pass_ctrl, word(1));
  EXPECT_EQ(read_file(config_path), expected);
  expect_memory_as_in_file();
}

TEST(Migration, ARenameThatTheShellRefusesIsNotNoticed) {
  write_file(config_path, old_file(0));
  for (const int status : {-1, exited(127), killed_by(9)}) {
    g_porting_firewall_cfg_v1_to_v2_called_count = 0;
    world.system = [status](const std::string&) { return status; };
    EXPECT_EQ(record([] { EXPECT_EQ(porting_firewall_cfg_v1_to_v2(), 0); }),
              lines({command(rename_line)}));
    EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 1);
  }
}

TEST(Migration, AFileThatCannotBeReadIsReplacedByWhatMemoryHolds) {
  const std::string file = old_file(1);
  write_file(config_path, file);
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(record([] { EXPECT_EQ(porting_firewall_cfg_v1_to_v2(), 0); }),
            lines({command(rename_line),
                   out("get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n")}));
  std::string expected = file;
  put(expected, 31, std::string(6168, '\0'));
  put(expected, 6447, std::string(8572, '\0'));
  put(expected, ipsec_pass_ctrl, word(1));
  EXPECT_EQ(read_file(config_path), expected);
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 1);
}

TEST(Migration, AFileThatCannotBeWrittenStaysAsItWas) {
  const std::string file = old_file(0);
  write_file(config_path, file);
  world.file_faults = {{FileCall::open, 2, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(porting_firewall_cfg_v1_to_v2(), 0); }),
            lines({command(rename_line),
                   out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n")}));
  EXPECT_EQ(read_file(config_path), file);
  EXPECT_EQ(fw_rules_table.ipsec_pass_ctrl, 1U);
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 1);
}
