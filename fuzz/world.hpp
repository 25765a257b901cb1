/*
 * The device that a fuzz target's library meets, all of it in memory: the files of /ztcfg, a shell that
 * runs nothing, the platform. Every command line is held against the rules of oracle.hpp before
 * it is answered.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "l3_advance/l3_advance.h"

namespace fuzz {

inline constexpr char config_path[] = "/ztcfg/l3_advance.dat";
inline constexpr char old_path[] = "/ztcfg/l3_advance.conf";
inline constexpr char flag_path[] = "/ztcfg/v1_to_v2.flag";
inline constexpr char save_path[] = "/ztcfg/firewall.conf";
inline constexpr char save6_path[] = "/ztcfg/firewall6.conf";

struct World {
  std::map<std::string, std::string> files; /* by path, below /ztcfg */
  std::vector<std::string> commands;        /* since they were last cleared */
  bool texts_are_checked = false;           /* the caller vouches for its portal addresses */

  unsigned failing = 0; /* every n-th command fails, with this wait status; 0: none does */
  int failure = 0x100;
  size_t transfer = 0; /* what one read or write moves at most; 0: all of it */

  bool platform_fails = false;
  std::string wan = "wan3";
  std::string dhcp_server;
  uint8_t vpn = 0;
};
extern World world;

/* Descriptors that the library holds. */
size_t open_files();

/* An empty device whose library is as if freshly loaded: zero records, switch off, WAN name "wan3".
 * Only the first read of VPN pass-through, which reaches the platform, lies behind it. */
void start_process();
/* The same, with the device's files left as they are. */
void restart_process();

}  // namespace fuzz

extern "C" {
int LLVMFuzzerInitialize(int* argc, char*** argv);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
}
