#include "l3ctl/input/gateway_now.hpp"

#include "l3ctl/context.hpp"
#include "l3ctl/input/settings_file.hpp"
#include "management/change/apply.hpp"
#include "management/rules/live_bindings.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "management/system/platform_info.hpp"
#include "management/system/redirect_output.hpp"

namespace l3ctl {

namespace {

using settings::Settings;

/* The stored settings as words say them: what words cannot say, nobody can promise anything of. */
Settings stored_settings() {
  warn_of_stored_damage();
  const Settings stored = stored_or_defaults();
  const settings::Reading reading =
      settings::read(settings::write(stored), settings::Origin::stored, *stored.time_zone);
  for (const settings::Problem& error : reading.errors) {
    complain(to_text(error, "stored"));
  }
  if (!reading.errors.empty()) {
    throw Error("what is stored is more than settings can say, so it cannot be explained");
  }
  return reading.settings;
}

/* What would be stored after the file was applied. */
Settings with_file(const Settings& stored, const std::string& file) {
  return with_changes(stored,
                      read_settings(file, "settings with faults cannot be explained").settings);
}

/* What the rules are bound to now; a change of the settings that turns something on binds it anew. */
settings::Bindings bindings_now(const Settings& stored, const Settings& wanted, Notes& notes) {
  settings::Bindings bindings;
  try {
    const LiveBindings live = read_live_bindings();
    if (live.is_bare) {
      notes.emplace_back(
          "none of the gateway's chains is there, so nothing is stopped before "
          "\"l3ctl init\"");
      return {};
    }
    bindings = for_verdict(live, quietly(internet_wan_name));
  } catch (const Error& failure) {
    notes.emplace_back(std::string(failure.what()) + ", so the rules are taken to be bound");
    return {};
  }
  if (*wanted.firewall && !*stored.firewall) {
    bindings.ip_filter = bindings.acl = bindings.wan_drop = {};
  }
  if (*wanted.port_scan_protection && !*stored.port_scan_protection) {
    bindings.wan_drop = {};
  }
  return bindings;
}

}  // namespace

Gateway gateway_now(const std::string& file, Notes& notes) {
  const Settings stored = stored_settings();
  const Settings wanted = file.empty() ? stored : with_file(stored, file);
  return {wanted, bindings_now(stored, wanted, notes)};
}

}  // namespace l3ctl
