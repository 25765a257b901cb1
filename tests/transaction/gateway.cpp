#include "gateway.hpp"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

std::string content(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void write(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

void Gateway::SetUp() {
  ASSERT_EQ(access("/ztcfg", W_OK), 0) << "run this inside tests/sandbox";
  mkdir("/tmp/tools", 0755);
  for (const char* name : {"iptables", "ip6tables", "iptables-save", "ip6tables-save",
                           "iptables-restore", "ip6tables-restore"}) {
    const std::string link = std::string("/tmp/tools/") + name;
    unlink(link.c_str());
    ASSERT_EQ(symlink(FAKE_IPTABLES, link.c_str()), 0);
  }
  std::string chains = ":INPUT\n:FORWARD\n:OUTPUT\n";
  for (const char* name :
       {"forward_ext_bad_tcp", "forward_ext_ip", "forward_ext_us_ip", "forward_ext_ds_ip",
        "forward_ext_url", "forward_ext_mac", "forward_ext_captiveportal", "input_ext_acl",
        "input_ext_us_acl", "input_ext_ds_acl", "input_ext_dhcp", "input_ext_local_access",
        "input_ext_local_access_ex", "input_ext_access_ctrl"}) {
    chains += std::string(":") + name + '\n';
  }
  write("/tmp/chains", chains);
  setenv("PATH", "/tmp/tools:/usr/bin:/bin", 1);
  // All later states differ from a gateway that has been set up once.
  ASSERT_EQ(l3_transaction_begin(nullptr), L3_TRANSACTION_OK) << l3_transaction_error();
  ASSERT_EQ(set_filters(1), 0);
  ASSERT_EQ(gl3_web_set_vpn_pass_through(1), 0);
  ASSERT_EQ(gl3_web_set_vpn_pass_through(0), 0);
  ASSERT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK) << l3_transaction_error();
  unlink("/tmp/restores");
  unlink("/tmp/calls");
}

Gateway::State Gateway::state() {
  State all;
  for (const char* file : {configuration, "/ztcfg/firewall.conf", "/ztcfg/firewall6.conf",
                           "/tmp/rules.iptables.filter", "/tmp/rules.ip6tables.filter",
                           "/run/l3_advance/vpn_pass_through"}) {
    all[file] = content(file);
  }
  const auto bytes = [](const auto& record) {
    return std::string(reinterpret_cast<const char*>(&record), sizeof record);
  };
  all["fw_rules_table"] = bytes(fw_rules_table);
  all["fw6_rules_table"] = bytes(fw6_rules_table);
  all["RtQoSRulesTable"] = bytes(RtQoSRulesTable);
  return all;
}

std::string Gateway::changed_since(const State& before) {
  std::string names;
  for (const auto& [name, value] : state()) {
    names += before.at(name) == value ? "" : name + ' ';
  }
  return names;
}

l3_mac_filter mac_filter(int entries) {
  l3_mac_filter filter = {};
  filter.count = entries;
  filter.mac_filter_ctrl = 1;
  for (int i = 0; i < entries; ++i) {
    filter.entries[i].mac_enable = 1;
    filter.entries[i].mac[0] = 2;
    filter.entries[i].mac[5] = static_cast<uint8_t>(i);
    filter.entries[i].stop_hour = 24;
  }
  return filter;
}

l3_url_filter url_filter(int entries) {
  l3_url_filter filter = {};
  filter.count = entries;
  filter.url_filter_ctrl = 1;
  for (int i = 0; i < entries; ++i) {
    filter.entries[i].url_enable = 1;
    std::snprintf(filter.entries[i].url, sizeof filter.entries[i].url, "site%d.example", i);
    filter.entries[i].stop_hour = 24;
  }
  return filter;
}

int set_filters(int entries) {
  l3_mac_filter mac = mac_filter(entries);
  l3_mac_filter mac6 = mac_filter(entries + 1);
  l3_url_filter url = url_filter(entries);
  int failed = gl3_web_set_fw_status(1) != 0;
  failed += gl3_web_set_mac_cfg(&mac) != 0;
  failed += gl3_web_set_mac6_cfg(&mac6) != 0;
  failed += gl3_web_set_url_cfg(&url) != 0;
  return failed;
}

int in_child(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(work());
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}
