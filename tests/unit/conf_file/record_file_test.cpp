/* Record files of other programs: creation with defaults, whole and partial transfers, failures. */
#include <cerrno>

#include "harness.hpp"

using namespace harness;

namespace {

constexpr char wan_path[] = "/ztcfg/std_wan.conf";
constexpr char timeout_path[] = "/ztcfg/ct_activity_timeout.conf";
constexpr char other_path[] = "/ztcfg/other.conf";
constexpr char unreachable_path[] = "/ztcfg/no_such_folder/any.conf";

const std::string timeout_default("300\0", 4);

std::string wan_record() {
  std::string bytes;
  for (int i = 0; i < 1872; ++i) {
    bytes += static_cast<char>(1 + i % 251);
  }
  return bytes;
}

}  // namespace

TEST(RecordFile, ReadingAMissingWanRecordCreatesZeros) {
  std::string info(1872, '\x55');
  EXPECT_EQ(
      record([&] { EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), wan_path), 0); }),
      "");
  EXPECT_EQ(info, std::string(1872, '\0'));
  EXPECT_EQ(read_file(wan_path), std::string(1872, '\0'));
  EXPECT_EQ(file_mode(wan_path), 0600U);
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(RecordFile, AWanRecordIsWrittenAndReadWhole) {
  EXPECT_EQ(record([] {
              EXPECT_EQ(set_std_wan_service_info_to_cfgfile(wan_record().data(), wan_path), 0);
            }),
            "");
  EXPECT_EQ(read_file(wan_path), wan_record());
  EXPECT_EQ(file_mode(wan_path), 0600U);
  std::string info(1872, '\x55');
  EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), wan_path), 0);
  EXPECT_EQ(info, wan_record());
}

TEST(RecordFile, AWanRecordLeavesTheTailOfALongerFile) {
  write_file(wan_path, std::string(1880, 'x'));
  EXPECT_EQ(set_std_wan_service_info_to_cfgfile(wan_record().data(), wan_path), 0);
  EXPECT_EQ(read_file(wan_path), wan_record() + "xxxxxxxx");
  std::string info(1880, '\x55');
  EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), wan_path), 0);
  EXPECT_EQ(info, wan_record() + std::string(8, '\x55'));
  EXPECT_EQ(init_std_wan_cfgfile(wan_path), 0);
  EXPECT_EQ(read_file(wan_path), std::string(1872, '\0') + "xxxxxxxx");
}

TEST(RecordFile, AShortWanFileLeavesTheRestOfTheRecordZero) {
  write_file(wan_path, "abc");
  std::string info(1872, '\x55');
  EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), wan_path), 0);
  EXPECT_EQ(info, "abc" + std::string(1869, '\0'));
  EXPECT_EQ(read_file(wan_path), "abc");
}

TEST(RecordFile, TheTimeoutFileIsCreatedWithItsDefaultText) {
  std::string buffer = "abcdefgh";
  EXPECT_EQ(record([&] { EXPECT_EQ(read_info_from_file(buffer.data(), timeout_path, 8), 0); }), "");
  EXPECT_EQ(buffer, timeout_default + "efgh");
  EXPECT_EQ(read_file(timeout_path), timeout_default);
  EXPECT_EQ(file_mode(timeout_path), 0600U);
}

TEST(RecordFile, AnyOtherGeneralFileIsCreatedEmpty) {
  for (const char* path :
       {other_path, "/ztcfg/ct_activity_timeout.con", "/ztcfg/ct_activity_timeout.conf2",
        "/ztcfg//ct_activity_timeout.conf2"}) {
    std::string buffer = "abcd";
    EXPECT_EQ(record([&] { EXPECT_EQ(read_info_from_file(buffer.data(), path, 4), 0); }), "");
    EXPECT_EQ(buffer, "abcd");
    EXPECT_EQ(read_file(path), "");
    EXPECT_EQ(file_mode(path), 0600U);
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(RecordFile, AShortWriteOverTheDefaultLeavesItsTail) {
  EXPECT_EQ(write_info_to_file("45", timeout_path, 2), 0);
  EXPECT_EQ(read_file(timeout_path), std::string("450\0", 4));
  write_file(other_path, "abcd");
  EXPECT_EQ(record([] { EXPECT_EQ(write_info_to_file("XY", other_path, 2), 0); }), "");
  EXPECT_EQ(read_file(other_path), "XYcd");
}

TEST(RecordFile, AGeneralRecordHasTheLengthThatTheCallerSays) {
  EXPECT_EQ(write_info_to_file("abcdef", other_path, 6), 0);
  EXPECT_EQ(read_file(other_path), "abcdef");
  std::string buffer = "12345678";
  EXPECT_EQ(read_info_from_file(buffer.data(), other_path, 3), 0);
  EXPECT_EQ(buffer, "abc45678");
  EXPECT_EQ(read_info_from_file(buffer.data(), other_path, 8), 0);
  EXPECT_EQ(buffer, "abcdef78");
}

TEST(RecordFile, ALengthOfZeroMovesNothing) {
  EXPECT_EQ(record([] { EXPECT_EQ(write_info_to_file("a", other_path, 0), 0); }), "");
  EXPECT_EQ(file_calls(FileCall::write), 0);
  EXPECT_EQ(read_file(other_path), "");
  char byte = 'x';
  EXPECT_EQ(record([&] { EXPECT_EQ(read_info_from_file(&byte, other_path, 0), 0); }), "");
  EXPECT_EQ(file_calls(FileCall::read), 0);
  EXPECT_EQ(byte, 'x');
}

TEST(RecordFile, TheInitialisersKeepWhatAnExistingFileHoldsBehindTheDefault) {
  write_file(timeout_path, "999999");
  EXPECT_EQ(init_cfg_file(timeout_path), 0);
  EXPECT_EQ(read_file(timeout_path), timeout_default + "99");
  write_file(other_path, "abc");
  EXPECT_EQ(init_cfg_file(other_path), 0);
  EXPECT_EQ(read_file(other_path), "abc");
}

TEST(RecordFile, PartialTransfersGoOnWhereTheyStopped) {
  write_file(wan_path, "");
  world.file_faults = {
      {FileCall::write, 1, 0, 700}, {FileCall::write, 2, 0, 0}, {FileCall::write, 3, 0, 1}};
  EXPECT_EQ(record([] {
              EXPECT_EQ(set_std_wan_service_info_to_cfgfile(wan_record().data(), wan_path), 0);
            }),
            "");
  EXPECT_EQ(file_calls(FileCall::write), 4);
  EXPECT_EQ(read_file(wan_path), wan_record());

  std::string info(1872, '\x55');
  world.file_faults = {{FileCall::read, 1, 0, 1000}, {FileCall::read, 2, 0, 1}};
  EXPECT_EQ(
      record([&] { EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), wan_path), 0); }),
      "");
  EXPECT_EQ(file_calls(FileCall::read), 3);
  EXPECT_EQ(info, wan_record());
}

TEST(RecordFile, AFileThatCannotBeCreatedIsNamedByEveryCall) {
  std::string info(1872, '\x55');
  EXPECT_EQ(record([&] {
              EXPECT_EQ(set_std_wan_service_info_to_cfgfile(info.data(), unreachable_path), -1);
            }),
            lines({out("set_std_wan_service_info_to_cfgfile::init_std_wan_cfgfile err!\n")}));
  EXPECT_EQ(record([&] {
              EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), unreachable_path), -1);
            }),
            lines({out("get_std_wan_service_info_from_cfgfile::init_std_wan_cfgfile err!\n")}));
  EXPECT_EQ(info, std::string(1872, '\0'));
  EXPECT_EQ(record([] { EXPECT_EQ(write_info_to_file("a", unreachable_path, 1), -1); }),
            lines({out("write_info_to_file::init_cfg_file err!\n")}));
  char byte = 'x';
  EXPECT_EQ(record([&] { EXPECT_EQ(read_info_from_file(&byte, unreachable_path, 1), -1); }),
            lines({out("read_info_from_file::init_cfg_file err!\n")}));
  EXPECT_EQ(byte, 'x');
}

TEST(RecordFile, AnInitialiserIsSilentAboutAFailedOpen) {
  EXPECT_EQ(record([] { EXPECT_EQ(init_std_wan_cfgfile(unreachable_path), -1); }), "");
  EXPECT_EQ(record([] { EXPECT_EQ(init_cfg_file(unreachable_path), -1); }), "");
}

TEST(RecordFile, AFailedDefaultNamesTheInitialiserAndThenTheCall) {
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(record([] { EXPECT_EQ(init_std_wan_cfgfile(wan_path), -1); }),
            lines({out("init_std_wan_cfgfile::write /ztcfg/std_wan.conf error!\n")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(record([] { EXPECT_EQ(init_cfg_file(timeout_path), -1); }),
            lines({out("init_cfg_file::write /ztcfg/ct_activity_timeout.conf error!\n")}));
  EXPECT_EQ(open_descriptors(), 0);

  constexpr char new_path[] = "/ztcfg/new.conf";
  std::string info(1872, '\x55');
  EXPECT_EQ(
      record([&] { EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), new_path), -1); }),
      lines({out("init_std_wan_cfgfile::write /ztcfg/new.conf error!\n"),
             out("get_std_wan_service_info_from_cfgfile::init_std_wan_cfgfile err!\n")}));
}

TEST(RecordFile, AFailedOpenIsNamed) {
  write_file(wan_path, wan_record());
  write_file(other_path, "abcd");
  world.file_faults = {{FileCall::open, 1, EACCES}};
  std::string info(1872, '\x55');
  EXPECT_EQ(
      record([&] { EXPECT_EQ(set_std_wan_service_info_to_cfgfile(info.data(), wan_path), -1); }),
      lines({out("set_std_wan_service_info_to_cfgfile::open /ztcfg/std_wan.conf error!\n")}));
  EXPECT_EQ(
      record([&] { EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), wan_path), -1); }),
      lines({out("get_std_wan_service_info_from_cfgfile::open /ztcfg/std_wan.conf error!\n")}));
  EXPECT_EQ(info, std::string(1872, '\0'));
  EXPECT_EQ(record([] { EXPECT_EQ(write_info_to_file("XY", other_path, 2), -1); }),
            lines({out("write_info_to_file::open /ztcfg/other.conf error!\n")}));
  std::string buffer = "12";
  EXPECT_EQ(record([&] { EXPECT_EQ(read_info_from_file(buffer.data(), other_path, 2), -1); }),
            lines({out("read_info_from_file::open /ztcfg/other.conf error!\n")}));
  EXPECT_EQ(buffer, "12");
  EXPECT_EQ(read_file(wan_path), wan_record());
  EXPECT_EQ(read_file(other_path), "abcd");
}

TEST(RecordFile, AFailedSeekIsNamedAndLeavesTheDescriptorOpen) {
  write_file(wan_path, wan_record());
  write_file(other_path, "abcd");
  world.file_faults = {{FileCall::lseek, 1, EIO}};
  std::string info(1872, '\x55');
  EXPECT_EQ(
      record([&] { EXPECT_EQ(set_std_wan_service_info_to_cfgfile(info.data(), wan_path), -1); }),
      lines({out("set_std_wan_service_info_to_cfgfile::lseek /ztcfg/std_wan.conf error!\n")}));
  EXPECT_EQ(open_descriptors(), 1);
  EXPECT_EQ(
      record([&] { EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), wan_path), -1); }),
      lines({out("get_std_wan_service_info_from_cfgfile::lseek /ztcfg/std_wan.conf error!\n")}));
  EXPECT_EQ(open_descriptors(), 1);
  EXPECT_EQ(record([] { EXPECT_EQ(write_info_to_file("XY", other_path, 2), -1); }),
            lines({out("write_info_to_file::lseek /ztcfg/other.conf error!\n")}));
  EXPECT_EQ(open_descriptors(), 1);
  EXPECT_EQ(record([&] { EXPECT_EQ(read_info_from_file(info.data(), other_path, 2), -1); }),
            lines({out("read_info_from_file::lseek /ztcfg/other.conf error!\n")}));
  EXPECT_EQ(open_descriptors(), 1);
}

TEST(RecordFile, AFailedTransferIsNamedAndStaysAsFarAsItGot) {
  write_file(wan_path, std::string(1872, 'x'));
  write_file(other_path, "abcd");
  world.file_faults = {{FileCall::write, 1, 0, 100}, {FileCall::write, 2, ENOSPC}};
  EXPECT_EQ(
      record([] {
        EXPECT_EQ(set_std_wan_service_info_to_cfgfile(wan_record().data(), wan_path), -1);
      }),
      lines({out("set_std_wan_service_info_to_cfgfile::write /ztcfg/std_wan.conf error!\n")}));
  EXPECT_EQ(read_file(wan_path), wan_record().substr(0, 100) + std::string(1772, 'x'));
  EXPECT_EQ(open_descriptors(), 0);

  world.file_faults = {{FileCall::write, 1, 0, 1}, {FileCall::write, 2, ENOSPC}};
  EXPECT_EQ(record([] { EXPECT_EQ(write_info_to_file("XY", other_path, 2), -1); }),
            lines({out("write_info_to_file::write /ztcfg/other.conf error!\n")}));
  EXPECT_EQ(read_file(other_path), "Xbcd");
  EXPECT_EQ(open_descriptors(), 0);

  world.file_faults = {{FileCall::read, 1, 0, 2}, {FileCall::read, 2, EIO}};
  std::string info(1872, '\x55');
  EXPECT_EQ(
      record([&] { EXPECT_EQ(get_std_wan_service_info_from_cfgfile(info.data(), wan_path), -1); }),
      lines({out("get_std_wan_service_info_from_cfgfile::read /ztcfg/std_wan.conf error!\n")}));
  EXPECT_EQ(info, wan_record().substr(0, 2) + std::string(1870, '\0'));
  EXPECT_EQ(open_descriptors(), 0);

  std::string buffer = "1234";
  EXPECT_EQ(record([&] { EXPECT_EQ(read_info_from_file(buffer.data(), other_path, 4), -1); }),
            lines({out("read_info_from_file::read /ztcfg/other.conf error!\n")}));
  EXPECT_EQ(buffer, "Xb34");
  EXPECT_EQ(open_descriptors(), 0);
}
