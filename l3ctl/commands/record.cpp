/* l3ctl record: the record files that the library keeps for other programs of the device. */
#include <cstring>
#include <iostream>
#include <memory>

#include "l3_advance/record_file.h"
#include "l3ctl/commands.hpp"
#include "l3ctl/input/read_input.hpp"
#include "l3ctl/views/change_report.hpp"
#include "management/change/change.hpp"
#include "settings/values.hpp"

namespace l3ctl {

namespace {

constexpr char timeout_path[] = "/ztcfg/ct_activity_timeout.conf";
constexpr size_t wan_record_size = 1872;

struct WanRecord {
  std::string path; /* where the record lies */
  std::string file; /* where new bytes come from */
};

int read_wan(const Context& context, const WanRecord& record) {
  // Reading creates a missing file, so it is a change like any other.
  Change change(context);
  change.add_file(record.path);
  uint8_t bytes[wan_record_size] = {};
  if (!change.call(record.path, [&] {
        return get_std_wan_service_info_from_cfgfile(bytes, record.path.c_str());
      })) {
    return report(context, change, "");
  }
  if (context.json) {
    std::cout << "{\n  \"record\": \"" << settings::hex_text(bytes) << "\"\n}\n";
  } else {
    std::cout.write(reinterpret_cast<const char*>(bytes), sizeof bytes);
  }
  return exit_done;
}

int write_wan(const Context& context, const WanRecord& record) {
  const std::string bytes = read_input(record.file, wan_record_size);
  if (bytes.size() != wan_record_size) {
    throw Error(input_name(record.file) + ": a WAN service record is " +
                    std::to_string(wan_record_size) + " bytes; nothing was changed",
                ErrorKind::invalid_input);
  }
  Change change(context);
  change.add_file(record.path);
  change.call(record.path, [&] {
    return set_std_wan_service_info_to_cfgfile(bytes.data(), record.path.c_str());
  });
  return report(context, change, "record: written to " + record.path);
}

int read_timeout(const Context& context) {
  Change change(context);
  change.add_file(timeout_path);
  char text[16] = {};
  if (!change.call(timeout_path,
                   [&] { return read_info_from_file(text, timeout_path, sizeof text - 1); })) {
    return report(context, change, "");
  }
  const std::string digits(text, strnlen(text, sizeof text));
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
    throw Error(std::string(timeout_path) + " holds no number");
  }
  std::cout << (context.json ? "{\n  \"ct_timeout\": " + digits + "\n}\n" : digits + "\n");
  return exit_done;
}

int write_timeout(const Context& context, int seconds) {
  Change change(context);
  change.add_file(timeout_path);
  const std::string digits = std::to_string(seconds);
  // With the zero behind the digits; a longer number before leaves its tail behind that.
  change.call(timeout_path, [&] {
    return write_info_to_file(digits.c_str(), timeout_path,
                              static_cast<uint32_t>(digits.size() + 1));
  });
  return report(context, change, "record: time-out of idle connections is " + digits + " s");
}

void add_read(CLI::App& command, Context& context) {
  CLI::App* read = command.add_subcommand("read", "Show a record; a missing one is created");
  read->require_subcommand(1);
  auto record = std::make_shared<WanRecord>();
  CLI::App* wan = read->add_subcommand("wan-service", "WAN service record, 1872 bytes as they are");
  wan->add_option("PATH", record->path, "Where the record lies")->required();
  wan->callback([&context, record] {
    context.action = [&context, record] { return read_wan(context, *record); };
  });
  read->add_subcommand("ct-timeout", "Time-out of idle connections in seconds")
      ->callback([&context] { context.action = [&context] { return read_timeout(context); }; });
}

void add_write(CLI::App& command, Context& context) {
  CLI::App* write = command.add_subcommand("write", "Replace a record");
  write->require_subcommand(1);
  auto record = std::make_shared<WanRecord>();
  CLI::App* wan = write->add_subcommand("wan-service", "WAN service record");
  wan->add_option("PATH", record->path, "Where the record lies")->required();
  wan->add_option("FILE", record->file, "Its 1872 new bytes; - is standard input")->required();
  wan->callback([&context, record] {
    context.action = [&context, record] { return write_wan(context, *record); };
  });
  auto seconds = std::make_shared<int>(0);
  CLI::App* timeout = write->add_subcommand("ct-timeout", "Time-out of idle connections");
  timeout->add_option("SECONDS", *seconds, "The new time-out")
      ->required()
      ->check(CLI::Range(1, 86400));
  timeout->callback([&context, seconds] {
    context.action = [&context, seconds] { return write_timeout(context, *seconds); };
  });
}

}  // namespace

void add_record_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand("record", "Record files of other programs of the device");
  command->require_subcommand(1);
  add_read(*command, context);
  add_write(*command, context);
}

}  // namespace l3ctl
