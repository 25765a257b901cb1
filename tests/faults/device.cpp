#include "device.hpp"

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>

namespace device {

using namespace harness;

namespace {

const std::string folder = "/ztcfg/";

/* One table as text, in the form in which it is saved. */
std::string table_text(const std::map<std::string, std::vector<std::string>>& chains) {
  std::string text;
  for (const auto& [chain, rules] : chains) {
    text += ":" + chain + "\n";
    for (const std::string& rule : rules) {
      text += "-A " + chain + " " + rule + "\n";
    }
  }
  return text + "COMMIT\n";
}

/* The chain that a rule jumps to; empty where it is one of iptables' own targets. */
std::string jump_of(const std::string& rule) {
  const size_t jump = rule.rfind("-j ");
  if (jump == std::string::npos) {
    return "";
  }
  const std::string target = rule.substr(jump + 3, rule.find(' ', jump + 3) - jump - 3);
  return target == "ACCEPT" || target == "DROP" || target == "LOG" || target == "DNAT" ? ""
                                                                                       : target;
}

/* Where a shell line writes to; empty where it writes no file. */
std::string output_of(const std::string& line) {
  const size_t arrow = line.find('>');
  return arrow == std::string::npos ? "" : line.substr(arrow + 1);
}

}  // namespace

PacketFilter kernel;

Files files() {
  Files all;
  DIR* directory = opendir(folder.c_str());
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') {
      all[entry->d_name] = read_file(folder + entry->d_name);
    }
  }
  closedir(directory);
  return all;
}

void put(const Files& wanted) {
  for (const auto& [name, bytes] : files()) {
    unlink((folder + name).c_str());
  }
  for (const auto& [name, bytes] : wanted) {
    write_file(folder + name, bytes);
  }
}

int PacketFilter::run(const std::string& line) {
  if (line.rfind("mkdir -p /lib/modules/", 0) == 0) {
    return 0;
  }
  if (line == "mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat") {
    return rename("/ztcfg/l3_advance.conf", "/ztcfg/l3_advance.dat") == 0 ? 0 : exited(1);
  }
  const std::string program = line.substr(0, line.find_first_of(" -"));
  if (line == program + "-save -t filter >" + output_of(line)) {
    write_file(output_of(line), table_text(tables_[program + " filter"]));
    return 0;
  }
  const std::string restoring = program + "-restore <";
  if (line.rfind(restoring, 0) == 0) {
    return restore(program, line.substr(restoring.size()));
  }
  return edit(line);
}

void PacketFilter::half_run(const std::string& line) {
  if (const std::string path = output_of(line); !path.empty()) {
    write_file(path, "");
  }
}

int PacketFilter::restore(const std::string& program, const std::string& path) {
  if (!file_exists(path)) {
    return exited(1);
  }
  const std::string text = read_file(path);
  if (text.empty()) {
    return 0;  // Nothing to do, and no error: so does iptables-restore.
  }
  if (text.size() < 7 || text.substr(text.size() - 7) != "COMMIT\n") {
    return exited(1);
  }
  load("*" + program + " filter\n" + text);
  return 0;
}

int PacketFilter::edit(const std::string& line) {
  std::istringstream words(line);
  std::string program;
  std::string operation;
  std::string table = "filter";
  std::string chain;
  std::string rule;
  words >> program >> operation;
  if (operation == "-t") {
    words >> table >> operation;
  }
  words >> chain >> std::ws;
  std::getline(words, rule, '\0');

  const auto found = tables_.find(program + " " + table);
  if (found == tables_.end()) {
    return exited(127);
  }
  Chains& chains = found->second;
  if (operation == "-N") {
    return chains.try_emplace(chain).second ? 0 : exited(1);
  }
  if (chains.count(chain) == 0) {
    return exited(1);
  }
  std::vector<std::string>& rules = chains[chain];
  if (operation == "-F") {
    rules.clear();
    return 0;
  }
  if (operation == "-D") {
    for (auto place = rules.begin(); place != rules.end(); ++place) {
      if (*place == rule || std::to_string(place - rules.begin() + 1) == rule) {
        rules.erase(place);
        return 0;
      }
    }
    return exited(1);
  }
  if (const std::string target = jump_of(rule); !target.empty() && chains.count(target) == 0) {
    return exited(2);
  }
  rules.insert(operation == "-I" ? rules.begin() : rules.end(), rule);
  return operation == "-I" || operation == "-A" ? 0 : exited(2);
}

std::string PacketFilter::text() const {
  std::string all;
  for (const auto& [table, chains] : tables_) {
    all += "*" + table + "\n" + table_text(chains);
  }
  return all;
}

void PacketFilter::load(const std::string& text) {
  std::istringstream lines(text);
  Chains* chains = nullptr;
  for (std::string line; std::getline(lines, line);) {
    if (line[0] == '*') {
      chains = &tables_[line.substr(1)];
      chains->clear();
    } else if (line[0] == ':') {
      (*chains)[line.substr(1)];
    } else if (line.rfind("-A ", 0) == 0) {
      const size_t blank = line.find(' ', 3);
      (*chains)[line.substr(3, blank - 3)].push_back(line.substr(blank + 1));
    }
  }
}

std::string PacketFilter::rules_of(const std::string& program) const {
  return table_text(tables_.at(program + " filter"));
}

std::string PacketFilter::switched_rules() const {
  std::string all;
  for (const char* table : {"iptables filter", "ip6tables filter"}) {
    for (auto [chain, rules] : tables_.at(table)) {
      // INPUT and FORWARD hold the hooks; the IPv6 dispatch is the layer-3 control daemon's.
      const bool ours = chain.rfind("forward_ext_", 0) == 0 || chain.rfind("input_ext_", 0) == 0;
      const bool left_alone =
          chain == "input_ext_access_ctrl" ||
          (chain == "forward_ext_ip" && std::string(table) == "ip6tables filter");
      if (ours && !left_alone) {
        all += std::string(table) + "\n" + table_text({{chain, rules}});
      }
    }
  }
  return all;
}

void plug_in() {
  world = {};
  world.system = [](const std::string& line) { return kernel.run(line); };
  world.half_run = PacketFilter::half_run;
}

void load_stored() {
  static_cast<void>(record([] {
    uint8_t state = 0;
    get_firewall_rules_from_cfgfile();
    get_qos_cfg_from_cfgfile();
    gl3_web_get_fw_status(&state);
    gl3_web_init_vpn_pass_through();
  }));
}

}  // namespace device
