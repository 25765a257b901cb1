/* A file that cannot be looked at (no permission, no memory, a medium that fails) is not taken for missing:
 * a missing file is created anew, which would overwrite it. A path that cannot exist (one of its folders is a
 * file, its links form a loop, it is too long) counts as missing. */
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "configuration_file_calls.hpp"
#include "sample_config.hpp"

using namespace harness;
using namespace configuration_file;

namespace {

/* Errors of access() for a path where no file can be. */
constexpr int missing_errors[] = {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, sets_no_errno};
constexpr int unreadable_errors[] = {EACCES, EIO, ENOMEM, EPERM, EROFS};

/* Moves this test into a root of its own in which /ztcfg is a plain file. */
void enter_a_root_where_the_folder_is_a_file() {
  ASSERT_EQ(mkdir("/run/root", 0700), 0) << errno;
  write_file("/run/root/ztcfg", "not a folder");
  // A sanitizer reads it when the process ends.
  ASSERT_EQ(mkdir("/run/root/proc", 0700), 0) << errno;
  ASSERT_EQ(mount("/proc", "/run/root/proc", nullptr, MS_BIND | MS_REC, nullptr), 0) << errno;
  ASSERT_EQ(chroot("/run/root"), 0) << errno;
  ASSERT_EQ(chdir("/"), 0) << errno;
}

}  // namespace

TEST(UnreadableFile, TheConfigurationFileKeepsItsSettings) {
  const std::string file = sample_config::file('1');
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, file);
    world.file_faults = {{FileCall::access, 1, EIO}};
    const Outcome outcome = run(getter.call);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    EXPECT_EQ(read_file(config_path), file);
  }
  EXPECT_EQ(records(), file.substr(31));
}

TEST(UnreadableFile, ASetWritesItsRecordAndNoDefaults) {
  const std::string file = sample_config::file('1');
  sample_config::load(file);
  fw_rules_table.security_level = 1;
  world.file_faults = {{FileCall::access, 1, ENOMEM}};
  EXPECT_EQ(run(set_firewall4_rules_to_cfgfile).result, 0);
  EXPECT_EQ(read_file(config_path), sample_config::with_word(file, sample_config::level, 1));
}

TEST(UnreadableFile, AMissingOneIsNotCreated) {
  world.file_faults = {{FileCall::access, 1, EIO}};
  const Outcome outcome = run(get_firewall4_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            lines({out("get_firewall4_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(UnreadableFile, ARecordFileKeepsItsBytes) {
  constexpr char path[] = "/ztcfg/wan.rec";
  write_file(path, std::string(1872, 'w'));
  std::string info(1872, '\0');
  world.file_faults = {{FileCall::access, 1, EIO}};
  EXPECT_EQ(run([&] { return get_std_wan_service_info_from_cfgfile(info.data(), path); }).result,
            0);
  EXPECT_EQ(info, std::string(1872, 'w'));

  constexpr char timeout[] = "/ztcfg/ct_activity_timeout.conf";
  write_file(timeout, "600");
  std::string text(3, '\0');
  EXPECT_EQ(run([&] { return read_info_from_file(text.data(), timeout, 3); }).result, 0);
  EXPECT_EQ(text, "600");
}

TEST(UnreadableFile, TheSavedRulesAreNotReplacedByTheEmptyTree) {
  for (int nth = 2; nth <= 3; ++nth) {
    SCOPED_TRACE(nth);
    write_file(config_path, sample_config::file('0'));
    write_file(sample_config::save_path, "the IPv4 rules");
    write_file(sample_config::save6_path, "the IPv6 rules");
    sample_config::shell_writes_files();
    // The first look is for the migration's flag.
    world.file_faults = {{FileCall::access, nth, EIO}};
    EXPECT_EQ(run(gl3_web_init_fw).result, 0);
    EXPECT_EQ(read_file(sample_config::save_path), "the IPv4 rules");
    EXPECT_EQ(read_file(sample_config::save6_path), "the IPv6 rules");
  }
}

TEST(UnreadableFile, APathThatCannotExistCountsAsMissing) {
  for (const int error : missing_errors) {
    for (const RecordCall& getter : record_getters) {
      SCOPED_TRACE(std::string(getter.name) + ", errno " + std::to_string(error));
      write_file(config_path, std::string(15019, 'x'));
      world.file_faults = {{FileCall::access, 1, error}};
      errno = EIO;  // what an earlier call left there
      EXPECT_EQ(run(getter.call).result, 0);
      EXPECT_EQ(read_file(config_path), fresh_config_file());
    }
  }
}

TEST(UnreadableFile, AnyOtherErrorCountsAsThere) {
  const std::string file = sample_config::file('1');
  for (const int error : unreadable_errors) {
    for (const RecordCall& getter : record_getters) {
      SCOPED_TRACE(std::string(getter.name) + ", errno " + std::to_string(error));
      write_file(config_path, file);
      world.file_faults = {{FileCall::access, 1, error}};
      EXPECT_EQ(run(getter.call).result, 0);
      EXPECT_EQ(read_file(config_path), file);
    }
  }
}

TEST(UnreadableFile, ALoopOfLinksFailsTheInitialiserOfTheConfigurationFile) {
  ASSERT_EQ(symlink(config_path, config_path), 0);
  for (const RecordCall& getter : record_getters) {
    const Outcome outcome = run(getter.call);
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript, lines({out(std::string(getter.name) + "::init_cfgfile err!\n")}));
  }
}

TEST(UnreadableFile, APathThroughAFileOrOneThatIsTooLongFailsTheInitialiserOfARecordFile) {
  write_file("/ztcfg/file", "not a folder");
  char bytes[1872] = {};
  for (const std::string& path :
       {std::string("/ztcfg/file/wan.rec"), "/ztcfg/" + std::string(300, 'n')}) {
    SCOPED_TRACE(path);
    Outcome outcome =
        run([&] { return get_std_wan_service_info_from_cfgfile(bytes, path.c_str()); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript,
              lines({out("get_std_wan_service_info_from_cfgfile::init_std_wan_cfgfile err!\n")}));

    outcome = run([&] { return set_std_wan_service_info_to_cfgfile(bytes, path.c_str()); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript,
              lines({out("set_std_wan_service_info_to_cfgfile::init_std_wan_cfgfile err!\n")}));

    outcome = run([&] { return read_info_from_file(bytes, path.c_str(), 4); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript, lines({out("read_info_from_file::init_cfg_file err!\n")}));

    outcome = run([&] { return write_info_to_file(bytes, path.c_str(), 4); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript, lines({out("write_info_to_file::init_cfg_file err!\n")}));
  }
}

TEST(UnreadableFile, WhereTheFolderIsAFileAStartSavesAndHandsOverRouteQos) {
  enter_a_root_where_the_folder_is_a_file();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({refresh(), sample_config::modules_list(), sample_config::tree(),
                   sample_config::saved(), out("get_qos_cfg_from_cfgfile::init_cfgfile err!\n"),
                   error("gl3_init_qos::get_qos_rules_from_cfgfile err!\n")}));
}

TEST(UnreadableFile, WhereTheFolderIsAFileEveryFileCallReportsItsInitialiser) {
  enter_a_root_where_the_folder_is_a_file();
  for (const auto& calls : {record_getters, record_setters}) {
    for (size_t i = 0; i < 4; ++i) {
      const Outcome outcome = run(calls[i].call);
      EXPECT_EQ(outcome.result, -1);
      EXPECT_EQ(outcome.transcript,
                lines({out(std::string(calls[i].name) + "::init_cfgfile err!\n")}));
    }
  }
}

TEST(UnreadableFile, ASaveFileWhosePathCannotExistIsSavedAnew) {
  // The first look is for the migration's flag.
  for (const int error : missing_errors) {
    SCOPED_TRACE(error);
    write_file(config_path, sample_config::file('0'));
    sample_config::put_save_files();
    world.file_faults = {{FileCall::access, 2, error}};
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({refresh(), sample_config::modules_list(), sample_config::tree(),
                     sample_config::saved(), sample_config::qos_pushed()}));
    world.file_faults = {{FileCall::access, 3, error}};
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({refresh(), sample_config::modules_list(), sample_config::tree(),
                     sample_config::saved6(), sample_config::qos_pushed()}));
  }
}
