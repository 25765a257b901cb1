/*
 * The world of a unit test: everything that the library does outside itself is recorded, in order, as
 * one transcript, and every call that it makes returns what the test sets.
 *
 *     EXPECT_EQ(record([] { save_fw(); }),
 *               lines({ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
 *
 * Nothing is ever run: system() is this program's own. Every test case has a process and an empty
 * /ztcfg of its own (ctest sees to it), so the library's state is that of a fresh load.
 */
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "l3_advance/l3_advance.h"

namespace harness {

using Lines = std::vector<std::string>;

/* ---- what was done: expected lines, written the way the recorder writes them ---- */

/* Log lines; `text` is everything behind "line[…], ". */
Lines error(std::string_view text);
Lines debug(std::string_view text);
/* One line on standard output with its line end. */
Lines out(std::string_view text);
/* A platform call, "name" or "name(arguments)". */
Lines platform(std::string_view call);
/* grm_all_refresh_log_mod_level(). */
Lines refresh();
/* A command line that str_system() ran: the line, and the two or more log lines that follow. */
Lines ran(std::string_view command);
Lines ran_and_failed(std::string_view command, int exit_code = 1);
/* A command line alone, as the shell got it. */
Lines command(std::string_view command);

/* One behind the other. */
Lines operator+(Lines left, const Lines& right);

/* Joins expected lines the way record() joins what happened. */
std::string lines(std::initializer_list<Lines> parts);

/* Runs `action` and returns what happened outside the library, a line an event. */
std::string record(const std::function<void()>& action);

/* Runs `action` in a process of its own, forked from this one, and fails the test when it fails there.
 * As long as this process has not called the library, the other one meets it freshly loaded: a
 * start of the device. Files stay, everything in memory goes with that process. */
void in_a_new_process(const std::function<void()>& action);

/* ---- what the world answers; set before record() ---- */

inline constexpr int exited(int code) {
  return code << 8;
}
inline constexpr int killed_by(int signal) {
  return signal;
}

enum class FileCall { access, open, lseek, read, write, close };

/* The `error` of a call that fails without setting errno. */
inline constexpr int sets_no_errno = -1;

/* Makes the n-th call (from 1) of one kind behave otherwise: fail with `error`, or, where `error`
 * is 0, move only `count` bytes. Counted from the start of record(). */
struct FileFault {
  FileCall call;
  int nth;
  int error;
  ssize_t count = 0;
};

/* Kinds of operations, by their faults. */
enum class Kind : char { command, read, write, other };

/* How an operation fails. */
enum class Way {
  /* Faults. A command line exits with 1; read EIO, write ENOSPC, access EIO, open EMFILE, lseek EINVAL,
   * close EIO, a platform call -1. */
  fails,
  no_shell,    /* of a command line: the shell does not start */
  killed,      /* of a command line: ended by a signal */
  one_byte,    /* of a read or a write: it moves no more */
  all_but_one, /* of a write */
  nothing,     /* of a write, once */

  /* The process is killed (SIGKILL), as when the power fails: where the operation would have begun; */
  power_fails_before,
  /* after half of a write's bytes, or once a command line has truncated the file that it writes; */
  power_fails_half_way,
  /* when a write reaches offset `cut_at` of its file. */
  power_fails_at_a_place,
};

/* The faults that are possible for a kind. */
const std::vector<Way>& faults_of(Kind kind);

/* Makes the n-th operation (from 1) since record() began fail. Command lines, file calls and platform
 * calls that return a result count as operations. */
struct Fault {
  int nth = 0;
  Way way = Way::fails;
  off_t cut_at = -1;
};

struct World {
  /* The wait status of a command line; 0 unless the test says otherwise. */
  std::function<int(const std::string& command)> system = [](const std::string&) { return 0; };
  /* Called for every log line, while recording or not, with its format and its frame address. */
  void (*logged)(const char* format, uintptr_t frame) = nullptr;
  /* Runs before a command line fails or is cut off, for example truncates its output file. */
  std::function<void(const std::string& command)> half_run = [](const std::string&) {};
  std::vector<FileFault> file_faults;
  Fault fault;
  /* What inet_pton() returns instead of parsing, when not empty. */
  std::vector<int> inet_pton_results;
  bool inet_ntop_fails = false;

  int32_t version_export_result = 0;
  int32_t vpn_get_result = 0;
  uint8_t vpn_state = 0; /* the resource manager's */
  int32_t vpn_set_result = 0;
  int32_t vpn_driver_result = 0;
  int32_t qos_result = 0;
  int32_t internet_index = 3;
  int32_t if_name_result = 0;
  std::string if_name = "wan3";
  int32_t dhcp_server_result = 0;
  std::string dhcp_server_buffer; /* up to 48 bytes */
};
extern World world;

/* The ways in which the write of both firewall records fails, and the line on standard output. */
struct WriteFault {
  FileFault fault;
  const char* message;
};
extern const std::vector<WriteFault> write_faults;

/* Set by a program whose tests call the library only in processes of their own: it may run more than
 * one test. */
extern bool tests_leave_no_state;

/* The command line fails with `exit_code` whenever it runs. */
void fail_command(std::string command, int exit_code = 1);

/* File calls of one kind since the last record() began; descriptors that it left open. */
int file_calls(FileCall call);
int open_descriptors();
/* The operations since the last record() began, as a fault counts them; and the one that met it:
 * "write 6168", "run iptables -F …"; empty where fewer took place. */
const std::vector<Kind>& operations();
const std::string& met();
/* The 248 bytes of the last gpon_l3_set_qos_cfg(). */
const std::string& last_qos_record();

/* ---- files ---- */

inline constexpr char config_path[] = "/ztcfg/l3_advance.dat";

std::string read_file(const std::string& path);
void write_file(const std::string& path, std::string_view bytes);
bool file_exists(const std::string& path);
unsigned file_mode(const std::string& path);
/* A 32-bit word as this host stores it. */
std::string word(uint32_t value);
uint32_t word_at(std::string_view bytes, size_t offset);

/* The configuration file that a missing one becomes, written out. */
std::string fresh_config_file();
/* Puts a configuration file in place whose switch line is on or off, and loads that switch and
 * the records into the library; not part of any transcript. */
void load_firewall_switch(bool on);

/* The master switch in memory, as a trace of the library shows it. */
bool switch_in_memory();
/* The WAN name in memory, likewise. Asking brings the master switch in line with the file. */
std::string wan_in_memory();

/* The bytes of any plain object. */
template <typename Object>
std::string bytes_of(const Object& object) {
  return std::string(reinterpret_cast<const char*>(&object), sizeof(object));
}

}  // namespace harness
