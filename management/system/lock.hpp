/*
 * One change at a time. Who changes holds the lock alone; who compares what is stored with what is live
 * shares it, so that nobody looks at half a change. The end of the process lets go of it at the latest.
 */
#pragma once

#include "management/options.hpp"

namespace management {

class Lock {
 public:
  /* For a change. Waits for others, and fails when the time is up. */
  explicit Lock(const Options& options);

  /* For a reader, which waits in the same way. It makes no file. A user who may not open the lock reads
   * without it. */
  static Lock shared(const Options& options);

  Lock(Lock&& other) noexcept;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock();

  /* Unlocks for processes too that were forked off meanwhile, and share it. */
  void release();
  [[nodiscard]] int descriptor() const { return file_; }

 private:
  explicit Lock(int file) : file_(file) {}
  void take(int operation, int seconds);

  int file_; /* -1 where nothing is held */
};

}  // namespace management
