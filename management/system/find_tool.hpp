/* Where the programs are that are run by name: the directories of PATH, extended by those of system programs. */
#pragma once

#include <array>
#include <string>
#include <vector>

namespace management {

/* The programs of iptables that changes and checks run. */
inline constexpr std::array iptables_tools = {"iptables",  "iptables-save",  "iptables-restore",
                                              "ip6tables", "ip6tables-save", "ip6tables-restore"};

/* Appends /usr/sbin and /sbin to this process's PATH where it lacks them: iptables is there, and cron leaves them
 * out. The shell that runs the library's command lines inherits it. An empty PATH counts as none. */
void extend_path();

/* The path that a name stands for; empty where no directory of PATH has such a program. */
std::string tool_path(const std::string& name);

/* Those of iptables_tools that are missing. */
std::vector<std::string> missing_tools();

/* "iptables-save is not in /usr/bin, /usr/sbin" */
std::string not_in_path(const std::vector<std::string>& names);

/* The same with what to do about it. */
std::string how_to_supply(const std::vector<std::string>& names);

/* A change is not begun without its tools: fails where one is missing. */
void require_tools();

}  // namespace management
