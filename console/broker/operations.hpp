/* The fixed table of what the broker does as root for a server that has no rights: which l3ctl
 * command line, with which argument and which bounds. Everything else is refused. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace console {

/* The numbers are the wire's. */
enum class Operation : std::uint16_t {
  settings = 1,
  status,
  rules,
  health,
  plan,
  apply,
  apply_with_confirmation,
  confirm,
  revert,
  explain,
  backup,
  restore,
  metrics,
  devices,
  blocked,
  explain_device,
  explain_way,
  history,
  extend,
  revert_change,
  undo,
  undo_with_confirmation,
};

/* What may stand at a "@" of the command line. */
enum class Argument : std::uint8_t {
  seconds,
  device, /* a name, a hardware address or an address */
  host,   /* HOST[:PORT] */
  change, /* an id */
};

struct OperationRow {
  Operation operation;
  std::string_view name;
  std::vector<std::string_view> words;
  std::vector<Argument> arguments = {}; /* one for each "@" among the words */
  std::size_t largest_input = 0;        /* bytes of standard input */
  bool changes = false;                 /* something on the gateway; such a run is told who asks */
  bool answers_json = true;
  bool compares = false; /* with what was stored when the settings were read */
};

/* What the server sends. */
struct Call {
  Operation operation = Operation::status;
  std::string argument; /* words with one space between */
  std::string who;      /* for the history; only where the operation changes something */
  std::string input;
  std::string stored; /* as the operation "settings" answered it; empty where it may be anything */
};

std::span<const OperationRow> operations();
const OperationRow* find_operation(std::uint16_t number);

/* Where a run of l3ctl finds what was stored. */
inline constexpr int stored_fd = 3;
inline constexpr std::string_view stored_file = "/proc/self/fd/3";

/* Seconds that an operation which only reads may take before it is ended, unless said otherwise. */
inline constexpr int usual_seconds_of_a_read = 8;

/* The same for any operation. */
int seconds_for(const OperationRow& row, int seconds_of_a_read);

/* The words after "l3ctl", or nothing where the table does not allow the call. */
std::optional<std::vector<std::string>> command_line(const Call& call);

}  // namespace console
