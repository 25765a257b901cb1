/* The C interface, and the process's system(). */
#include "l3_advance/transaction.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "executor/process.hpp"
#include "management/error.hpp"
#include "transaction/session.hpp"

namespace {

using transaction::Session;

constexpr uint32_t default_timeout = 30;
constexpr uint32_t longest_timeout = 86400;

/* Initial-exec: the first use in a thread allocates nothing. */
#define L3_THREAD_LOCAL thread_local __attribute__((tls_model("initial-exec")))

L3_THREAD_LOCAL Session* open_session = nullptr;
L3_THREAD_LOCAL int cancel_state = PTHREAD_CANCEL_ENABLE;
L3_THREAD_LOCAL char last_error[256] = "";

/* The session whose lock this process holds, whichever thread opened it. */
std::atomic<Session*> locked_session = nullptr;

int fail(int result, const char* text) {
  std::snprintf(last_error, sizeof last_error, "%s", text);
  return result;
}

/* The child has no transaction. It shares the lock's descriptor, and would hold the lock after the parent's
 * end. A child that starts a tool for the transaction is left alone. */
void in_child() {
  if (executor::is_forking()) {
    return;
  }
  if (Session* const session = locked_session.exchange(nullptr); session != nullptr) {
    session->leave_lock();
  }
  if (open_session != nullptr) {
    open_session->unblock_signals();
    open_session = nullptr;
    pthread_setcancelstate(cancel_state, nullptr);
  }
}

bool is_prepared_for_fork() {
  static const bool is_prepared = pthread_atfork(nullptr, nullptr, in_child) == 0;
  return is_prepared;
}

using System = int (*)(const char*);

/* Called by many threads at once; they find the same. */
System c_library_system() {
  static std::atomic<System> found = nullptr;
  System call = found.load(std::memory_order_acquire);
  if (call == nullptr) {
    call = reinterpret_cast<System>(dlsym(RTLD_NEXT, "system"));
    found.store(call, std::memory_order_release);
  }
  return call;
}

int begin(const l3_transaction_options* options) {
  if (open_session != nullptr) {
    return fail(L3_TRANSACTION_NESTED, "this thread has a transaction already");
  }
  if (!is_prepared_for_fork()) {
    return fail(L3_TRANSACTION_SYSTEM, "out of memory");
  }
  const uint32_t timeout = options == nullptr ? default_timeout : options->lock_timeout;
  auto session = std::make_unique<Session>();
  open_session = session.get();
  try {
    session->open(static_cast<int>(std::min(timeout, longest_timeout)));
  } catch (...) {
    open_session = nullptr;
    throw;
  }
  locked_session = session.release();
  return L3_TRANSACTION_OK;
}

/* Lets go of the session; what it held goes back to the thread. */
void end() {
  Session* const session = open_session;
  open_session = nullptr;
  locked_session = nullptr;
  delete session;
  pthread_setcancelstate(cancel_state, nullptr);
}

/* exit() within a transaction. */
__attribute__((destructor)) void roll_back_at_exit() {
  if (open_session != nullptr) {
    l3_transaction_rollback();
  }
}

}  // namespace

extern "C" {

int32_t l3_transaction_begin(const l3_transaction_options* options) {
  int state = PTHREAD_CANCEL_ENABLE;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
  int result = L3_TRANSACTION_SYSTEM;
  try {
    result = begin(options);
  } catch (const management::Error& error) {
    const bool is_busy = error.kind() == management::ErrorKind::busy;
    result = fail(is_busy ? L3_TRANSACTION_BUSY : L3_TRANSACTION_SYSTEM, error.what());
  } catch (const std::bad_alloc&) {
    fail(result, "out of memory");
  } catch (const std::exception& error) {
    fail(result, error.what());
  }
  if (result == L3_TRANSACTION_OK) {
    cancel_state = state;
    last_error[0] = '\0';
  } else {
    pthread_setcancelstate(state, nullptr);
  }
  return result;
}

int32_t l3_transaction_commit(l3_transaction_report* report) {
  l3_transaction_report own = {};
  l3_transaction_report& filled = report != nullptr ? *report : own;
  std::memset(&filled, 0, sizeof filled);
  if (open_session == nullptr) {
    std::snprintf(filled.message, sizeof filled.message, "this thread has no transaction");
    return filled.result = fail(L3_TRANSACTION_NONE, filled.message);
  }
  const int result = open_session->commit(filled);
  end();
  return result == L3_TRANSACTION_OK ? result : fail(result, filled.message);
}

int32_t l3_transaction_rollback(void) {
  if (open_session == nullptr) {
    return fail(L3_TRANSACTION_NONE, "this thread has no transaction");
  }
  l3_transaction_report report = {};
  const bool is_restored = open_session->rollback(report);
  end();
  return is_restored ? L3_TRANSACTION_OK : fail(L3_TRANSACTION_NOT_RESTORED, report.not_restored);
}

const char* l3_transaction_error(void) {
  return last_error;
}

int system(const char* command) {
  if (open_session != nullptr && command != nullptr && open_session->takes(command)) {
    return open_session->run(command);
  }
  if (const System call = c_library_system(); call != nullptr) {
    return call(command);
  }
  errno = ENOSYS;
  return -1;
}

}  // extern "C"
