/* l3ctl explain: which setting decides about a packet, and what happens to it. */
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "l3ctl/commands.hpp"
#include "l3ctl/commands/explain_device.hpp"
#include "l3ctl/commands/explain_notes.hpp"
#include "l3ctl/input/gateway_now.hpp"
#include "l3ctl/input/packet_options.hpp"
#include "l3ctl/input/read_input.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/verdict_words.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/system/escape.hpp"
#include "settings/simulation/verdict.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using settings::Verdict;

constexpr size_t largest_batch = 1 << 26;

struct Question {
  DeviceQuestion device;
  Json packet = Json::object();
  std::string settings; /* a file */
  std::string batch;    /* a file */
};

void print(const Verdict& verdict, const Notes& notes) {
  std::cout << verdict_line(verdict) << '\n';
  for (const settings::Step& step : verdict.passed) {
    std::cout << "  passed " << step.setting << ": " << escape(step.what) << '\n';
  }
  std::cout << notes_text(notes);
}

Verdict verdict_at(const Gateway& gateway, settings::Packet& packet) {
  packet.bindings = gateway.bindings;
  return settings::verdict_on(packet, gateway.settings);
}

/* One packet a line in, one verdict a line out; nothing out when any line is wrong. */
void explain_batch(const Gateway& gateway, const std::string& file) {
  std::istringstream lines(read_input(file, largest_batch));
  std::string answers;
  std::string line;
  for (size_t number = 1; std::getline(lines, line); ++number) {
    const std::string where = input_name(file) + ":" + std::to_string(number) + ": ";
    const Json words = Json::parse(line, nullptr, false);
    if (words.is_discarded()) {
      throw Error(where + "is no JSON", ErrorKind::invalid_input);
    }
    try {
      settings::Packet packet = packet_of(words, Naming::keys, span_offset(gateway.settings));
      answers += json_text(verdict_json(verdict_at(gateway, packet)), -1);
    } catch (const Error& failure) {
      throw Error(where + failure.what(), failure.kind());
    }
  }
  std::cout << answers;
}

int explain(const Context& context, const Question& question) {
  if (!question.device.device.empty()) {
    return explain_device(context, question.device, question.packet, question.settings);
  }
  // The words are looked at first: a slip there is told at once.
  const bool is_batch = !question.batch.empty();
  settings::Settings words;
  words.time_zone = time_zone_to_show();
  settings::Packet packet = is_batch
                                ? settings::Packet()
                                : packet_of(question.packet, Naming::options, span_offset(words));
  Notes notes;
  const Gateway gateway = gateway_now(question.settings, notes);
  if (!is_batch && !question.settings.empty()) {
    // The file may name another zone.
    packet = packet_of(question.packet, Naming::options, span_offset(gateway.settings));
  }
  if (is_batch) {
    explain_batch(gateway, question.batch);
    return exit_done;
  }
  const Verdict verdict = verdict_at(gateway, packet);
  add_notes(packet, verdict, gateway.settings, notes);
  if (context.json) {
    Json answer = verdict_json(verdict);
    answer["notes"] = notes;
    print_json(answer);
  } else {
    print(verdict, notes);
  }
  return exit_done;
}

constexpr struct {
  const char* option;
  const char* key;
  const char* help;
} packet_options[] = {
    {"--from", "from", "Needed: where it comes in, lan, wan (the Internet WAN) or other"},
    {"--to", "to", "Needed: where it goes, gateway, lan, wan or other"},
    {"--protocol", "protocol",
     "Needed without --dns-name: tcp, udp, icmp (ICMPv6 for IPv6 addresses) or other"},
    {"--source", "source", "Needed: its source address, IPv4 or IPv6"},
    {"--destination", "destination", "Needed but to the gateway: its destination address"},
    {"--source-port", "source_port", "Its source port (tcp, udp)"},
    {"--destination-port", "destination_port", "Needed for tcp and udp: its destination port"},
    {"--tcp-flags", "tcp_flags", "Flags such as SYN or PSH+ACK; SYN unless said"},
    {"--mac", "mac", "The sender's hardware address"},
    {"--dns-name", "dns_name", "The name that a DNS query asks for; implies udp to port 53"},
    {"--time", "time",
     "HH:MM or HH:MM:SS in the time_zone of the settings, or UTC; now unless said"},
};

}  // namespace

void add_explain_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "explain", "Say which setting decides about a packet, and what happens to it");
  auto question = std::make_shared<Question>();
  auto* batch = command->add_option(
      "--batch", question->batch,
      "Packets as JSON, one a line, with keys as the options; - is standard input");
  auto* device = command
                     ->add_option("DEVICE", question->device.device,
                                  "A device by name, hardware address or address: its whole day, "
                                  "or its way to HOST")
                     ->excludes(batch);
  command->add_option("HOST", question->device.target,
                      "HOST[:PORT], a name or an address; port 443 unless said");
  for (const auto& word : packet_options) {
    auto* option = command
                       ->add_option_function<std::string>(
                           word.option,
                           [question, key = word.key](const std::string& value) {
                             question->packet[key] = value;
                           },
                           word.help)
                       ->type_name(packet_choices(word.key))
                       ->excludes(batch);
    if (is_said_by_device(word.key)) {
      option->excludes(device);
    }
  }
  command
      ->add_flag_callback(
          "--established", [question] { question->packet["established"] = true; },
          "Belongs to a connection that the gateway has seen open")
      ->excludes(batch);
  command->add_option("--settings", question->settings,
                      "Explain what is stored as if this file were applied; - is standard input");
  command->callback([&context, question] {
    context.action = [&context, question] { return explain(context, *question); };
  });
}

}  // namespace l3ctl
