/* l3ctl explain: which setting decides about a packet, and what happens to it. */
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "l3ctl/commands.hpp"
#include "l3ctl/input/packet_options.hpp"
#include "l3ctl/input/read_input.hpp"
#include "l3ctl/input/settings_file.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/problem_report.hpp"
#include "management/change/apply.hpp"
#include "management/rules/live_bindings.hpp"
#include "management/store/stored_check.hpp"
#include "management/store/stored_settings.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/system/escape.hpp"
#include "management/system/platform_info.hpp"
#include "management/system/redirect_output.hpp"
#include "settings/simulation/verdict.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;
using settings::Outcome;
using settings::Settings;
using settings::Verdict;
using Notes = std::vector<std::string>;

constexpr size_t largest_batch = 1 << 26;

struct Question {
  Json packet = Json::object();
  std::string settings; /* a file */
  std::string batch;    /* a file */
};

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

const char* outcome_word(Outcome outcome) {
  switch (outcome) {
    case Outcome::accepted:
      return "accepted";
    case Outcome::dropped:
      return "dropped";
    default:
      return "accepted at first";
  }
}

Paint paint_of(Outcome outcome) {
  return outcome == Outcome::accepted  ? Paint::good
         : outcome == Outcome::dropped ? Paint::bad
                                       : Paint::warning;
}

Json as_json(const Verdict& verdict) {
  Json passed = Json::array();
  for (const settings::Step& step : verdict.passed) {
    passed.push_back({{"setting", step.setting}, {"what", step.what}});
  }
  return {{"outcome", outcome_word(verdict.outcome)},
          {"decided_by", verdict.decided_by.empty() ? Json() : Json(verdict.decided_by)},
          {"reason", verdict.reason},
          {"passed", passed}};
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

/* A device filter without a device to judge. */
void note_missing_mac(const settings::Packet& packet, const Verdict& verdict, Notes& notes) {
  std::vector<settings::Step> met = verdict.passed;
  met.push_back({verdict.decided_by, verdict.reason});
  for (const settings::Step& step : met) {
    const std::string section = step.setting.substr(0, step.setting.find('.'));
    const bool is_of_devices =
        section == "mac_filter" || section == "mac6_filter" || section == "dhcp_filter";
    if (is_of_devices && !packet.mac && step.what.starts_with("not on the ")) {
      notes.emplace_back("no --mac is given, so " + section +
                         " is judged as for a device that is on no list");
    }
  }
}

/* What the settings' own check has to say of those that the packet passed: a rule that matches
 * nothing is the usual reason why one that should stop it does not. */
void add_warnings(const Verdict& verdict, const Settings& settings, Notes& notes) {
  const settings::Reading reading =
      settings::read(settings::write(settings), settings::Origin::stored,
                     settings.time_zone.value_or(settings::TimeZone()));
  for (const settings::Problem& warning : reading.warnings) {
    for (const settings::Step& step : verdict.passed) {
      if (!warning.locks_out && warning.path.starts_with(step.setting + ".")) {
        notes.push_back(to_text(warning));
      }
    }
  }
}

/* The verdict is about one query; the same name can be looked up in ways that the filter misses. */
void note_url_filter_limits(const settings::Packet& packet, const Settings& settings,
                            Notes& notes) {
  const bool has_ports =
      packet.protocol == settings::Protocol::udp || packet.protocol == settings::Protocol::tcp;
  const bool is_look_up =
      packet.from == settings::Side::lan && has_ports && packet.destination_port == 53;
  if (is_look_up && *settings.firewall && settings.url_filter->url_filter_ctrl != 0) {
    notes.emplace_back(url_filter_limits);
  }
}

void print(const Verdict& verdict, const Notes& notes) {
  std::cout << painted(paint_of(verdict.outcome), outcome_word(verdict.outcome)) << " by "
            << (verdict.decided_by.empty() ? "no setting" : verdict.decided_by) << ": "
            << escape(verdict.reason) << '\n';
  for (const settings::Step& step : verdict.passed) {
    std::cout << "  passed " << step.setting << ": " << escape(step.what) << '\n';
  }
  for (const std::string& note : notes) {
    std::cout << "  " << painted(Paint::warning, "note:") << " " << escape(note) << '\n';
  }
}

/* A gateway as packets meet it. */
struct Gateway {
  Settings settings;
  settings::Bindings bindings;
};

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
      answers += json_text(as_json(verdict_at(gateway, packet)), -1);
    } catch (const Error& failure) {
      throw Error(where + failure.what(), failure.kind());
    }
  }
  std::cout << answers;
}

int explain(const Context& context, const Question& question) {
  // The words are looked at first: a slip there is told at once.
  const bool is_batch = !question.batch.empty();
  Settings words;
  words.time_zone = time_zone_to_show();
  settings::Packet packet = is_batch
                                ? settings::Packet()
                                : packet_of(question.packet, Naming::options, span_offset(words));
  const Settings stored = stored_settings();
  Gateway gateway{question.settings.empty() ? stored : with_file(stored, question.settings), {}};
  if (!is_batch) {
    packet = packet_of(question.packet, Naming::options, span_offset(gateway.settings));
  }
  Notes notes;
  gateway.bindings = bindings_now(stored, gateway.settings, notes);
  if (is_batch) {
    explain_batch(gateway, question.batch);
    return exit_done;
  }
  const Verdict verdict = verdict_at(gateway, packet);
  note_missing_mac(packet, verdict, notes);
  add_warnings(verdict, gateway.settings, notes);
  note_url_filter_limits(packet, gateway.settings, notes);
  if (context.json) {
    Json answer = as_json(verdict);
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
  for (const auto& word : packet_options) {
    command
        ->add_option_function<std::string>(
            word.option,
            [question, key = word.key](const std::string& value) { question->packet[key] = value; },
            word.help)
        ->type_name(packet_choices(word.key))
        ->excludes(batch);
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
