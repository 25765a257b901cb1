/* What system() does with lines that no transaction collects. The same source runs on the C library's system(), on
 * libl3_transaction's, and on that while another thread has a transaction. */
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#ifdef OPEN_TRANSACTION
#include "l3_advance/transaction.h"
#endif

namespace {

class System : public testing::Test {
 protected:
#ifdef OPEN_TRANSACTION
  void SetUp() override {
    thread_ = std::thread([this] {
      begun_ = l3_transaction_begin(nullptr);
      is_begun_ = true;
      while (!is_over_) {
        usleep(1000);
      }
      ended_ = l3_transaction_rollback();
    });
    while (!is_begun_) {
      usleep(1000);
    }
    ASSERT_EQ(begun_, 0);
  }
  void TearDown() override {
    is_over_ = true;
    thread_.join();
    EXPECT_EQ(ended_, 0);
  }

 private:
  std::thread thread_;
  std::atomic<bool> is_begun_ = false;
  std::atomic<bool> is_over_ = false;
  int begun_ = -1;
  int ended_ = -1;
#endif
};

std::string first_line(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

volatile sig_atomic_t seen = 0;
void note(int number) {
  seen = number;
}

bool is_blocked(int signal) {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, signal) == 1;
}

}  // namespace

TEST_F(System, WaitStatus) {
  EXPECT_EQ(system("exit 0"), 0);
  EXPECT_EQ(system("exit 7"), 7 << 8);
  EXPECT_EQ(system("/no/such/tool 2>/dev/null"), 127 << 8);
  EXPECT_EQ(system("kill -9 $$"), SIGKILL);
  EXPECT_NE(system(nullptr), 0);
  EXPECT_EQ(system("iptables-not 2>/dev/null"), 127 << 8);
}

TEST_F(System, TheLineIsTheShells) {
  EXPECT_EQ(system("x='a b'; [ \"$x\" = \"a b\" ] && echo \"$x\" > /tmp/shell"), 0);
  EXPECT_EQ(first_line("/tmp/shell"), "a b");
}

TEST_F(System, ChildrenKilledByAnInterruptDoNotTakeTheCallerAlong) {
  std::signal(SIGINT, note);
  EXPECT_EQ(system("kill -INT $PPID; exit 5"), 5 << 8);
  EXPECT_EQ(seen, 0) << "SIGINT is ignored while the line runs";
  EXPECT_EQ(system("kill -QUIT $PPID; exit 6"), 6 << 8);
  raise(SIGINT);
  EXPECT_EQ(seen, SIGINT) << "the handler is back";
}

TEST_F(System, TheLineHasTheDefaultOfInterrupts) {
  std::signal(SIGINT, note);
  EXPECT_EQ(system("kill -INT $$"), SIGINT);
}

TEST_F(System, IgnoredInterruptsStayIgnored) {
  std::signal(SIGINT, SIG_IGN);
  EXPECT_EQ(system("kill -INT $$; exit 3"), 3 << 8);
}

TEST_F(System, SigchldIsBlockedAndTheMaskRestored) {
  EXPECT_FALSE(is_blocked(SIGCHLD));
  EXPECT_EQ(system("exit 0"), 0);
  EXPECT_FALSE(is_blocked(SIGCHLD));
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &mask, nullptr);
  EXPECT_EQ(system("exit 0"), 0);
  EXPECT_TRUE(is_blocked(SIGUSR1));
}

TEST_F(System, IgnoredSigchldLosesTheStatus) {
  std::signal(SIGCHLD, SIG_IGN);
  errno = 0;
  EXPECT_EQ(system("exit 3"), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(System, OtherChildrenAreLeftAlone) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(9);
  }
  EXPECT_EQ(system("exit 2"), 2 << 8);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 9 << 8);
}

TEST_F(System, ACancelledThreadEndsItsLine) {
  pthread_t thread;
  unlink("/tmp/cancelled");
  ASSERT_EQ(pthread_create(
                &thread, nullptr,
                [](void*) -> void* {
                  static_cast<void>(system("echo $$ > /tmp/cancelled; exec sleep 60"));
                  return nullptr;
                },
                nullptr),
            0);
  while (first_line("/tmp/cancelled").empty()) {
    usleep(1000);
  }
  const pid_t child = std::stoi(first_line("/tmp/cancelled"));
  EXPECT_EQ(pthread_cancel(thread), 0);
  void* result = nullptr;
  EXPECT_EQ(pthread_join(thread, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  EXPECT_EQ(kill(child, 0), -1) << "the line still runs";
}

TEST_F(System, ManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::atomic<int> right = 0;
  threads.reserve(4);
  for (int number = 1; number <= 4; ++number) {
    threads.emplace_back([number, &right] {
      for (int run = 0; run < 5; ++run) {
        right += system(("exit " + std::to_string(number)).c_str()) == number << 8;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(right, 20);
}
