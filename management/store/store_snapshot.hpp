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

/* The platform calls that a rollback needs; a library may be loaded by a program that lacks them. */
struct PlatformCalls {
  int32_t (*get_vpn)(uint8_t* state);
  int32_t (*set_vpn)(uint8_t state);
  int32_t (*control_vpn)(int32_t protocol, uint8_t state);
  int32_t (*set_qos)(const void* route_qos_record);
};

class StoreSnapshot {
 public:
  /* Keeps the files of the store, and what the platform says of VPN pass-through. */
  explicit StoreSnapshot(const PlatformCalls& platform);

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
  [[nodiscard]] std::optional<uint8_t> vpn_state() const;

  PlatformCalls platform_;
  std::vector<File> files_;
  std::optional<uint8_t> vpn_;
  l3_route_qos qos_ = {};
};

}  // namespace management
