#include "console/server/privileges.hpp"

#include <dirent.h>
#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace console {

namespace {

void check(bool is_good, const std::string& what) {
  if (!is_good) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
  }
}

bool is_empty_directory(const std::string& path) {
  DIR* directory = opendir(path.c_str());
  int entries = 0;
  while (directory != nullptr && readdir(directory) != nullptr) {
    ++entries;
  }
  if (directory != nullptr) {
    closedir(directory);
  }
  // "." and ".."
  return entries == 2;
}

void enter_root(const std::string& root) {
  check(mkdir(root.c_str(), 0755) == 0 || errno == EEXIST, root);
  struct stat found {};
  check(lstat(root.c_str(), &found) == 0, root);
  if (!S_ISDIR(found.st_mode) || found.st_uid != 0 || (found.st_mode & 022) != 0 ||
      !is_empty_directory(root)) {
    throw std::runtime_error(root + ": not an empty directory of root's");
  }
  check(chroot(root.c_str()) == 0 && chdir("/") == 0, root);
}

/* Also those that a program with a set-user-id bit would inherit. */
void drop_capabilities() {
  for (int one = 0; prctl(PR_CAPBSET_READ, one, 0, 0, 0) >= 0; ++one) {
    check(prctl(PR_CAPBSET_DROP, one, 0, 0, 0) == 0, "capabilities");
  }
}

void clear_capabilities() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  const std::array<__user_cap_data_struct, 2> none{};
  check(syscall(SYS_capset, &header, none.data()) == 0, "capabilities");
}

void limit(__rlimit_resource resource, rlim_t most) {
  const rlimit limits{most, most};
  check(setrlimit(resource, &limits) == 0, "setrlimit");
}

void limit_resources() {
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_NOFILE, 64);
  limit(RLIMIT_NPROC, 0);
  limit(RLIMIT_MEMLOCK, 0);
  limit(RLIMIT_AS, rlim_t{256} << 20);
}

}  // namespace

void drop_privileges(const std::string& user, const std::string& root) {
  if (geteuid() != 0) {
    throw std::runtime_error("has to be started by root, whose rights it then gives up");
  }
  const passwd* entry = getpwnam(user.c_str());
  if (entry == nullptr || entry->pw_uid == 0) {
    throw std::runtime_error("--user: \"" + user + "\" is no user, or root itself");
  }
  const uid_t uid = entry->pw_uid;
  const gid_t gid = entry->pw_gid;
  enter_root(root);
  limit_resources();
  drop_capabilities();
  check(setgroups(0, nullptr) == 0, "setgroups");
  check(setresgid(gid, gid, gid) == 0, "setresgid");
  check(setresuid(uid, uid, uid) == 0, "setresuid");
  clear_capabilities();
  check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "no_new_privs");
  check(prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0, "dumpable");
  if (setuid(0) == 0 || getuid() != uid) {
    throw std::runtime_error("the rights of root could not be given up");
  }
}

void restrict_system_calls() {
  static constexpr std::array allowed = {SCMP_SYS(read),
                                         SCMP_SYS(write),
                                         SCMP_SYS(readv),
                                         SCMP_SYS(writev),
                                         SCMP_SYS(recvfrom),
                                         SCMP_SYS(sendto),
                                         SCMP_SYS(recvmsg),
                                         SCMP_SYS(sendmsg),
                                         SCMP_SYS(recv),
                                         SCMP_SYS(send),
                                         SCMP_SYS(accept),
                                         SCMP_SYS(accept4),
                                         SCMP_SYS(close),
                                         SCMP_SYS(shutdown),
                                         SCMP_SYS(poll),
                                         SCMP_SYS(ppoll),
                                         SCMP_SYS(epoll_wait),
                                         SCMP_SYS(epoll_pwait),
                                         SCMP_SYS(epoll_ctl),
                                         SCMP_SYS(fcntl),
                                         SCMP_SYS(fcntl64),
                                         SCMP_SYS(getsockname),
                                         SCMP_SYS(getpeername),
                                         SCMP_SYS(getsockopt),
                                         SCMP_SYS(setsockopt),
                                         SCMP_SYS(munmap),
                                         SCMP_SYS(mremap),
                                         SCMP_SYS(madvise),
                                         SCMP_SYS(brk),
                                         SCMP_SYS(clock_gettime),
                                         SCMP_SYS(clock_gettime64),
                                         SCMP_SYS(gettimeofday),
                                         SCMP_SYS(time),
                                         SCMP_SYS(getrandom),
                                         SCMP_SYS(futex),
                                         SCMP_SYS(rt_sigreturn),
                                         SCMP_SYS(rt_sigprocmask),
                                         SCMP_SYS(rt_sigaction),
                                         SCMP_SYS(restart_syscall),
                                         SCMP_SYS(exit),
                                         SCMP_SYS(exit_group),
                                         SCMP_SYS(pread64),
                                         SCMP_SYS(pwrite64),
                                         SCMP_SYS(fdatasync),
                                         SCMP_SYS(flock),
                                         SCMP_SYS(getpid),
                                         SCMP_SYS(gettid),
                                         SCMP_SYS(tgkill),
                                         SCMP_SYS(fstat),
                                         SCMP_SYS(getrusage),
                                         SCMP_SYS(sigreturn),
                                         SCMP_SYS(_llseek),
                                         SCMP_SYS(lseek)};
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(EPERM));
  bool is_good = filter != nullptr;
  for (const int call : allowed) {
    // Some are not there on every processor.
    is_good = is_good && (call < 0 || seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) == 0);
  }
  // Memory, but none that can be run.
  for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mmap2), SCMP_SYS(mprotect)}) {
    is_good =
        is_good && (call < 0 || seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 1,
                                                 SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0)) == 0);
  }
  is_good = is_good && seccomp_load(filter) == 0;
  seccomp_release(filter);
  if (!is_good) {
    throw std::runtime_error("the system calls could not be restricted");
  }
}

}  // namespace console
