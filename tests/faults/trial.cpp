#include "trial.hpp"

#include "apart.hpp"

namespace scenarios {

using namespace harness;

namespace {

void do_again(const Scenario& scenario, const std::string& kernel_left, Aftermath& aftermath) {
  const Reply reply = apart([&] {
    device::kernel.load(scenario.boots ? "" : kernel_left);
    device::plug_in();
    if (scenario.loads) {
      device::load_stored();
    }
    int32_t result = 99;
    static_cast<void>(record([&] { result = scenario.act(); }));
    const device::Files stored = device::files();
    const std::string switched = record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); });
    const std::string rules = device::kernel.switched_rules();
    device::put(stored);
    return Lines{std::to_string(result), switched + rules};
  });
  EXPECT_EQ(reply.status, 0) << "doing it again went wrong";
  if (reply.lines.size() == 2) {
    aftermath.result = std::stoi(reply.lines[0]);
    aftermath.switched_on = reply.lines[1];
  }
  aftermath.files = device::files();
}

void start_device(Aftermath& aftermath) {
  start_until_saved();
  const Reply reply = apart([] {
    device::plug_in();
    const std::string transcript = start();
    const std::string rules = device::kernel.rules_of("iptables");
    const std::string rules6 = device::kernel.rules_of("ip6tables");
    static_cast<void>(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }));
    return Lines{transcript + rules, rules6, device::kernel.text()};
  });
  EXPECT_EQ(reply.status, 0) << "the next start went wrong";
  if (reply.lines.size() == 3) {
    aftermath.started = reply.lines[0];
    aftermath.rules6 = reply.lines[1];
    aftermath.all_restored = reply.lines[2];
  }
}

}  // namespace

Account play(const Scenario& scenario, const Start& start, const Mishap& mishap) {
  device::put(start.files);
  const Reply reply = apart([&] {
    device::kernel.load(start.kernel);
    device::plug_in();
    if (scenario.loads) {
      device::load_stored();
    }
    int32_t result = 99;
    world.mishap = mishap;
    const std::string transcript = record([&] { result = scenario.act(); });
    world.mishap = {};
    std::string kinds;
    for (const Kind kind : operations()) {
      kinds += static_cast<char>(kind);
    }
    return Lines{
        std::to_string(result), transcript, kinds, met(), std::to_string(open_descriptors()),
        device::kernel.text()};
  });
  const Lines& told = reply.lines;
  if (told.size() != 6) {
    Account account;
    account.status = reply.status;
    return account;
  }
  Account account = {reply.status, std::stoi(told[0]), told[1], {},
                     told[3],      std::stoi(told[4]), told[5]};
  for (const char kind : told[2]) {
    account.operations.push_back(static_cast<Kind>(kind));
  }
  return account;
}

Aftermath aftermath_of(const Scenario& scenario, const std::string& kernel_left) {
  Aftermath aftermath;
  if (scenario.repeatable) {
    do_again(scenario, kernel_left, aftermath);
  }
  start_device(aftermath);
  return aftermath;
}

std::string start() {
  return record([] {
    EXPECT_EQ(gl3_web_init_fw(), 0);
    EXPECT_EQ(gl3_web_init_vpn_pass_through(), 0);
  });
}

void start_until_saved() {
  device::Files stored = device::files();
  stored.erase("v1_to_v2.flag");
  device::put(stored);
  // The first start writes one of them, the second the other.
  for (int starts = 0; starts < 2; ++starts) {
    stored = device::files();
    if (stored.count(device::save) == 1 && stored.count(device::save6) == 1) {
      return;
    }
    const Reply reply = apart([] {
      device::plug_in();
      start();
      return Lines{};
    });
    EXPECT_EQ(reply.status, 0) << "a start went wrong";
  }
}

device::Files settings_of(device::Files files) {
  files.erase(device::save);
  files.erase(device::save6);
  return files;
}

}  // namespace scenarios
