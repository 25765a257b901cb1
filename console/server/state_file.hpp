/* The state in one file that is opened before the server gives up its rights. Two slots of fixed
 * size take turns, so that a power cut leaves the old state or the new one, and a full disk does
 * not matter. */
#pragma once

#include <string>

#include "console/server/state.hpp"

namespace console {

class StateFile : public StateStore {
 public:
  /* Opens or creates it. Throws std::system_error. */
  explicit StateFile(const std::string& path);
  StateFile(const StateFile&) = delete;
  StateFile& operator=(const StateFile&) = delete;
  ~StateFile() override;

  [[nodiscard]] State read() const override;
  bool write(const State& state) override;

 private:
  int fd_;
};

}  // namespace console
