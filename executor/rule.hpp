/*
 * A rule of the packet filter in normal form, so that two ways of writing it can be compared: a command
 * line of the library, and what iptables-save prints of it once it stands in the kernel.
 *
 *   as written           as saved                                  normal form
 *   -p all               nothing                                   nothing
 *   -s 192.168.1.10      -s 192.168.1.10/32                        source 192.168.1.10
 *   -d 203.0.113.77/25   -d 203.0.113.0/25                         destination 203.0.113.0/25
 *   -s 0.0.0.0/0         nothing                                   nothing
 *   -s ::                -s ::/128                                 source ::
 *   --dport 80:80        -m tcp --dport 80                         dport 80
 *   ! --syn              ! --tcp-flags FIN,SYN,RST,ACK SYN         the same, flags in one order
 *   --string "\3abc"     --hex-string "|03616263|"                 string, its bytes
 *   --timestart 8:5      --timestart 08:05:00                      timestart 08:05
 *   -p tcp --dport 80    -p tcp -m tcp --dport 80           dport 80, protocol tcp; matches tcp
 *   (nothing)            --datestop 2038-01-19T03:14:07            nothing
 *   --limit 1/s          --limit 1/sec                             limit 1/sec
 *   --to 192.168.1.1     --to-destination 192.168.1.1              to-destination 192.168.1.1
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace executor {

enum class Family : uint8_t { ipv4, ipv6 };

struct Rule {
  std::string chain;
  std::string target; /* DROP, ACCEPT, LOG, a chain, ...; empty for a rule that only counts */
  /* Option, without its dashes and with "! " in front where it is negated, and value. */
  std::multimap<std::string, std::string> options;
  /* The modules of its matches in order, also those that follow from an option: for the packet filter a
   * rule with another order, or with a module that has no option, is another rule. */
  std::vector<std::string> matches;

  [[nodiscard]] bool operator==(const Rule&) const = default;
};

/* Takes a command line such as "iptables -A chain ...", quoted for the shell, or "-A chain ...", quoted as
 * iptables-save does. */
[[nodiscard]] Rule parse_rule(Family family, const std::string& line);

/* The rule of such a line as one text, without its chain: equal texts are equal rules to the packet filter. */
[[nodiscard]] std::string rule_key(Family family, const std::string& line);

/* Whether a tool that is to delete the rule of one key by its text may take the rule of the other for it: equal
 * rules, and IPv6 rules that differ in the lengths of address prefixes alone, which ip6tables of the nft backend
 * does not compare. */
[[nodiscard]] bool is_deleted_for(Family family, const std::string& key, const std::string& other);

}  // namespace executor
