#include "run.hpp"

#include "subprocess.hpp"

namespace scenarios {

using namespace harness;

namespace {

void do_again(const Scenario& scenario, const std::string& kernel_left, AfterRestart& after) {
  const Reply reply = in_subprocess([&] {
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
    after.result = std::stoi(reply.lines[0]);
    after.switched_on = reply.lines[1];
  }
  after.files = device::files();
}

void start_device(AfterRestart& after) {
  start_until_saved();
  const Reply reply = in_subprocess([] {
    device::plug_in();
    const std::string transcript = start();
    const std::string rules = device::kernel.rules_of("iptables");
    const std::string rules6 = device::kernel.rules_of("ip6tables");
    static_cast<void>(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }));
    return Lines{transcript + rules, rules6, device::kernel.text()};
  });
  EXPECT_EQ(reply.status, 0) << "the next start went wrong";
  if (reply.lines.size() == 3) {
    after.started = reply.lines[0];
    after.rules6 = reply.lines[1];
    after.all_restored = reply.lines[2];
  }
}

}  // namespace

Outcome play(const Scenario& scenario, const Start& start, const Fault& fault) {
  device::put(start.files);
  const Reply reply = in_subprocess([&] {
    device::kernel.load(start.kernel);
    device::plug_in();
    if (scenario.loads) {
      device::load_stored();
    }
    int32_t result = 99;
    world.fault = fault;
    const std::string transcript = record([&] { result = scenario.act(); });
    world.fault = {};
    std::string kinds;
    for (const Kind kind : operations()) {
      kinds += static_cast<char>(kind);
    }
    return Lines{
        std::to_string(result), transcript, kinds, met(), std::to_string(open_descriptors()),
        device::kernel.text()};
  });
  const Lines& fields = reply.lines;
  if (fields.size() != 6) {
    Outcome outcome;
    outcome.status = reply.status;
    return outcome;
  }
  Outcome outcome = {reply.status, std::stoi(fields[0]), fields[1], {},
                     fields[3],    std::stoi(fields[4]), fields[5]};
  for (const char kind : fields[2]) {
    outcome.operations.push_back(static_cast<Kind>(kind));
  }
  return outcome;
}

AfterRestart restart_after(const Scenario& scenario, const std::string& kernel_left) {
  AfterRestart after;
  if (scenario.repeatable) {
    do_again(scenario, kernel_left, after);
  }
  start_device(after);
  return after;
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
    const Reply reply = in_subprocess([] {
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
