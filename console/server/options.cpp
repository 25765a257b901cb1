#include "console/server/options.hpp"

#include <getopt.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace console {

namespace {

constexpr const char* help =
    "Usage: l3-console [OPTIONS]\n"
    "Serves the gateway's settings over HTTPS. Started by root, which it gives up.\n"
    "\n"
    "  --listen PLACE:PORT   An address, or an interface whose IPv4 address is taken (br0:443);\n"
    "                        a socket that is handed over (LISTEN_FDS) comes first\n"
    "  --name NAME           A host name under which clients may ask; may be given again\n"
    "  --state DIRECTORY     Password, tokens and certificate (/var/lib/l3-console)\n"
    "  --user USER           Whose rights are left (l3console)\n"
    "  --root DIRECTORY      An empty directory to be the root of (/run/l3-console)\n"
    "  --l3ctl FILE          The program that does the work (beside this one)\n"
    "  --broker FILE         The program that runs it (../libexec/l3-console-broker)\n"
    "  --request-seconds N   How long a request may take to arrive, from 1 to 60 (10)\n"
    "  --l3ctl-seconds N     How long l3ctl may take to answer where it changes nothing (8)\n"
    "  --plain-http          Without TLS: everyone in the network can read the password\n"
    "  --first-password      Make a new first password, print it and end\n"
    "  --routes              Print method and path of every route and end\n"
    "  --version, --help\n";

/* Our own directory, as it is built or installed. */
std::string own_directory() {
  std::array<char, 4096> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  const std::string own(path.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
  return own.substr(0, own.rfind('/') + 1);
}

/* The server starts the broker, so it is installed in no directory of PATH. */
std::string default_broker() {
  const std::string installed = own_directory() + "../libexec/l3-console-broker";
  return access(installed.c_str(), X_OK) == 0 ? installed : own_directory() + "l3-console-broker";
}

enum Number {
  listen = 1,
  name,
  state,
  user,
  root,
  l3ctl,
  broker,
  seconds,
  l3ctl_time,
  plain,
  first,
  list,
  version,
  usage
};

constexpr std::array<option, 15> known = {{
    {"listen", required_argument, nullptr, listen},
    {"name", required_argument, nullptr, name},
    {"state", required_argument, nullptr, state},
    {"user", required_argument, nullptr, user},
    {"root", required_argument, nullptr, root},
    {"l3ctl", required_argument, nullptr, l3ctl},
    {"broker", required_argument, nullptr, broker},
    {"request-seconds", required_argument, nullptr, seconds},
    {"l3ctl-seconds", required_argument, nullptr, l3ctl_time},
    {"plain-http", no_argument, nullptr, plain},
    {"first-password", no_argument, nullptr, first},
    {"routes", no_argument, nullptr, list},
    {"version", no_argument, nullptr, version},
    {"help", no_argument, nullptr, usage},
    {nullptr, 0, nullptr, 0},
}};

void set_text(Options& options, int number, const char* value) {
  std::string* const texts[] = {nullptr,       &options.listen, nullptr,        &options.state,
                                &options.user, &options.root,   &options.l3ctl, &options.broker};
  if (number == name) {
    options.names.emplace_back(value);
  } else {
    *texts[number] = value;
  }
}

[[noreturn]] void fail(const std::string& message) {
  std::fprintf(stderr, "l3-console: %s\n", message.c_str());
  std::exit(2);
}

int seconds_of(const char* name, const char* text) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (*end != '\0' || value < 1 || value > 60) {
    fail(std::string(name) + ": \"" + std::string(text) + "\" is not from 1 to 60");
  }
  return static_cast<int>(value);
}

}  // namespace

Options parse_options(int argc, char** argv) {
  Options options;
  options.l3ctl = own_directory() + "l3ctl";
  options.broker = default_broker();
  int number = 0;
  while ((number = getopt_long(argc, argv, "", known.data(), nullptr)) != -1) {
    if (number == usage || number == version) {
      std::fputs(number == usage ? help : "l3-console " L3_CONSOLE_VERSION "\n", stdout);
      std::exit(0);
    }
    if (number == '?') {
      fail("see --help");
    }
    options.is_plain = options.is_plain || number == plain;
    options.first_password = options.first_password || number == first;
    options.routes = options.routes || number == list;
    if (number == seconds) {
      options.request_seconds = seconds_of("--request-seconds", optarg);
    } else if (number == l3ctl_time) {
      options.l3ctl_seconds = seconds_of("--l3ctl-seconds", optarg);
    } else if (number <= broker) {
      set_text(options, number, optarg);
    }
  }
  if (optind != argc) {
    fail("\"" + std::string(argv[optind]) + "\" is no option; see --help");
  }
  return options;
}

}  // namespace console
