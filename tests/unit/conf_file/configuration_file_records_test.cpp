/* The configuration file as a whole and its three records: creation, which bytes each call moves,
 * and what becomes of files that are short, unwritable or no files. */
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "configuration_file_calls.hpp"
#include "sample_config.hpp"

using namespace harness;
using namespace configuration_file;

namespace {

/* The open flags of the one descriptor that a failed seek has left behind; closes it. */
int flags_of_the_open_descriptor() {
  for (int fd = 3; fd < 256; ++fd) {
    std::array<char, 256> target{};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    if (readlink(link.c_str(), target.data(), target.size() - 1) > 0 &&
        std::string(target.data()) == config_path) {
      const int flags = fcntl(fd, F_GETFL);
      close(fd);
      return flags;
    }
  }
  return -1;
}

}  // namespace

TEST(ConfigurationFile, CreationWritesBothTextsAndTheDefaultRecords) {
  umask(0);
  const Outcome outcome = run(init_cfgfile);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.transcript, "");
  std::string expected = "vpn_pass_through=0\nfire_wall=0\n";
  expected += std::string(4632, '\0') + word(1) + std::string(6168 - 4636, '\0');
  expected += std::string(248, '\0');
  expected += std::string(7032, '\0') + word(1) + std::string(8572 - 7036, '\0');
  EXPECT_EQ(expected.size(), 15019U);
  EXPECT_EQ(read_file(config_path), expected);
  EXPECT_EQ(file_mode(config_path), 0600U);
  EXPECT_EQ(file_calls(FileCall::open), 1);
  EXPECT_EQ(file_calls(FileCall::write), 7);
  EXPECT_EQ(file_calls(FileCall::close), 1);
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, CreationSetsTheRecordsInMemoryToTheDefaults) {
  fill_records(0xee);
  EXPECT_EQ(run(init_cfgfile).result, 0);
  std::string expected(6168 + 248 + 8572, '\0');
  expected.replace(4632, 4, word(1));
  expected.replace(6168 + 248 + 7032, 4, word(1));
  EXPECT_EQ(records(), expected);
}

TEST(ConfigurationFile, CreationOverAnExistingFileNeitherTruncatesItNorChangesItsMode) {
  write_file(config_path, std::string(15100, 'x'));
  chmod(config_path, 0644);
  EXPECT_EQ(run(init_cfgfile).result, 0);
  EXPECT_EQ(read_file(config_path), fresh_config_file() + std::string(81, 'x'));
  EXPECT_EQ(file_mode(config_path), 0644U);
}

TEST(ConfigurationFile, EveryGetterCreatesAMissingFileAndReadsTheDefaultsBack) {
  umask(0);
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    unlink(config_path);
    fill_records(0xee);
    const Outcome outcome = run(getter.call);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    EXPECT_EQ(read_file(config_path), fresh_config_file());
    EXPECT_EQ(file_mode(config_path), 0600U);
    EXPECT_EQ(records(), fresh_config_file().substr(31));
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFile, EverySetterCreatesAMissingFileAndSoLosesWhatWasInMemory) {
  umask(0);
  for (const RecordCall& setter : record_setters) {
    SCOPED_TRACE(setter.name);
    unlink(config_path);
    fill_records(0xee);
    const Outcome outcome = run(setter.call);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    EXPECT_EQ(read_file(config_path), fresh_config_file());
    EXPECT_EQ(file_mode(config_path), 0600U);
    EXPECT_EQ(records(), fresh_config_file().substr(31));
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFile, ReadingBothFirewallRecordsLeavesRouteQosAlone) {
  const std::string file = counting_file();
  write_file(config_path, file);
  fill_records(0xee);
  EXPECT_EQ(run(get_firewall_rules_from_cfgfile).result, 0);
  EXPECT_EQ(bytes_of(fw_rules_table), file.substr(31, 6168));
  EXPECT_EQ(bytes_of(fw6_rules_table), file.substr(6447, 8572));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), std::string(248, '\xee'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, ReadingTheIpv4RecordLeavesTheOthersAlone) {
  const std::string file = counting_file();
  write_file(config_path, file);
  fill_records(0xee);
  EXPECT_EQ(run(get_firewall4_rules_from_cfgfile).result, 0);
  EXPECT_EQ(records(), file.substr(31, 6168) + std::string(248 + 8572, '\xee'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, ReadingTheIpv6RecordLeavesTheOthersAlone) {
  const std::string file = counting_file();
  write_file(config_path, file);
  fill_records(0xee);
  EXPECT_EQ(run(get_firewall6_rules_from_cfgfile).result, 0);
  EXPECT_EQ(records(), std::string(6168 + 248, '\xee') + file.substr(6447, 8572));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, ReadingRouteQosLeavesTheOthersAlone) {
  const std::string file = counting_file();
  write_file(config_path, file);
  fill_records(0xee);
  EXPECT_EQ(run(get_qos_cfg_from_cfgfile).result, 0);
  EXPECT_EQ(records(),
            std::string(6168, '\xee') + file.substr(6199, 248) + std::string(8572, '\xee'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, ReadingChangesNoByteOfTheFileAndNothingIsCached) {
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, counting_file());
    EXPECT_EQ(run(getter.call).result, 0);
    EXPECT_EQ(read_file(config_path), counting_file());
    const std::string first = records();
    write_file(config_path, std::string(15019, '\x77'));
    EXPECT_EQ(run(getter.call).result, 0);
    EXPECT_EQ(file_calls(FileCall::open), 1);
    EXPECT_NE(records(), first);
  }
}

TEST(ConfigurationFile, WritingBothFirewallRecordsSkipsRouteQos) {
  write_file(config_path, counting_file(15100));
  fill_records(0x5a);
  EXPECT_EQ(run(set_firewall_rules_to_cfgfile).result, 0);
  std::string expected = counting_file(15100);
  expected.replace(31, 6168, 6168, '\x5a');
  expected.replace(6447, 8572, 8572, '\x5a');
  EXPECT_EQ(read_file(config_path), expected);
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, WritingTheIpv4RecordChangesNothingBehindIt) {
  write_file(config_path, counting_file(15100));
  fill_records(0x5a);
  EXPECT_EQ(run(set_firewall4_rules_to_cfgfile).result, 0);
  std::string expected = counting_file(15100);
  expected.replace(31, 6168, 6168, '\x5a');
  EXPECT_EQ(read_file(config_path), expected);
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, WritingTheIpv6RecordChangesItsOwnBytesAlone) {
  write_file(config_path, counting_file(15100));
  fill_records(0x5a);
  EXPECT_EQ(run(set_firewall6_rules_to_cfgfile).result, 0);
  std::string expected = counting_file(15100);
  expected.replace(6447, 8572, 8572, '\x5a');
  EXPECT_EQ(read_file(config_path), expected);
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, WritingRouteQosChangesItsOwnBytesAlone) {
  write_file(config_path, counting_file(15100));
  fill_records(0x5a);
  EXPECT_EQ(run(set_qos_cfg_to_cfgfile).result, 0);
  std::string expected = counting_file(15100);
  expected.replace(6199, 248, 248, '\x5a');
  EXPECT_EQ(read_file(config_path), expected);
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, WritingKeepsTheModeOfAnExistingFileAndTheRecordsInMemory) {
  for (const RecordCall& setter : record_setters) {
    SCOPED_TRACE(setter.name);
    write_file(config_path, counting_file());
    chmod(config_path, 0640);
    fill_records(0x5a);
    EXPECT_EQ(run(setter.call).transcript, "");
    EXPECT_EQ(file_mode(config_path), 0640U);
    EXPECT_EQ(records(), std::string(6168 + 248 + 8572, '\x5a'));
  }
}

TEST(ConfigurationFile, WritingBehindTheEndOfAShortFileLeavesAHole) {
  write_file(config_path, "vpn_pass_through=1\n");
  fill_records(0x5a);
  EXPECT_EQ(run(set_qos_cfg_to_cfgfile).result, 0);
  EXPECT_EQ(read_file(config_path),
            "vpn_pass_through=1\n" + std::string(6199 - 19, '\0') + std::string(248, '\x5a'));
}

TEST(ConfigurationFile, GettersOpenForReadingOnly) {
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, counting_file());
    world.file_faults = {{FileCall::lseek, 1, EIO}};
    EXPECT_EQ(run(getter.call).result, -1);
    const int flags = flags_of_the_open_descriptor();
    EXPECT_NE(flags, -1);
    EXPECT_EQ(flags & O_ACCMODE, O_RDONLY);
  }
}

TEST(ConfigurationFile, SettersOpenForWritingOnlyAndInPlace) {
  for (const RecordCall& setter : record_setters) {
    SCOPED_TRACE(setter.name);
    write_file(config_path, counting_file());
    world.file_faults = {{FileCall::lseek, 1, EIO}};
    EXPECT_EQ(run(setter.call).result, -1);
    const int flags = flags_of_the_open_descriptor();
    EXPECT_NE(flags, -1);
    EXPECT_EQ(flags & O_ACCMODE, O_WRONLY);
    EXPECT_EQ(flags & O_APPEND, 0);
    EXPECT_EQ(read_file(config_path), counting_file());
  }
}

TEST(ConfigurationFile, AFileCutInsideTheIpv6RecordReadsAsZeroBehindTheCut) {
  const std::string file = counting_file(9000);
  write_file(config_path, file);
  fill_records(0xee);
  Outcome outcome = run(get_firewall_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.transcript, "");
  EXPECT_EQ(bytes_of(fw_rules_table), file.substr(31, 6168));
  EXPECT_EQ(bytes_of(fw6_rules_table), file.substr(6447) + std::string(15019 - 9000, '\0'));
  EXPECT_EQ(open_descriptors(), 0);

  memset(&fw6_rules_table, 0xee, sizeof(fw6_rules_table));
  EXPECT_EQ(run(get_firewall6_rules_from_cfgfile).result, 0);
  EXPECT_EQ(bytes_of(fw6_rules_table), file.substr(6447) + std::string(15019 - 9000, '\0'));
  EXPECT_EQ(read_file(config_path), file);
}

TEST(ConfigurationFile, AFileCutInsideTheIpv4RecordReadsAsZeroBehindTheCut) {
  const std::string file = counting_file(1031);
  write_file(config_path, file);
  fill_records(0xee);
  const Outcome outcome = run(get_firewall_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.transcript, "");
  EXPECT_EQ(bytes_of(fw_rules_table), file.substr(31, 1000) + std::string(5168, '\0'));
  // The skip is relative: what the first record found too little is no part of it.
  EXPECT_EQ(bytes_of(fw6_rules_table), std::string(8572, '\0'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(ConfigurationFile, AFileCutInsideRouteQosReadsAsZeroBehindTheCut) {
  const std::string file = counting_file(6300);
  write_file(config_path, file);
  fill_records(0xee);
  EXPECT_EQ(run(get_qos_cfg_from_cfgfile).result, 0);
  EXPECT_EQ(bytes_of(RtQoSRulesTable), file.substr(6199) + std::string(6447 - 6300, '\0'));
}

TEST(ConfigurationFile, AnEmptyFileIsNotCreatedAnewAndReadsAsZero) {
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, "");
    EXPECT_EQ(run(getter.call).result, 0);
    EXPECT_EQ(read_file(config_path), "");
    EXPECT_EQ(open_descriptors(), 0);
  }
  fill_records(0xee);
  static_cast<void>(record([] {
    for (const RecordCall& getter : record_getters) {
      getter.call();
    }
  }));
  EXPECT_EQ(records(), std::string(6168 + 248 + 8572, '\0'));
}

TEST(ConfigurationFile, ADirectoryInItsPlaceCannotBeRead) {
  mkdir(config_path, 0700);
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    const Outcome outcome = run(getter.call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript,
              lines({out(std::string(getter.name) + "::read /ztcfg/l3_advance.dat error!\n")}));
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationFile, ADirectoryInItsPlaceCannotBeWritten) {
  mkdir(config_path, 0700);
  for (const RecordCall& setter : record_setters) {
    SCOPED_TRACE(setter.name);
    const Outcome outcome = run(setter.call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript,
              lines({out(std::string(setter.name) + "::open /ztcfg/l3_advance.dat error!\n")}));
  }
  const Outcome creation = run(init_cfgfile);
  EXPECT_EQ(creation.result, -1);
  EXPECT_EQ(creation.transcript, "");
}

TEST(ConfigurationFile, AReadOnlyDirectoryCannotTakeANewFile) {
  ASSERT_EQ(mount("tmpfs", "/ztcfg", "tmpfs", MS_RDONLY, nullptr), 0) << strerror(errno);
  for (const auto& calls : {record_getters, record_setters}) {
    for (size_t i = 0; i < 4; ++i) {
      SCOPED_TRACE(calls[i].name);
      const Outcome outcome = run(calls[i].call);
      EXPECT_EQ(outcome.result, -1);
      EXPECT_EQ(outcome.transcript,
                lines({out(std::string(calls[i].name) + "::init_cfgfile err!\n")}));
      EXPECT_EQ(open_descriptors(), 0);
    }
  }
  EXPECT_FALSE(file_exists(config_path));
}

TEST(ConfigurationFile, AReadOnlyFileSystemCanBeReadAndNotWritten) {
  write_file(config_path, counting_file());
  ASSERT_EQ(mount("tmpfs", "/ztcfg", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0)
      << strerror(errno);
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    EXPECT_EQ(run(getter.call).result, 0);
  }
  EXPECT_EQ(records(), counting_file().substr(31));
  for (const RecordCall& setter : record_setters) {
    SCOPED_TRACE(setter.name);
    const Outcome outcome = run(setter.call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript,
              lines({out(std::string(setter.name) + "::open /ztcfg/l3_advance.dat error!\n")}));
  }
  EXPECT_EQ(read_file(config_path), counting_file());
}

TEST(ConfigurationFile, AFullDiskStopsTheCreationInTheMiddle) {
  ASSERT_EQ(mount("tmpfs", "/ztcfg", "tmpfs", 0, "size=4k"), 0) << strerror(errno);
  const Outcome outcome = run(get_firewall_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            lines({out("init_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                   out("get_firewall_rules_from_cfgfile::init_cfgfile err!\n")}));
  EXPECT_EQ(open_descriptors(), 0);
  // What was written stays; the next call finds a file and reads what is missing as zero.
  EXPECT_EQ(read_file(config_path), fresh_config_file().substr(0, 4096));
  EXPECT_EQ(run(get_firewall_rules_from_cfgfile).result, 0);
  EXPECT_EQ(bytes_of(fw_rules_table), std::string(6168, '\0'));
}

TEST(ConfigurationFile, AFullDiskStopsAWriteInTheMiddle) {
  ASSERT_EQ(mount("tmpfs", "/ztcfg", "tmpfs", 0, "size=4k"), 0) << strerror(errno);
  write_file(config_path, counting_file(100));
  fill_records(0x5a);
  const Outcome outcome = run(set_firewall4_rules_to_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            lines({out("set_firewall4_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(read_file(config_path), counting_file(31) + std::string(4096 - 31, '\x5a'));
}

/* Why programs that share the file take the lock of l3ctl before they load it. */
TEST(LostUpdate, ASetOverwritesWhatAnotherProgramHasStoredSinceTheLoad) {
  const std::string loaded = sample_config::file('1');
  sample_config::load(loaded);
  const std::string newer = sample_config::with_word(loaded, sample_config::level, 1);
  write_file(config_path, newer);
  EXPECT_EQ(run(set_firewall4_rules_to_cfgfile).result, 0);
  EXPECT_EQ(read_file(config_path), loaded);

  write_file(config_path, newer);
  EXPECT_EQ(run(get_firewall4_rules_from_cfgfile).result, 0);
  EXPECT_EQ(run(set_firewall4_rules_to_cfgfile).result, 0);
  EXPECT_EQ(read_file(config_path), newer);
}

/* A set call that was interrupted behind its file write is not mended by the same call in a new process. */
TEST(InterruptedSet, TheSameCallMakesNoRuleAndTheMasterSwitchMakesAll) {
  sample_config::load(sample_config::file('1'));
  const l3_mac_filter stored = fw_rules_table.mac_filter;
  const Outcome again = run([&] { return gl3_web_set_mac_cfg(&stored); });
  EXPECT_EQ(again.result, 0);
  EXPECT_EQ(again.transcript.find("iptables"), std::string::npos) << again.transcript;
  const Outcome repaired = run([] { return gl3_web_set_fw_status(1); });
  EXPECT_EQ(repaired.result, 0);
  EXPECT_NE(repaired.transcript.find("iptables -A forward_ext_mac "), std::string::npos)
      << repaired.transcript;
}
