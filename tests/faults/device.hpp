/*
 * A device without its kernel: a packet filter that knows as much of iptables as the library's
 * commands need, and the files of /ztcfg. Both can be taken away and put back, so that a test meets
 * the same device again and again.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

#include "harness.hpp"

namespace device {

/* Every file of /ztcfg: name and bytes. */
using Files = std::map<std::string, std::string>;
Files files();
/* Puts these files in place, and no others. */
void put(const Files& files);

inline constexpr char config[] = "l3_advance.dat";
inline constexpr char save[] = "firewall.conf";
inline constexpr char save6[] = "firewall6.conf";

class PacketFilter {
 public:
  /* Runs a command line of the library and returns its wait status: exit code 1 where a chain is
   * missing or there already, 2 where a rule jumps nowhere, 127 for any other program. */
  int run(const std::string& line);
  /* What a line leaves that fails or is cut off: the shell has truncated the file it writes. */
  static void half_run(const std::string& line);

  /* Every chain with its rules; load() takes it back. */
  std::string text() const;
  void load(const std::string& text);
  /* Those of one program, "iptables" or "ip6tables". */
  std::string rules_of(const std::string& program) const;
  /* Those chains that the master switch fills, of both programs. */
  std::string switched_rules() const;

 private:
  using Chains = std::map<std::string, std::vector<std::string>>;

  int edit(const std::string& line);
  int restore(const std::string& program, const std::string& path);

  std::map<std::string, Chains> tables_ = {
      {"iptables filter", {{"INPUT", {}}, {"FORWARD", {}}, {"OUTPUT", {}}}},
      {"iptables nat", {{"PREROUTING", {}}, {"POSTROUTING", {}}}},
      {"ip6tables filter", {{"INPUT", {}}, {"FORWARD", {}}, {"OUTPUT", {}}}},
  };
};

/* The device's own; empty when it starts. */
extern PacketFilter kernel;

/* Lets the library's command lines reach `kernel`, and empties what the platform has in memory. */
void plug_in();

/* What a process of the device does before anything else: master switch, records, VPN. */
void load_stored();

}  // namespace device
