/*
 * The store as an empty file system with copies of its files, seen by this process alone. The library and the tools
 * write there, so that rules can be made while the real folder is full or read-only; commit() then replaces the real
 * files one by one, each atomically.
 */
#pragma once

#include <string>
#include <vector>

namespace management {

class StagedStore {
 public:
  /* Where the process may not mount, everything is written into the real folder as ever. */
  StagedStore();
  StagedStore(const StagedStore&) = delete;
  StagedStore& operator=(const StagedStore&) = delete;
  ~StagedStore();

  /* Leaves the copies, and writes those that differ into the real folder. Returns what could not be written. */
  [[nodiscard]] std::vector<std::string> commit();

 private:
  void leave();

  bool is_staged_ = false;
};

}  // namespace management
