/* The command line of l3-console. */
#pragma once

#include <string>
#include <vector>

#include "console/broker/operations.hpp"

namespace console {

struct Options {
  std::string listen = "br0:443"; /* an interface or an address, and a port */
  std::vector<std::string> names;
  std::string user = "l3console";
  std::string state = "/var/lib/l3-console";
  std::string root = "/run/l3-console"; /* an empty directory */
  std::string l3ctl;
  std::string broker;
  int request_seconds = 10;
  int l3ctl_seconds = usual_seconds_of_a_read;
  bool is_plain = false;
  bool first_password = false;
  bool routes = false;
};

/* Ends the program where the command line is wrong, and after --help and --version. */
Options parse_options(int argc, char** argv);

}  // namespace console
