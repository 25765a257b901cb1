/* Every file call of the record calls failing, or moving less than asked: the message or silence, the
 * result, the descriptor, and what is left in memory and in the file. */
#include <unistd.h>

#include <cerrno>

#include "configuration_file_calls.hpp"

using namespace harness;
using namespace configuration_file;

namespace {

/* A record setter with the place of the record that it writes first. */
struct Place {
  size_t offset;
  size_t size;
};
constexpr Place first_record_of[] = {{31, 6168}, {31, 6168}, {6447, 8572}, {6199, 248}};

std::string message(const std::string& name, const char* text) {
  return lines({out(name + "::" + text)});
}

}  // namespace

TEST(ConfigurationFileFault, AFailedOpenOfAReaderIsNamed) {
  // The single records are zero by then; the pair is zeroed record by record, once it is open.
  const std::string left_in_memory[] = {
      std::string(14988, '\xee'), std::string(6168, '\0') + std::string(8820, '\xee'),
      std::string(6416, '\xee') + std::string(8572, '\0'),
      std::string(6168, '\xee') + std::string(248, '\0') + std::string(8572, '\xee')};
  for (size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(record_getters[i].name);
    write_file(config_path, counting_file());
    fill_records(0xee);
    world.file_faults = {{FileCall::open, 1, EACCES}};
    const Outcome outcome = run(record_getters[i].call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript,
              message(record_getters[i].name, "open /ztcfg/l3_advance.dat error!\n"));
    EXPECT_EQ(records(), left_in_memory[i]);
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFileFault, AFailedOpenOfAWriterIsNamed) {
  for (const RecordCall& setter : record_setters) {
    SCOPED_TRACE(setter.name);
    write_file(config_path, counting_file());
    fill_records(0x5a);
    world.file_faults = {{FileCall::open, 1, EACCES}};
    const Outcome outcome = run(setter.call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript, message(setter.name, "open /ztcfg/l3_advance.dat error!\n"));
    EXPECT_EQ(records(), std::string(14988, '\x5a'));
    EXPECT_EQ(read_file(config_path), counting_file());
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFileFault, AFailedSeekIsNamedAndLeavesTheDescriptorOpen) {
  for (const RecordCall* calls : {record_getters, record_setters}) {
    for (size_t i = 0; i < 4; ++i) {
      SCOPED_TRACE(calls[i].name);
      write_file(config_path, counting_file());
      world.file_faults = {{FileCall::lseek, 1, EINVAL}};
      const Outcome outcome = run(calls[i].call);
      EXPECT_EQ(outcome.result, -1);
      EXPECT_EQ(outcome.transcript, message(calls[i].name, "lseek /ztcfg/l3_advance.dat error!\n"));
      EXPECT_EQ(file_calls(FileCall::close), 0);
      EXPECT_EQ(open_descriptors(), 1);
      EXPECT_EQ(read_file(config_path), counting_file());
    }
  }
}

TEST(ConfigurationFileFault, AFailedSkipWhileReadingLeavesTheIpv6RecordAsItWas) {
  write_file(config_path, counting_file());
  fill_records(0xee);
  world.file_faults = {{FileCall::lseek, 2, EINVAL}};
  const Outcome outcome = run(get_firewall_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            message("get_firewall_rules_from_cfgfile", "lseek /ztcfg/l3_advance.dat error!\n"));
  EXPECT_EQ(records(), counting_file().substr(31, 6168) + std::string(8820, '\xee'));
  EXPECT_EQ(open_descriptors(), 1);
}

TEST(ConfigurationFileFault, AFailedSkipWhileWritingLeavesTheIpv6RecordUnwritten) {
  write_file(config_path, counting_file());
  fill_records(0x5a);
  world.file_faults = {{FileCall::lseek, 2, EINVAL}};
  const Outcome outcome = run(set_firewall_rules_to_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            message("set_firewall_rules_to_cfgfile", "lseek /ztcfg/l3_advance.dat error!\n"));
  EXPECT_EQ(read_file(config_path), counting_file().replace(31, 6168, 6168, '\x5a'));
  EXPECT_EQ(open_descriptors(), 1);
}

TEST(ConfigurationFileFault, AFailedReadIsNamedAndCloses) {
  const std::string left_in_memory[] = {
      std::string(6168, '\0') + std::string(8820, '\xee'),
      std::string(6168, '\0') + std::string(8820, '\xee'),
      std::string(6416, '\xee') + std::string(8572, '\0'),
      std::string(6168, '\xee') + std::string(248, '\0') + std::string(8572, '\xee')};
  for (size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(record_getters[i].name);
    write_file(config_path, counting_file());
    fill_records(0xee);
    world.file_faults = {{FileCall::read, 1, EIO}};
    const Outcome outcome = run(record_getters[i].call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript,
              message(record_getters[i].name, "read /ztcfg/l3_advance.dat error!\n"));
    EXPECT_EQ(records(), left_in_memory[i]);
    EXPECT_EQ(file_calls(FileCall::close), 1);
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFileFault, AReadThatFailsHalfwayLeavesTheRecordPartlyFilled) {
  const std::string file = counting_file();
  write_file(config_path, file);
  fill_records(0xee);
  world.file_faults = {{FileCall::read, 1, 0, 100}, {FileCall::read, 2, EIO}};
  const Outcome outcome = run(get_firewall4_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            message("get_firewall4_rules_from_cfgfile", "read /ztcfg/l3_advance.dat error!\n"));
  EXPECT_EQ(bytes_of(fw_rules_table), file.substr(31, 100) + std::string(6068, '\0'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFileFault, AFailedReadOfTheSecondRecordKeepsTheFirst) {
  const std::string file = counting_file();
  write_file(config_path, file);
  fill_records(0xee);
  world.file_faults = {{FileCall::read, 2, EIO}};
  const Outcome outcome = run(get_firewall_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            message("get_firewall_rules_from_cfgfile", "read /ztcfg/l3_advance.dat error!\n"));
  EXPECT_EQ(bytes_of(fw_rules_table), file.substr(31, 6168));
  EXPECT_EQ(bytes_of(fw6_rules_table), std::string(8572, '\0'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFileFault, ReadsThatMoveLittleAreContinued) {
  const std::string file = counting_file();
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, file);
    fill_records(0xee);
    EXPECT_EQ(run(getter.call).result, 0);
    const std::string whole = records();
    fill_records(0xee);
    world.file_faults = {{FileCall::read, 1, 0, 1}, {FileCall::read, 2, 0, 99}};
    EXPECT_EQ(run(getter.call).result, 0);
    EXPECT_EQ(records(), whole);
    EXPECT_GE(file_calls(FileCall::read), 3);
    EXPECT_EQ(open_descriptors(), 0);
    world.file_faults.clear();
  }
}

TEST(ConfigurationFileFault, AReadThatMovesNothingEndsTheRecordWithoutAFailure) {
  const std::string file = counting_file();
  write_file(config_path, file);
  fill_records(0xee);
  world.file_faults = {{FileCall::read, 1, 0, 100}, {FileCall::read, 2, 0, 0}};
  const Outcome outcome = run(get_firewall4_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.transcript, "");
  EXPECT_EQ(file_calls(FileCall::read), 2);
  EXPECT_EQ(bytes_of(fw_rules_table), file.substr(31, 100) + std::string(6068, '\0'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFileFault, TheSkipCountsFromWhereTheFirstRecordEnded) {
  const std::string file = counting_file();
  write_file(config_path, file);
  world.file_faults = {{FileCall::read, 1, 0, 100}, {FileCall::read, 2, 0, 0}};
  EXPECT_EQ(run(get_firewall_rules_from_cfgfile).result, 0);
  EXPECT_EQ(bytes_of(fw_rules_table), file.substr(31, 100) + std::string(6068, '\0'));
  EXPECT_EQ(bytes_of(fw6_rules_table), file.substr(31 + 100 + 248, 8572));
}

TEST(ConfigurationFileFault, AFailedWriteIsNamedAndCloses) {
  for (const RecordCall& setter : record_setters) {
    SCOPED_TRACE(setter.name);
    write_file(config_path, counting_file());
    fill_records(0x5a);
    world.file_faults = {{FileCall::write, 1, ENOSPC}};
    const Outcome outcome = run(setter.call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript, message(setter.name, "write /ztcfg/l3_advance.dat error!\n"));
    EXPECT_EQ(read_file(config_path), counting_file());
    EXPECT_EQ(records(), std::string(14988, '\x5a'));
    EXPECT_EQ(file_calls(FileCall::close), 1);
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFileFault, AWriteThatFailsHalfwayLeavesTheFilePartlyRewritten) {
  for (size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(record_setters[i].name);
    write_file(config_path, counting_file());
    fill_records(0x5a);
    world.file_faults = {{FileCall::write, 1, 0, 100}, {FileCall::write, 2, EIO}};
    const Outcome outcome = run(record_setters[i].call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript,
              message(record_setters[i].name, "write /ztcfg/l3_advance.dat error!\n"));
    EXPECT_EQ(read_file(config_path),
              counting_file().replace(first_record_of[i].offset, 100, 100, '\x5a'));
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFileFault, AFailedWriteOfTheSecondRecordKeepsTheFirst) {
  write_file(config_path, counting_file());
  fill_records(0x5a);
  world.file_faults = {{FileCall::write, 2, EIO}};
  const Outcome outcome = run(set_firewall_rules_to_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            message("set_firewall_rules_to_cfgfile", "write /ztcfg/l3_advance.dat error!\n"));
  EXPECT_EQ(read_file(config_path), counting_file().replace(31, 6168, 6168, '\x5a'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFileFault, WritesThatMoveLittleOrNothingAreContinued) {
  for (size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(record_setters[i].name);
    write_file(config_path, counting_file());
    memcpy(&fw_rules_table, counting_file(9000).data() + 5, sizeof(fw_rules_table));
    memcpy(&RtQoSRulesTable, counting_file(9000).data() + 6, sizeof(RtQoSRulesTable));
    memcpy(&fw6_rules_table, counting_file(9000).data() + 7, sizeof(fw6_rules_table));
    world.file_faults = {{FileCall::write, 1, 0, 0},
                         {FileCall::write, 2, 0, 1},
                         {FileCall::write, 3, 0, 0},
                         {FileCall::write, 4, 0, 99}};
    const Outcome outcome = run(record_setters[i].call);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    const Place first = first_record_of[i];
    EXPECT_EQ(read_file(config_path).substr(first.offset, first.size),
              records().substr(first.offset - 31, first.size));
    EXPECT_GE(file_calls(FileCall::write), 5);
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFileFault, AFailedCloseIsNoFailure) {
  for (const RecordCall* calls : {record_getters, record_setters}) {
    for (size_t i = 0; i < 4; ++i) {
      SCOPED_TRACE(calls[i].name);
      write_file(config_path, counting_file());
      world.file_faults = {{FileCall::close, 1, EIO}};
      const Outcome outcome = run(calls[i].call);
      EXPECT_EQ(outcome.result, 0);
      EXPECT_EQ(outcome.transcript, "");
      EXPECT_EQ(file_calls(FileCall::close), 1);
    }
  }
  world.file_faults = {{FileCall::close, 1, EIO}};
  const Outcome creation = run(init_cfgfile);
  EXPECT_EQ(creation.result, 0);
  EXPECT_EQ(creation.transcript, "");
}

TEST(ConfigurationFileFault, AFileThatCannotBeSeenIsWrittenAnew) {
  write_file(config_path, counting_file());
  world.file_faults = {{FileCall::access, 1, ENOENT}};
  const Outcome outcome = run(get_firewall4_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.transcript, "");
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(ConfigurationFileFault, ACreationThatFailsIsNamedByEachCall) {
  for (const RecordCall* calls : {record_getters, record_setters}) {
    for (size_t i = 0; i < 4; ++i) {
      SCOPED_TRACE(calls[i].name);
      unlink(config_path);
      fill_records(0xee);
      world.file_faults = {{FileCall::open, 1, EROFS}};
      const Outcome outcome = run(calls[i].call);
      EXPECT_EQ(outcome.result, -1);
      EXPECT_EQ(outcome.transcript, message(calls[i].name, "init_cfgfile err!\n"));
      EXPECT_EQ(open_descriptors(), 0);
      EXPECT_FALSE(file_exists(config_path));
      // Only the route-QoS getter has zeroed its record before it looked for the file.
      const bool qos_getter = calls[i].call == get_qos_cfg_from_cfgfile;
      EXPECT_EQ(records(), std::string(6168, '\xee') +
                               std::string(248, qos_getter ? '\0' : '\xee') +
                               std::string(8572, '\xee'));
    }
  }
}

TEST(ConfigurationFileFault, AFailedOpenOfTheCreationIsSilent) {
  fill_records(0xee);
  world.file_faults = {{FileCall::open, 1, EROFS}};
  const Outcome outcome = run(init_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript, "");
  EXPECT_EQ(records(), std::string(14988, '\xee'));
}

TEST(ConfigurationFileFault, AFailedTextOfTheCreationIsSilentAndLeavesTheDescriptorOpen) {
  const std::string left_in_file[] = {"", "vpn_pass_through=", "vpn_pass_through=0\n",
                                      "vpn_pass_through=0\nfire_wall="};
  for (int nth = 1; nth <= 4; ++nth) {
    SCOPED_TRACE(nth);
    unlink(config_path);
    fill_records(0xee);
    world.file_faults = {{FileCall::write, nth, ENOSPC}};
    const Outcome outcome = run(init_cfgfile);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript, "");
    EXPECT_EQ(file_calls(FileCall::close), 0);
    EXPECT_EQ(open_descriptors(), 1);
    EXPECT_EQ(read_file(config_path), left_in_file[nth - 1]);
    EXPECT_EQ(records(), std::string(14988, '\xee'));
  }
}

TEST(ConfigurationFileFault, AFailedRecordOfTheCreationIsNamedAndCloses) {
  const std::string fresh = fresh_config_file();
  struct Left {
    int nth;
    size_t file_bytes;
    size_t default_bytes;
  };
  for (const Left& left : {Left{5, 31, 6168}, Left{6, 6199, 6416}, Left{7, 6447, 14988}}) {
    SCOPED_TRACE(left.nth);
    unlink(config_path);
    fill_records(0xee);
    world.file_faults = {{FileCall::write, left.nth, ENOSPC}};
    const Outcome outcome = run(init_cfgfile);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript, message("init_cfgfile", "write /ztcfg/l3_advance.dat error!\n"));
    EXPECT_EQ(file_calls(FileCall::close), 1);
    EXPECT_EQ(open_descriptors(), 0);
    EXPECT_EQ(read_file(config_path), fresh.substr(0, left.file_bytes));
    EXPECT_EQ(records(), fresh.substr(31, left.default_bytes) +
                             std::string(14988 - left.default_bytes, '\xee'));
  }
}

TEST(ConfigurationFileFault, ACreationWhoseRecordFailsIsNamedTwice) {
  world.file_faults = {{FileCall::write, 6, ENOSPC}};
  const Outcome outcome = run(set_qos_cfg_to_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript, lines({out("init_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                                       out("set_qos_cfg_to_cfgfile::init_cfgfile err!\n")}));
  EXPECT_EQ(file_calls(FileCall::open), 1);
}

TEST(ConfigurationFileFault, TheCreationContinuesItsRecordsAndNotItsTexts) {
  world.file_faults = {
      {FileCall::write, 1, 0, 5}, {FileCall::write, 5, 0, 0}, {FileCall::write, 6, 0, 10}};
  const Outcome outcome = run(init_cfgfile);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.transcript, "");
  EXPECT_EQ(file_calls(FileCall::write), 9);
  EXPECT_EQ(read_file(config_path), "vpn_p0\nfire_wall=0\n" + fresh_config_file().substr(31));
}
