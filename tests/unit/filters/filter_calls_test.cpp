/* The management calls that the filters with one chain have in common: set, get, remove all, default. */
#include "filter_calls.hpp"

#include <cstring>

#include "families.hpp"

using namespace harness;
using namespace filter_calls;

template <typename Filter>
class FilterCalls : public testing::Test {
 protected:
  using Region = typename Filter::Region;

  static Region region_of(const std::string& bytes) {
    Region region;
    EXPECT_EQ(bytes.size(), sizeof(region));
    memcpy(&region, bytes.data(), sizeof(region));
    return region;
  }
  static std::string set(const std::string& image, int32_t expected_result) {
    const Region region = region_of(image);
    return record([&] { EXPECT_EQ(Filter::set(&region), expected_result); });
  }
  static std::string get(Region& region, int32_t expected_result) {
    return record([&] { EXPECT_EQ(Filter::get(&region), expected_result); });
  }
  static std::string remove_all(int32_t expected_result) {
    return record([=] { EXPECT_EQ(Filter::remove_all(), expected_result); });
  }
  static std::string stored() { return bytes_of(Filter::region()); }
  /* Puts an image straight into the library's record. */
  static void store(const std::string& image) { Filter::region() = region_of(image); }
  /* The configuration file with the switch as given and this region in it. */
  static std::string file_with(bool on, const std::string& image) {
    std::string file = fresh_config_file();
    file[29] = on ? '1' : '0';
    return file.replace(Filter::offset, image.size(), image);
  }
  static Lines trace(int on, uint32_t control) {
    return debug("\n==[fw_enable=" + std::to_string(on) + "," +
                 Filter::values(hexadecimal(control)) + "]\n");
  }
  static Lines rules(uint32_t control) {
    return Filter::traced() + ran(Filter::rule) + Filter::behind_first_rule(hexadecimal(control));
  }
  inline static const std::string zeros = std::string(sizeof(Region), '\0');
};

using Filters = testing::Types<Url, Mac, Mac6, Dhcp, Portal>;
TYPED_TEST_SUITE(FilterCalls, Filters, families::Name);

TYPED_TEST(FilterCalls, SetWritesTheFileThenFlushesGeneratesAndSaves) {
  load_firewall_switch(true);
  std::string file_at_first_command;
  world.system = [&](const std::string&) {
    if (file_at_first_command.empty()) {
      file_at_first_command = read_file(config_path);
    }
    return exited(0);
  };
  fw_rules_table.security_level = 7;
  fw6_rules_table.security_level = 9;
  EXPECT_EQ(this->set(TypeParam::image(0, 1), 0),
            lines({refresh(), ran(TypeParam::flush), this->trace(1, 1), this->rules(1),
                   ran(TypeParam::save)}));
  EXPECT_EQ(this->stored(), TypeParam::image(0, 1));
  // The IPv6 call alone leaves the IPv4 record in the file as it is.
  EXPECT_EQ(file_at_first_command, this->file_with(true, TypeParam::image(0, 1))
                                       .replace(6195, 4, word(TypeParam::records == 2 ? 7 : 0))
                                       .replace(6447 + 8564, 4, word(9)));
  EXPECT_EQ(read_file(config_path), file_at_first_command);
  EXPECT_EQ(open_descriptors(), 0);
}

TYPED_TEST(FilterCalls, SetGeneratesNothingWhileEitherSwitchIsOff) {
  load_firewall_switch(false);
  EXPECT_EQ(this->set(TypeParam::image(1, 1), 0),
            lines({refresh(), ran(TypeParam::flush), this->trace(0, 1), ran(TypeParam::save)}));
  EXPECT_EQ(read_file(config_path), this->file_with(false, TypeParam::image(1, 1)));
  load_firewall_switch(true);
  EXPECT_EQ(this->set(TypeParam::image(1, 0), 0),
            lines({refresh(), ran(TypeParam::flush), this->trace(1, 0), ran(TypeParam::save)}));
  EXPECT_EQ(read_file(config_path), this->file_with(true, TypeParam::image(1, 0)));
}

TYPED_TEST(FilterCalls, EverySwitchValueButZeroIsOn) {
  load_firewall_switch(true);
  EXPECT_EQ(this->set(TypeParam::image(0, 0x80000000), 0),
            lines({refresh(), ran(TypeParam::flush), this->trace(1, 0x80000000),
                   this->rules(0x80000000), ran(TypeParam::save)}));
}

TYPED_TEST(FilterCalls, AnEqualImageChangesNothing) {
  load_firewall_switch(true);
  static_cast<void>(this->set(TypeParam::image(0, 1), 0));
  EXPECT_EQ(this->set(TypeParam::image(0, 1), 0), lines({refresh()}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(read_file(config_path), this->file_with(true, TypeParam::image(0, 1)));
}

TYPED_TEST(FilterCalls, AnyOtherByteMakesAnImageDifferent) {
  load_firewall_switch(false);
  std::string image = TypeParam::image(0, 0);
  static_cast<void>(this->set(image, 0));
  for (const size_t byte : {size_t{3}, size_t{8}, size_t{51}, image.size() - 9, image.size() - 1}) {
    image[byte] = static_cast<char>(image[byte] + 1);
    EXPECT_NE(this->set(image, 0), lines({refresh()})) << byte;
    EXPECT_EQ(this->stored(), image) << byte;
    EXPECT_EQ(read_file(config_path), this->file_with(false, image)) << byte;
  }
}

TYPED_TEST(FilterCalls, ANullPointerIsRefused) {
  load_firewall_switch(true);
  this->store(TypeParam::image(0, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(TypeParam::set(nullptr), -1); }),
            lines({refresh(), error(TypeParam::set_null)}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(record([] { EXPECT_EQ(TypeParam::get(nullptr), -1); }),
            lines({refresh(), error(TypeParam::get_null)}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(this->stored(), TypeParam::image(0, 1));
}

TYPED_TEST(FilterCalls, AFailedWriteKeepsTheNewValuesInMemoryAndTheRulesAlone) {
  load_firewall_switch(true);
  const std::string before = read_file(config_path);
  for (const WriteFault& one : TypeParam::write_faults()) {
    this->store(TypeParam::empty(0, 0));
    world.file_faults = {one.fault};
    EXPECT_EQ(this->set(TypeParam::image(0, 1), -1),
              lines({refresh(), out(one.message), error(TypeParam::set_write)}));
    EXPECT_EQ(this->stored(), TypeParam::image(0, 1));
    EXPECT_TRUE(one.fault.call != FileCall::open || read_file(config_path) == before);
  }
}

TYPED_TEST(FilterCalls, AFileThatCannotBeMadeStopsTheSetCall) {
  const std::string message = TypeParam::write_faults()[0].message;
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(this->set(TypeParam::image(0, 1), -1),
            lines({refresh(), out(message.substr(0, message.find(':')) + "::init_cfgfile err!\n"),
                   error(TypeParam::set_write)}));
  EXPECT_FALSE(file_exists(config_path));
}

TYPED_TEST(FilterCalls, AFailedFlushEndsTheSetWithoutAMessage) {
  load_firewall_switch(true);
  fail_command(TypeParam::flush, 3);
  EXPECT_EQ(this->set(TypeParam::image(0, 1), -1),
            lines({refresh(), ran_and_failed(TypeParam::flush, 3)}));
  EXPECT_EQ(read_file(config_path), this->file_with(true, TypeParam::image(0, 1)));
}

TYPED_TEST(FilterCalls, SetIgnoresAFailedRule) {
  load_firewall_switch(true);
  const std::string rule = TypeParam::rule;
  fail_command(rule);
  EXPECT_EQ(this->set(TypeParam::image(0, 1), 0),
            lines({refresh(), ran(TypeParam::flush), this->trace(1, 1), TypeParam::traced(),
                   ran_and_failed(rule), ran(TypeParam::flush),
                   error(TypeParam::rule_failed + rule + ") is err!\n"), ran(TypeParam::save)}));
  EXPECT_EQ(read_file(config_path), this->file_with(true, TypeParam::image(0, 1)));
}

TYPED_TEST(FilterCalls, SetReturnsTheResultOfTheSave) {
  load_firewall_switch(false);
  fail_command(TypeParam::save);
  EXPECT_EQ(this->set(TypeParam::image(0, 1), -1),
            lines({refresh(), ran(TypeParam::flush), this->trace(0, 1),
                   ran_and_failed(TypeParam::save)}));
}

TYPED_TEST(FilterCalls, GetReadsTheRecordsAndTheSwitchFromTheFile) {
  for (const bool on : {true, false}) {
    const std::string file = this->file_with(on, TypeParam::image(2, 3));
    write_file(config_path, file);
    memset(&fw_rules_table, 0x5a, sizeof(fw_rules_table));
    memset(&fw6_rules_table, 0x5a, sizeof(fw6_rules_table));
    typename TypeParam::Region region = this->region_of(std::string(this->zeros.size(), '\x5a'));
    EXPECT_EQ(this->get(region, 0), lines({refresh()}));
    EXPECT_EQ(bytes_of(region), TypeParam::image(2, 3));
    EXPECT_EQ(bytes_of(fw_rules_table),
              TypeParam::records == 2 ? file.substr(31, 6168) : std::string(6168, '\x5a'));
    EXPECT_EQ(bytes_of(fw6_rules_table), file.substr(6447, 8572));
    EXPECT_EQ(open_descriptors(), 0);
    EXPECT_EQ(switch_in_memory(), on);
  }
}

TYPED_TEST(FilterCalls, AFailedReadOfTheRecordsLeavesTheCallersBufferAlone) {
  write_file(config_path, this->file_with(true, TypeParam::image(0, 1)));
  for (const auto& [call, name] : {std::pair(FileCall::open, "open"), {FileCall::read, "read"}}) {
    for (int nth = 1; nth <= (call == FileCall::read ? TypeParam::records : 1); ++nth) {
      world.file_faults = {{call, nth, EIO}};
      typename TypeParam::Region region = this->region_of(std::string(this->zeros.size(), '\x5a'));
      EXPECT_EQ(this->get(region, -1), lines({refresh(),
                                              out(TypeParam::read_function + std::string("::") +
                                                  name + " /ztcfg/l3_advance.dat error!\n"),
                                              error(TypeParam::get_read)}));
      EXPECT_EQ(bytes_of(region), std::string(this->zeros.size(), '\x5a'));
    }
  }
}

TYPED_TEST(FilterCalls, AFailedReadOfTheSwitchComesAfterTheCopy) {
  load_firewall_switch(true);
  write_file(config_path, this->file_with(false, TypeParam::image(0, 1)));
  for (const FileFault& fault : {FileFault{FileCall::open, 2, EACCES},
                                 FileFault{FileCall::lseek, TypeParam::records + 1, EIO},
                                 FileFault{FileCall::read, TypeParam::records + 1, EIO}}) {
    world.file_faults = {fault};
    typename TypeParam::Region region = {};
    EXPECT_EQ(this->get(region, -1), lines({refresh(), error(TypeParam::get_switch)}));
    EXPECT_EQ(bytes_of(region), TypeParam::image(0, 1));
    EXPECT_TRUE(switch_in_memory());
  }
}

/* ---- remove all ---- */

TYPED_TEST(FilterCalls, RemoveAllKeepsModeAndSwitch) {
  struct Case {
    bool on;
    uint32_t mode, control;
  };
  for (const Case& the :
       {Case{true, 0, 1}, {true, 1, 0}, {false, 1, 1}, {true, 1, 3}, {true, 2, 3}}) {
    load_firewall_switch(the.on);
    this->store(TypeParam::image(the.mode, the.control));
    const bool closes = *TypeParam::catch_all != '\0' && the.on && the.mode && the.control;
    EXPECT_EQ(this->remove_all(0),
              lines({refresh(), ran(TypeParam::flush), closes ? ran(TypeParam::catch_all) : Lines{},
                     ran(TypeParam::save)}));
    EXPECT_EQ(this->stored(), TypeParam::empty(the.mode, the.control));
    EXPECT_EQ(read_file(config_path),
              this->file_with(the.on, TypeParam::empty(the.mode, the.control)));
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TYPED_TEST(FilterCalls, RemoveAllEndsAtAFailedCommandWithoutAFileCall) {
  load_firewall_switch(true);
  this->store(TypeParam::image(0, 1));
  const std::string file = read_file(config_path);
  fail_command(TypeParam::save);
  EXPECT_EQ(this->remove_all(-1),
            lines({refresh(), ran(TypeParam::flush), ran_and_failed(TypeParam::save),
                   error(TypeParam::remove_save)}));
  fail_command(TypeParam::flush);
  EXPECT_EQ(this->remove_all(-1),
            lines({refresh(), ran_and_failed(TypeParam::flush), error(TypeParam::remove_flush)}));
  EXPECT_EQ(this->stored(), TypeParam::image(0, 1));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(read_file(config_path), file);
}

TYPED_TEST(FilterCalls, RemoveAllReportsAFailedWrite) {
  load_firewall_switch(true);
  for (const WriteFault& one : TypeParam::write_faults()) {
    this->store(TypeParam::image(0, 1));
    world.file_faults = {one.fault};
    EXPECT_EQ(this->remove_all(-1), lines({refresh(), ran(TypeParam::flush), ran(TypeParam::save),
                                           out(one.message), error(TypeParam::remove_write)}));
    EXPECT_EQ(this->stored(), TypeParam::empty(0, 1));
  }
}

/* ---- the catch-all that a white list leaves ---- */

using WithCatchAll = testing::Types<Url, Mac, Mac6>;
template <typename Filter>
class WhiteListCalls : public FilterCalls<Filter> {};
TYPED_TEST_SUITE(WhiteListCalls, WithCatchAll, families::Name);

TYPED_TEST(WhiteListCalls, OfANegativeCountTheCatchAllAloneIsMade) {
  load_firewall_switch(true);
  const std::string list = TypeParam::list;
  const std::string image = TypeParam::empty(1, 0x80000000).replace(0, 4, word(0xFFFFFFFF));
  EXPECT_EQ(this->set(image, 0),
            lines({refresh(), ran(TypeParam::flush),
                   debug("\n==[fw_enable=1," + list + "_filter_ctrl=80000000," + list +
                         "Table=ffffffff]\n"),
                   debug("[" + list + "_black_white=1]\n"), ran(TypeParam::catch_all),
                   ran(TypeParam::save)}));
  EXPECT_EQ(this->stored(), image);
}

TYPED_TEST(WhiteListCalls, RemoveAllIgnoresTheResultOfTheCatchAll) {
  load_firewall_switch(true);
  this->store(TypeParam::image(1, 1));
  fail_command(TypeParam::catch_all);
  EXPECT_EQ(this->remove_all(0),
            lines({refresh(), ran(TypeParam::flush), ran_and_failed(TypeParam::catch_all),
                   ran(TypeParam::save)}));
  EXPECT_EQ(this->stored(), TypeParam::empty(1, 1));
}

TYPED_TEST(WhiteListCalls, AFailedSaveComesBehindTheCatchAll) {
  load_firewall_switch(true);
  this->store(TypeParam::image(1, 1));
  fail_command(TypeParam::save);
  EXPECT_EQ(this->remove_all(-1),
            lines({refresh(), ran(TypeParam::flush), ran(TypeParam::catch_all),
                   ran_and_failed(TypeParam::save), error(TypeParam::remove_save)}));
}

/* ---- default ---- */

template <typename Filter>
class FilterDefault : public FilterCalls<Filter> {
 protected:
  static std::string set_default(int32_t expected_result) {
    return record([=] { EXPECT_EQ(Filter::set_default(), expected_result); });
  }
};
using WithDefault = testing::Types<Url, Dhcp, Portal>;
TYPED_TEST_SUITE(FilterDefault, WithDefault, families::Name);

TYPED_TEST(FilterDefault, IsAnAllZeroRegionAndLeavesTheOtherRegionsAlone) {
  load_firewall_switch(true);
  memset(&fw_rules_table, 0x5a, sizeof(fw_rules_table));
  this->store(TypeParam::image(1, 1));
  EXPECT_EQ(this->set_default(0), lines({refresh(), ran(TypeParam::flush), ran(TypeParam::save)}));
  const std::string record =
      std::string(6168, '\x5a').replace(TypeParam::offset - 31, this->zeros.size(), this->zeros);
  EXPECT_EQ(bytes_of(fw_rules_table), record);
  EXPECT_EQ(read_file(config_path).substr(31, 6168), record);
}

TYPED_TEST(FilterDefault, EndsAtAFailedCommand) {
  load_firewall_switch(true);
  this->store(TypeParam::image(1, 1));
  fail_command(TypeParam::save);
  EXPECT_EQ(this->set_default(-1),
            lines({refresh(), ran(TypeParam::flush), ran_and_failed(TypeParam::save),
                   error(TypeParam::default_save)}));
  EXPECT_EQ(this->stored(), TypeParam::image(1, 1));
  world.system = [](const std::string& line) { return exited(line == TypeParam::flush ? 1 : 0); };
  if (*TypeParam::default_flush == '\0') {
    EXPECT_EQ(this->set_default(0),
              lines({refresh(), ran_and_failed(TypeParam::flush), ran(TypeParam::save)}));
    EXPECT_EQ(read_file(config_path), this->file_with(true, this->zeros));
  } else {
    EXPECT_EQ(this->set_default(-1), lines({refresh(), ran_and_failed(TypeParam::flush),
                                            error(TypeParam::default_flush)}));
    EXPECT_EQ(this->stored(), TypeParam::image(1, 1));
  }
}

TYPED_TEST(FilterDefault, ReportsAFailedWrite) {
  load_firewall_switch(true);
  for (const WriteFault& one : write_faults) {
    this->store(TypeParam::image(1, 1));
    world.file_faults = {one.fault};
    EXPECT_EQ(this->set_default(-1), lines({refresh(), ran(TypeParam::flush), ran(TypeParam::save),
                                            out(one.message), error(TypeParam::default_write)}));
    EXPECT_EQ(this->stored(), this->zeros);
  }
}
