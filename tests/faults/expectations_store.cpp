#include "expectation.hpp"

namespace scenarios {

using harness::error;
using harness::out;

namespace {

constexpr char record_path[] = "/ztcfg/another.rec";
constexpr char timeout_path[] = "/ztcfg/ct_activity_timeout.conf";

/* A failed write of the two lines is not logged; one of the three records is. */
Expectation creating() {
  Expectation records = silent("write write write");
  return silent("open write write write write") +
         with_message(records, out("init_cfgfile::write /ztcfg/l3_advance.dat error!\n")) +
         silent("close");
}

/* What `call` does on a device without its file: it makes one, and continues. A file that cannot
 * be looked at counts as there, and cannot be opened. */
Expectation on_missing(const std::string& call, const Expectation& expectation) {
  Expectation look = {{"access", true, expectation[1].says}};
  return look + with_message(creating(), out(call + "::init_cfgfile err!\n")) +
         Expectation(expectation.begin() + 1, expectation.end());
}

Expectations configuration_file_expectations() {
  const Expectation reading_state = silent("open lseek read close");
  const Expectation writing_state = silent("open lseek write write close");
  const Expectation loading_qos = named("get_qos_cfg_from_cfgfile", "open lseek read");
  return {
      {"init_cfgfile", creating()},
      {"init_cfgfile where there is no file", creating()},
      {"get_vpn_pass_through_state_from_cfgfile", looks() + reading_state},
      {"get_firewall_state_from_cfgfile", looks() + reading_state},
      {"get_firewall_state_from_cfgfile where there is no file",
       on_missing("get_firewall_state_from_cfgfile", looks() + reading_state)},
      {"set_vpn_pass_through_state_to_cfgfile", writing_state},
      {"set_firewall_state_to_cfgfile", writing_state},
      {"get_firewall_rules_from_cfgfile", load()},
      {"get_firewall4_rules_from_cfgfile",
       named("get_firewall4_rules_from_cfgfile", "open lseek read")},
      {"get_firewall6_rules_from_cfgfile",
       named("get_firewall6_rules_from_cfgfile", "open lseek read")},
      {"get_qos_cfg_from_cfgfile", loading_qos},
      {"get_qos_cfg_from_cfgfile where there is no file",
       on_missing("get_qos_cfg_from_cfgfile", loading_qos)},
      {"set_firewall_rules_to_cfgfile", store()},
      {"set_firewall4_rules_to_cfgfile",
       named("set_firewall4_rules_to_cfgfile", "open lseek write")},
      {"set_firewall6_rules_to_cfgfile",
       named("set_firewall6_rules_to_cfgfile", "open lseek write")},
      {"set_qos_cfg_to_cfgfile", named("set_qos_cfg_to_cfgfile", "open lseek write")},
  };
}

/* An initialiser that writes `writes` times. */
Expectation initialising(const std::string& call, const std::string& path, size_t writes) {
  const Expectation write =
      with_message(silent("write"), out(call + "::write " + path + " error!\n"));
  return silent("open") + (writes == 0 ? Expectation{} : write) + silent("close");
}

Expectation of_record(const std::string& call, const std::string& operations) {
  return named(call, operations, record_path);
}

/* Writing opens with creation and needs no file; reading does. */
Expectation on_missing_record(const std::string& call, const Expectation& expectation,
                              const Expectation& creation, const std::string& initialiser) {
  Expectation look = {expectation[0]};
  if (expectation[3].kind == "read") {
    look = {{"access", true, expectation[1].says}};
  }
  return look + with_message(creation, out(call + "::" + initialiser + " err!\n")) +
         Expectation(expectation.begin() + 1, expectation.end());
}

Expectations record_file_expectations() {
  const std::string set = "set_std_wan_service_info_to_cfgfile";
  const std::string get = "get_std_wan_service_info_from_cfgfile";
  const std::string write = "write_info_to_file";
  const Expectation fresh = initialising("init_std_wan_cfgfile", record_path, 1);
  const Expectation empty = initialising("init_cfg_file", record_path, 0);
  const Expectation setting = of_record(set, "open lseek write");
  const Expectation getting = of_record(get, "open lseek read");
  const Expectation writing = of_record(write, "open lseek write");
  return {
      {"init_std_wan_cfgfile", fresh},
      {set, setting},
      {get, getting},
      {"init_cfg_file", empty},
      {write, writing},
      {"read_info_from_file", of_record("read_info_from_file", "open lseek read")},
      {set + " where there is no file",
       on_missing_record(set, setting, fresh, "init_std_wan_cfgfile")},
      {get + " where there is no file",
       on_missing_record(get, getting, fresh, "init_std_wan_cfgfile")},
      {write + " where there is no file",
       on_missing_record(write, writing, empty, "init_cfg_file")},
      {"init_cfg_file where there is no file", initialising("init_cfg_file", timeout_path, 1)},
  };
}

/* Each step logs its own name, and that of its caller. */
Expectations vpn_pass_through_expectations() {
  const std::string set = "gl3_web_set_vpn_pass_through";
  const std::string get = "gl3_web_get_vpn_pass_through";
  const auto fails = [](const std::string& call, const std::string& step) {
    return out(call + "::" + step + "\n");
  };
  const Expectation setting =
      asks(fails(set, "grm_l3_advance_get_vpn_pass_through error!")) +
      asks(fails(set, "gpon_l3_control_vpn_pass_through [GRE]error=-1")) +
      asks(fails(set, "grm_l3_advance_set_vpn_pass_through error!")) +
      with_message(silent("open lseek write write close"),
                   fails(set, "set_vpn_pass_through_state_to_cfgfile error!"));
  const Expectation asking = asks(fails(get, "grm_l3_advance_get_vpn_pass_through error!"));
  const Expectation first =
      with_message(read_state(), fails(get, "get_vpn_pass_through_state_from_cfgfile error!")) +
      asks(fails(get, "grm_l3_advance_set_vpn_pass_through error!")) +
      asks(fails(get, "gpon_l3_control_vpn_pass_through [GRE]error=-1")) + asking;
  const std::string init = "gl3_web_init_vpn_pass_through";
  return {
      {set, setting},
      {"gl3_web_set_vpn_pass_through_default",
       with_message(setting, fails("gl3_web_set_vpn_pass_through_default", set + " err!"))},
      {get, asking},
      {"first " + get, first},
      // Having read it, it sets what is set already.
      {init, with_message(first, fails(init, get + " err!")) +
                 with_message(asks(fails(set, "grm_l3_advance_get_vpn_pass_through error!")),
                              fails(init, set + " err!"))},
  };
}

Expectations route_qos_expectations() {
  const std::string set = "gl3_web_set_route_qos";
  const std::string control = "gl3_web_set_route_qos_control";
  const auto storing = [](const std::string& call) {
    return with_message(named("set_qos_cfg_to_cfgfile", "open lseek write"),
                        error(call + "::set_qos_cfg_to_cfgfile err!\n"));
  };
  const auto loading = [](const std::string& call) {
    return with_message(named("get_qos_cfg_from_cfgfile", "open lseek read"),
                        error(call + "::get_qos_rules_from_cfgfile err!\n"));
  };
  const Expectation pushing = asks(error(set + "::gpon_l3_set_qos_rules err!\n"));
  const std::string remove = "gl3_web_remove_all_qos_cfg";
  return {
      {set, storing(set) + pushing},
      {set + " while it is off", storing(set) + pushing},
      {control, storing(control) + pushing},
      {remove, with_message(storing(set) + pushing, error(remove + "::" + set + " err!\n"))},
      {"gl3_web_get_route_qos", loading("gl3_web_get_route_qos")},
      {"gl3_web_get_route_qos_control", loading("gl3_web_get_route_qos_control")},
      {"gl3_init_qos",
       loading("gl3_init_qos") + asks(error("gl3_init_qos::gpon_l3_set_qos_rules err!\n"))},
  };
}

}  // namespace

Expectation qos_of_a_new_device() {
  const std::string init = "gl3_init_qos::";
  return with_message(
      on_missing("get_qos_cfg_from_cfgfile", named("get_qos_cfg_from_cfgfile", "open lseek read")),
      error(init + "get_qos_rules_from_cfgfile err!\n"));
}

Expectations file_expectations() {
  Expectations all = configuration_file_expectations();
  for (Expectations (*some)() :
       {record_file_expectations, vpn_pass_through_expectations, route_qos_expectations}) {
    all.merge(some());
  }
  return all;
}

}  // namespace scenarios
