/* l3ctl devices: who is in the home network, and what settings do to each. l3ctl blocked: who is shut out. */
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "l3ctl/commands.hpp"
#include "l3ctl/input/gateway_now.hpp"
#include "l3ctl/views/change_report.hpp"
#include "l3ctl/views/device_report.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/table.hpp"
#include "l3ctl/views/time_text.hpp"
#include "management/devices/ethers.hpp"
#include "management/devices/find_device.hpp"
#include "management/system/lock.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

struct Naming {
  std::string device;
  std::string name;
  bool is_removal = false;
};

/* A device, and what becomes of its traffic: nothing where the settings cannot be explained. */
struct Judged {
  Device device;
  std::vector<Effect> effects;
};

struct HomeNetwork {
  Now now;
  Notes notes;
  std::vector<Judged> devices;
  std::vector<Effect> others; /* on a device that no setting names */
};

void judge(HomeNetwork& network, const Gateway& gateway) {
  const uint32_t second = network.now.second();
  network.others = effects_on_others(gateway.settings, gateway.bindings, second);
  for (Judged& one : network.devices) {
    one.effects = effects_on(one.device, gateway.settings, gateway.bindings, second);
  }
}

/* Unless the effects of settings are needed, devices are listed also where settings cannot be explained. */
HomeNetwork network_now(bool needs_effects) {
  HomeNetwork network;
  network.now = now();
  std::optional<Gateway> gateway;
  try {
    gateway = gateway_now("", network.notes);
  } catch (const Error& failure) {
    if (needs_effects) {
      throw;
    }
    network.notes.emplace_back(failure.what());
  }
  if (gateway) {
    network.now.clock = clock_of(gateway->settings);
  }
  Devices known = gateway ? known_devices(listed_devices(gateway->settings)) : known_devices();
  network.notes.insert(network.notes.end(), known.notes.begin(), known.notes.end());
  for (Device& device : known.list) {
    network.devices.push_back({std::move(device), {}});
  }
  if (gateway) {
    judge(network, *gateway);
  }
  return network;
}

bool is_blocked(const std::vector<Effect>& effects) {
  return std::any_of(effects.begin(), effects.end(),
                     [](const Effect& effect) { return effect.is_blocked(); });
}

Json as_json(const Judged& one, const Now& now) {
  Json object = device_json(one.device);
  object["settings"] = effects_json(one.effects, now);
  return object;
}

Row row_of(const Judged& one, const Now& now, bool with_last_seen) {
  Row row = device_cells(one.device);
  if (with_last_seen) {
    row.push_back(one.device.last_seen ? age_text(now.time - *one.device.last_seen) : "-");
  }
  row.push_back(effects_text(one.effects, now));
  return row;
}

void print_notes(const Notes& notes) {
  for (const std::string& note : notes) {
    inform("note: " + note);
  }
}

void print_network(const HomeNetwork& network, const Json& devices) {
  print_json({{"devices", devices},
              {"others", effects_json(network.others, network.now)},
              {"notes", network.notes}});
}

int list(const Context& context) {
  const HomeNetwork network = network_now(false);
  Json devices = Json::array();
  std::vector<Row> rows = {{"name", "MAC", "addresses", "last seen", "settings"}};
  for (const Judged& one : network.devices) {
    devices.push_back(as_json(one, network.now));
    rows.push_back(row_of(one, network.now, true));
  }
  if (context.json) {
    print_network(network, devices);
    return exit_done;
  }
  print_notes(network.notes);
  std::cout << (devices.empty() ? "no device is known\n" : aligned(rows));
  return exit_done;
}

int list_blocked(const Context& context) {
  const HomeNetwork network = network_now(true);
  Json devices = Json::array();
  std::vector<Row> rows = {{"name", "MAC", "addresses", "settings"}};
  for (const Judged& one : network.devices) {
    if (is_blocked(one.effects)) {
      devices.push_back(as_json(one, network.now));
      rows.push_back(row_of(one, network.now, false));
    }
  }
  const bool others = is_blocked(network.others);
  if (context.json) {
    print_network(network, devices);
    return exit_done;
  }
  if (others) {
    rows.push_back({"any other", "-", "-", effects_text(network.others, network.now)});
  }
  print_notes(network.notes);
  std::cout << (rows.size() == 1 ? "no device is blocked\n" : aligned(rows));
  return exit_done;
}

settings::MacAddress mac_of(const std::string& word) {
  const auto mac = find_device(word);
  if (!mac.value) {
    throw Error("DEVICE: \"" + word + "\" is not allowed; it must be " + mac.allowed +
                    "; nothing was changed",
                ErrorKind::invalid_input);
  }
  return *mac.value;
}

int name_device(const Context& context, const Naming& naming) {
  if (naming.is_removal == !naming.name.empty()) {
    throw Error("devices name takes either NAME or --remove; nothing was changed",
                ErrorKind::invalid_input);
  }
  if (!naming.is_removal && !is_device_name(naming.name)) {
    throw Error("NAME: \"" + naming.name +
                    "\" is not allowed; it must be at most 63 letters, digits, \"-\", \"_\" and "
                    "\".\", the first a letter or digit, and neither a number nor an address; "
                    "nothing was changed",
                ErrorKind::invalid_input);
  }
  const settings::MacAddress mac = mac_of(naming.device);
  const std::string text = settings::mac_text(mac);
  const Lock lock(context);
  std::string done = "devices: " + text + " is named " + naming.name;
  if (naming.is_removal) {
    done = "devices: " + text + (remove_name(mac) ? " has no name any more" : " had no name");
  } else {
    give_name(mac, naming.name);
  }
  ChangeResult result;
  result.is_done = true;
  return print_result(context, result, done, Json::object());
}

void add_name_verb(CLI::App& command, Context& context) {
  CLI::App* verb = command.add_subcommand("name", "Name a device, in /etc/ethers");
  auto naming = std::make_shared<Naming>();
  verb->add_option("DEVICE", naming->device, "Its hardware address, or a name or address it has")
      ->required();
  verb->add_option("NAME", naming->name,
                   "Letters, digits, \"-\", \"_\" and \".\", at most 63 characters");
  verb->add_flag("--remove", naming->is_removal, "Remove its name instead");
  verb->footer("Example:\n  l3ctl devices name 02:00:00:00:01:20 tablet");
  verb->callback([&context, naming] {
    context.action = [&context, naming] { return name_device(context, *naming); };
  });
}

}  // namespace

void add_devices_command(CLI::App& app, Context& context) {
  CLI::App* command =
      app.add_subcommand("devices", "Devices of the home network, and what settings do to each");
  command->footer(
      "From the neighbour table, DHCP leases (dnsmasq's files at the usual places, or those that\n"
      "the environment variable L3CTL_LEASES names, with \":\" between them) and /etc/ethers.\n"
      "Blocked is whose HTTPS connection to an address that no rule names would be dropped.");
  command->require_subcommand(0, 1);
  command->callback([command, &context] {
    if (command->get_subcommands().empty()) {
      context.action = [&context] { return list(context); };
    }
  });
  add_name_verb(*command, context);
}

void add_blocked_command(CLI::App& app, Context& context) {
  app.add_subcommand("blocked", "Which devices are blocked now, by which setting, until when")
      ->callback([&context] { context.action = [&context] { return list_blocked(context); }; });
}

}  // namespace l3ctl
