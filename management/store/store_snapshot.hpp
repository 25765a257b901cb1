/* What a change that fails must leave as it was, the rules of the packet filter apart. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "l3_advance/records.h"

namespace management {

/* Removes what a command that came to a sudden end has left half-written beside the files of the store.
 * Under the lock of changing commands, which all that write there hold. */
void remove_stale_temporaries();

class StoreSnapshot {
 public:
  /* Keeps the files of the store, and what the platform says of VPN pass-through. */
  StoreSnapshot();

  /* Keeps route QoS as it was just loaded. */
  void add_loaded();

  /* Keeps another file as it is now. */
  void add(const std::string& path);

  /* Writes back the files that differ and tells the platform again what it was told otherwise.
   * Returns what could not be put back, a line each. */
  [[nodiscard]] std::vector<std::string> restore() const;

 private:
  struct File {
    std::string path;
    std::optional<std::string> bytes; /* nothing where there was no file */
  };
  std::vector<File> files_;
  std::optional<uint8_t> vpn_;
  l3_route_qos qos_ = {};
};

}  // namespace management
