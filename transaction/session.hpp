/* An open transaction of this process. */
#pragma once

#include <optional>
#include <string>

#include "executor/executor.hpp"
#include "l3_advance/records.h"
#include "l3_advance/transaction.h"
#include "management/store/store_snapshot.hpp"
#include "management/system/block_signals.hpp"
#include "management/system/lock.hpp"

namespace transaction {

/* While one lives, no file takes the place of a standard descriptor that the program has closed: what
 * the library prints would go into that file. */
class OccupyDescriptors {
 public:
  OccupyDescriptors();
  OccupyDescriptors(const OccupyDescriptors&) = delete;
  OccupyDescriptors& operator=(const OccupyDescriptors&) = delete;
  ~OccupyDescriptors();

 private:
  bool is_occupied_[3] = {};
};

class Session {
 public:
  Session() = default;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  /* Waits for the lock, loads what is stored and takes the snapshot. Throws management::Error, and
   * std::bad_alloc; then everything is as before. */
  void open(int lock_timeout);

  /* Whether the line is for run(), and not for the C library. */
  [[nodiscard]] bool takes(const char* line) const;

  /* Takes a command line of the library. Returns its wait status. */
  int run(const char* line) noexcept;

  /* Makes the rules, or rolls back. Fills the report and returns its result. */
  int commit(l3_transaction_report& report) noexcept;

  /* Returns whether everything is as before; otherwise the report says what is not. */
  bool rollback(l3_transaction_report& report) noexcept;

  /* In a process that was forked off: leaves the lock to the parent. */
  void leave_lock() const;
  /* In the thread that was forked off, which has the blocked signals of the session's. */
  void unblock_signals() { signals_.restore(); }

 private:
  void take_lock(int timeout);
  void start();
  void check_interposed();
  static void load();
  void keep_records();
  void restore_records();
  bool make(l3_transaction_report& report);

  std::optional<OccupyDescriptors> descriptors_;
  std::optional<management::Lock> lock_;
  management::BlockSignals signals_;
  std::optional<management::StoreSnapshot> snapshot_;
  executor::Executor executor_;
  l3_fw_rules fw_ = {};
  l3_fw6_rules fw6_ = {};
  l3_route_qos qos_ = {};
  bool is_checking_ = false; /* whether system() is this library's */
  bool is_open_ = false;
  bool is_out_of_memory_ = false;
};

}  // namespace transaction
