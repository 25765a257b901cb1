/* What a transaction makes, what it rolls back, and what it tells. */
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "gateway.hpp"

namespace {

class Transaction : public Gateway {
 protected:
  void begin() {
    ASSERT_EQ(l3_transaction_begin(nullptr), L3_TRANSACTION_OK) << l3_transaction_error();
  }

  /* A commit that fails, and leaves everything as it was. */
  void expect_rolled_back(int result) {
    EXPECT_EQ(l3_transaction_commit(&report), result) << report.message << report.not_restored;
    EXPECT_EQ(report.result, result);
    EXPECT_STREQ(report.not_restored, "");
    EXPECT_EQ(changed_since(before), "");
  }

  l3_transaction_report report = {};
  State before;
};

int forks = 0;
void count_fork() {
  ++forks;
}

volatile sig_atomic_t signals = 0;
void count_signal(int) {
  signals = signals + 1;
}

void reap_all(int) {
  const int error = errno;
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = error;
}

constexpr char first_mac_line[] =
    "iptables -A forward_ext_mac -i br0 -m mac --mac-source 02:00:00:00:00:00";

}  // namespace

TEST_F(Transaction, EachFamilyIsOneRestore) {
  begin();
  EXPECT_EQ(set_filters(3), 0);
  EXPECT_EQ(restores(), "");
  EXPECT_EQ(l3_transaction_commit(&report), L3_TRANSACTION_OK) << report.message;
  std::string tools;
  for (const char* tool : {"iptables-restore", "ip6tables-restore"}) {
    const std::string all = "\n" + restores();
    const std::size_t first = all.find(std::string("\n") + tool);
    ASSERT_NE(first, std::string::npos) << all;
    EXPECT_EQ(all.find(std::string("\n") + tool, first + 1), std::string::npos) << all;
  }
  const std::string rules = content("/tmp/rules.iptables.filter");
  EXPECT_NE(rules.find("02:00:00:00:00:02"), std::string::npos) << rules;
  EXPECT_STREQ(l3_transaction_error(), "");
}

TEST_F(Transaction, AnEmptyOneStartsNoProcess) {
  before = state();
  ASSERT_EQ(pthread_atfork(count_fork, nullptr, nullptr), 0);
  begin();
  EXPECT_EQ(l3_transaction_commit(&report), L3_TRANSACTION_OK);
  EXPECT_EQ(forks, 0);
  EXPECT_EQ(content("/tmp/calls"), "");
  EXPECT_EQ(changed_since(before), "");
}

TEST_F(Transaction, ARefusedLineIsReportedAndEverythingRolledBack) {
  before = state();
  const std::string line =
      content("/tmp/commands").find(first_mac_line) == std::string::npos ? "" : first_mac_line;
  ASSERT_NE(line, "") << content("/tmp/commands");
  begin();
  EXPECT_EQ(set_filters(2), 0);
  EXPECT_EQ(gl3_web_set_vpn_pass_through(1), 0);
  hook("iptables-restore",
       "[ \"$1\" = -c ] || { cat >/dev/null; echo \"$name: line 3 failed\" >&2; exit 1; }\n");
  expect_rolled_back(L3_TRANSACTION_REFUSED);
  EXPECT_EQ(std::string(report.line).substr(0, 9), "iptables ") << report.line;
  EXPECT_STREQ(report.message, "iptables-restore: line 3 failed");
  EXPECT_TRUE(WIFEXITED(report.wait_status) && WEXITSTATUS(report.wait_status) == 1);
  EXPECT_STREQ(l3_transaction_error(), report.message);
}

TEST_F(Transaction, AToolThatDiesAfterItsWorkIsRolledBack) {
  before = state();
  begin();
  EXPECT_EQ(set_filters(2), 0);
  // ip6tables-restore runs first.
  hook("iptables-restore", "[ \"$1\" = -c ] || { cat >/dev/null; kill -9 $$; }\n");
  expect_rolled_back(L3_TRANSACTION_REFUSED);
  EXPECT_TRUE(WIFSIGNALED(report.wait_status) && WTERMSIG(report.wait_status) == SIGKILL);
}

TEST_F(Transaction, ARollbackLeavesNothing) {
  before = state();
  begin();
  EXPECT_EQ(set_filters(2), 0);
  EXPECT_EQ(gl3_web_set_vpn_pass_through(1), 0);
  EXPECT_NE(changed_since(before), "");
  EXPECT_EQ(l3_transaction_rollback(), L3_TRANSACTION_OK);
  EXPECT_EQ(changed_since(before), "");
  EXPECT_EQ(restores(), "");
  EXPECT_EQ(l3_transaction_rollback(), L3_TRANSACTION_NONE);
}

TEST_F(Transaction, CallsOutsideOneRunAsEver) {
  EXPECT_EQ(set_filters(2), 0);
  EXPECT_EQ(restores(), "");
  EXPECT_NE(content("/tmp/calls"), "");
  EXPECT_EQ(l3_transaction_commit(&report), L3_TRANSACTION_NONE);
  EXPECT_STREQ(report.message, "this thread has no transaction");
}

TEST_F(Transaction, ANestedBeginIsRefusedAndChangesNothing) {
  begin();
  EXPECT_EQ(set_filters(2), 0);
  EXPECT_EQ(l3_transaction_begin(nullptr), L3_TRANSACTION_NESTED);
  EXPECT_EQ(l3_transaction_commit(&report), L3_TRANSACTION_OK) << report.message;
  EXPECT_NE(content("/tmp/rules.iptables.filter").find("02:00:00:00:00:01"), std::string::npos);
}

TEST_F(Transaction, AForkedChildHasNone) {
  begin();
  EXPECT_EQ(set_filters(2), 0);
  const int status = in_child([] {
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    l3_transaction_report told;
    return l3_transaction_commit(&told) == L3_TRANSACTION_NONE &&
                   l3_transaction_rollback() == L3_TRANSACTION_NONE &&
                   sigismember(&blocked, SIGTERM) == 0 &&
                   system("iptables -A forward_ext_mac -j child") == 0
               ? 0
               : 1;
  });
  EXPECT_EQ(status, 0);
  // Its line ran at once.
  EXPECT_NE(content("/tmp/commands").find("iptables -A forward_ext_mac -j child"),
            std::string::npos);
  EXPECT_EQ(l3_transaction_commit(&report), L3_TRANSACTION_OK) << report.message;
}

TEST_F(Transaction, AForkedChildDoesNotKeepTheLock) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  // The process that began ends by force; its child lives on.
  const int status = in_child([&] {
    if (l3_transaction_begin(nullptr) != L3_TRANSACTION_OK) {
      return 1;
    }
    if (fork() == 0) {
      close(ends[1]);
      char byte = 0;
      _exit(read(ends[0], &byte, 1) == 0 ? 0 : 1);
    }
    kill(getpid(), SIGKILL);
    return 1;
  });
  EXPECT_TRUE(WIFSIGNALED(status));
  const l3_transaction_options options = {.lock_timeout = 5, .reserved = {}};
  EXPECT_EQ(l3_transaction_begin(&options), L3_TRANSACTION_OK) << l3_transaction_error();
  EXPECT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK);
  close(ends[1]);
}

TEST_F(Transaction, AnotherThreadIsNoPartOfIt) {
  begin();
  EXPECT_EQ(set_filters(2), 0);
  std::thread([] {
    EXPECT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_NONE);
    EXPECT_EQ(system("iptables -A forward_ext_mac -j thread"), 0);
  }).join();
  EXPECT_NE(content("/tmp/commands").find("iptables -A forward_ext_mac -j thread"),
            std::string::npos);
  EXPECT_EQ(restores(), "");
  EXPECT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK);
}

TEST_F(Transaction, OtherLinesOfItsThreadRunAtOnce) {
  begin();
  EXPECT_EQ(system("exit 3"), 3 << 8);
  EXPECT_EQ(system("iptablesx 2>/dev/null"), 127 << 8);
  EXPECT_NE(system(nullptr), 0);
  EXPECT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK);
}

TEST_F(Transaction, TheWaitForTheLockIsBounded) {
  before = state();
  const int lock = open("/run/l3ctl.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  const auto start = std::chrono::steady_clock::now();
  const l3_transaction_options options = {.lock_timeout = 1, .reserved = {}};
  EXPECT_EQ(l3_transaction_begin(&options), L3_TRANSACTION_BUSY);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  EXPECT_STREQ(l3_transaction_error(), "another process is changing settings");
  close(lock);
  EXPECT_EQ(changed_since(before), "");
  begin();
  EXPECT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK);
}

TEST_F(Transaction, AnUnconfirmedChangeOfL3ctlIsBusy) {
  write("/ztcfg/l3ctl.pending", "{}");
  EXPECT_EQ(l3_transaction_begin(nullptr), L3_TRANSACTION_BUSY);
  EXPECT_STREQ(l3_transaction_error(),
               "a change that was applied with --confirm waits for its confirmation");
  unlink("/ztcfg/l3ctl.pending");
}

TEST_F(Transaction, SettingsOfAnotherProcessAreNotLost) {
  begin();
  EXPECT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK);
  EXPECT_EQ(in_child([] {
              l3_mac_filter mac = mac_filter(5);
              return l3_transaction_begin(nullptr) == 0 && gl3_web_set_mac_cfg(&mac) == 0 &&
                             l3_transaction_commit(nullptr) == 0
                         ? 0
                         : 1;
            }),
            0);
  l3_url_filter url = url_filter(7);
  begin();
  EXPECT_EQ(gl3_web_set_url_cfg(&url), 0);
  EXPECT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK);
  EXPECT_EQ(fw_rules_table.mac_filter.count, 5);
  EXPECT_EQ(fw_rules_table.url_filter.count, 7);
}

TEST_F(Transaction, SigchldMayBeIgnoredOrHandled) {
  for (void (*const handler)(int) : {static_cast<void (*)(int)>(SIG_IGN), &reap_all}) {
    std::signal(SIGCHLD, handler);
    before = state();
    begin();
    EXPECT_EQ(set_filters(2), 0);
    hook("iptables-restore",
         "[ \"$1\" = -c ] || { cat >/dev/null; echo \"$name: line 2 failed\" >&2; exit 1; }\n");
    expect_rolled_back(L3_TRANSACTION_REFUSED);
    EXPECT_TRUE(WIFEXITED(report.wait_status) && WEXITSTATUS(report.wait_status) == 1);
    unlink("/tmp/hook.iptables-restore");
    begin();
    EXPECT_EQ(set_filters(4), 0);
    EXPECT_EQ(l3_transaction_commit(&report), L3_TRANSACTION_OK) << report.message;
    std::signal(SIGCHLD, SIG_DFL);
    // So that the second handler has something to change.
    begin();
    EXPECT_EQ(set_filters(1), 0);
    EXPECT_EQ(l3_transaction_commit(&report), L3_TRANSACTION_OK) << report.message;
  }
}

TEST_F(Transaction, ClosedDescriptorsStayClosedAndTheFileIsWhole) {
  EXPECT_EQ(in_child([&] {
              for (const int file : {0, 1, 2}) {
                close(file);
              }
              if (l3_transaction_begin(nullptr) != 0) {
                return 1;
              }
              // It prints a line about this.
              gl3_web_set_mac_cfg(nullptr);
              gl3_web_get_caporl_cfg(nullptr);
              if (set_filters(2) != 0 || l3_transaction_commit(nullptr) != 0) {
                return 2;
              }
              for (const int file : {0, 1, 2}) {
                if (fcntl(file, F_GETFD) != -1) {
                  return 3;
                }
              }
              return content(configuration).size() == 15019 ? 0 : 4;
            }),
            0);
}

TEST_F(Transaction, SignalsWaitForTheEnd) {
  std::signal(SIGTERM, count_signal);
  begin();
  EXPECT_EQ(set_filters(2), 0);
  kill(getpid(), SIGTERM);
  EXPECT_EQ(signals, 0);
  EXPECT_EQ(l3_transaction_commit(&report), L3_TRANSACTION_OK);
  EXPECT_EQ(signals, 1);
}

TEST_F(Transaction, ExitRollsBack) {
  before = state();
  const int status = in_child([] {
    if (l3_transaction_begin(nullptr) != 0 || set_filters(2) != 0) {
      _exit(1);
    }
    std::exit(0);
    return 1;
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(changed_since(before), "");
}

TEST_F(Transaction, AFullDiskLeavesEverything) {
  const std::string kept = content(configuration);
  const std::string saved = content("/ztcfg/firewall.conf");
  ASSERT_EQ(mount("tmpfs", "/ztcfg", "tmpfs", 0, "size=24k"), 0) << std::strerror(errno);
  write(configuration, kept);
  write("/ztcfg/firewall.conf", saved);
  const int file = open("/ztcfg/ballast", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const std::string block(4096, 'x');
  while (::write(file, block.data(), block.size()) > 0) {
  }
  close(file);
  before = state();
  hook("iptables-save", "[ \"$3\" = -c ] || exec head -c 9000 /dev/zero\n");
  begin();
  set_filters(9);
  expect_rolled_back(L3_TRANSACTION_REFUSED);
  EXPECT_NE(std::string(report.message).find("No space left"), std::string::npos) << report.message;
}

TEST_F(Transaction, AReadOnlyDiskLeavesEverything) {
  ASSERT_EQ(mount("/ztcfg", "/ztcfg", nullptr, MS_BIND, nullptr), 0);
  ASSERT_EQ(mount(nullptr, "/ztcfg", nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
  before = state();
  begin();
  EXPECT_GT(set_filters(2), 0);
  expect_rolled_back(L3_TRANSACTION_REFUSED);
  EXPECT_NE(std::string(report.message).find("Read-only file system"), std::string::npos)
      << report.message;
}

TEST_F(Transaction, AWriteThatFailedIsNoticedThoughItsResultWasIgnored) {
  begin();
  before = state();
  // As a failed write leaves it: memory ahead of the file.
  fw_rules_table.anti_port_scan ^= 1;
  fw_rules_table.anti_port_scan ^= 0;
  expect_rolled_back(L3_TRANSACTION_SYSTEM);
  EXPECT_STREQ(report.message, "/ztcfg/l3_advance.dat does not hold what was set");
}

TEST_F(Transaction, WithoutAFileOneIsMadeAndARollbackRemovesIt) {
  unlink(configuration);
  begin();
  EXPECT_EQ(set_filters(2), 0);
  EXPECT_EQ(l3_transaction_rollback(), L3_TRANSACTION_OK);
  EXPECT_NE(access(configuration, F_OK), 0);
  begin();
  EXPECT_EQ(set_filters(2), 0);
  EXPECT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK);
  EXPECT_EQ(content(configuration).size(), 15019U);
}

TEST_F(Transaction, EveryToolRunMayFail) {
  // Fails the tool run of that number, counted over all tools; rollbacks get through.
  const std::string script =
      "n=$(($(cat /tmp/number) + 1)); echo $n >/tmp/number; [ $n -ne $(cat /tmp/fails) ] || "
      "{ [ \"$1\" = -c ] || { echo failed >&2; exit 4; }; }\n";
  for (const char* tool : {"iptables", "ip6tables", "iptables-save", "ip6tables-save",
                           "iptables-restore", "ip6tables-restore"}) {
    hook(tool, script);
  }
  before = state();
  int failed = 0;
  for (int n = 1;; ++n) {
    write("/tmp/number", "0\n");
    write("/tmp/fails", std::to_string(n) + "\n");
    begin();
    set_filters(2);
    const int result = l3_transaction_commit(&report);
    if (result == L3_TRANSACTION_OK && std::stoi(content("/tmp/number")) < n) {
      break;
    }
    ASSERT_LT(n, 40);
    ++failed;
    ASSERT_NE(result, L3_TRANSACTION_OK) << n;
    ASSERT_EQ(result, L3_TRANSACTION_REFUSED) << n << ": " << report.message << report.not_restored;
    ASSERT_EQ(changed_since(before), "") << n;
  }
  EXPECT_GE(failed, 5);
  EXPECT_NE(changed_since(before), "");
}
