#include "executor/refusal.hpp"

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <optional>

namespace executor {

namespace {

using Edits = std::span<const RuleEdit>;

struct Refusal {
  std::optional<std::size_t> edit; /* its place */
  std::string message;
};

/* The number behind the word "line", perhaps with a colon, as all tools write it; 0 if there is none. */
std::size_t line_number(const std::string& message) {
  constexpr std::string_view word = "line";
  for (std::size_t at = 0; (at = message.find(word, at)) != std::string::npos;) {
    at += word.size();
    std::size_t digits = message.find_first_not_of(": ", at);
    if (digits != std::string::npos && digits > at &&
        std::isdigit(static_cast<unsigned char>(message[digits])) != 0) {
      return std::strtoul(message.c_str() + digits, nullptr, 10);
    }
  }
  return 0;
}

/* Some tools end the first line behind their own name, and write the message on the next. */
std::string on_one_line(std::string message) {
  if (const std::size_t end = message.find(": \n"); end != std::string::npos) {
    message.erase(end + 2, 1);
  }
  return message;
}

std::vector<std::string> command(const RuleEdit& edit) {
  std::vector<std::string> words = {edit.table.tool, "-t", edit.table.name,
                                    std::string("-") + edit.operation, edit.chain};
  words.insert(words.end(), edit.rest.begin(), edit.rest.end());
  return words;
}

/* Whether all edits succeed on a copy of the rules. Runs in the network namespace of the search. */
bool succeeds_on_copy(Edits edits, const std::string& rules) {
  return run({edits.front().table.tool + "-restore"}, rules).status == 0 &&
         restore(edits).status == 0;
}

/* The place of the first refused edit: the shortest beginning that is refused ends in it. */
std::optional<std::size_t> first_refused(Edits edits, const std::string& rules) {
  if (succeeds_on_copy(edits, rules)) {
    return std::nullopt;
  }
  std::size_t taken = 0;
  std::size_t refused = edits.size();
  while (refused - taken > 1) {
    const std::size_t middle = taken + (refused - taken) / 2;
    (succeeds_on_copy(edits.first(middle), rules) ? taken : refused) = middle;
  }
  return taken;
}

/* Runs in the child process: writes the place and the message to `report`. */
int search(Edits edits, const std::string& rules, int report) {
  if (unshare(CLONE_NEWNET) != 0 ||
      run({edits.front().table.tool + "-restore"}, rules).status != 0) {
    return 1;
  }
  const auto place = first_refused(edits, rules);
  if (!place) {
    return 1;
  }
  if (*place > 0 && !succeeds_on_copy(edits.first(*place), rules)) {
    return 1;
  }
  // Alone the edit makes its tool say why.
  const std::string text = std::to_string(*place) + '\n' + run(command(edits[*place])).errors;
  return write_all(report, text) ? 0 : 1;
}

/* Its report says whether it succeeded; its status is lost where this process ignores SIGCHLD. */
void wait_for(pid_t child) {
  while (waitpid(child, nullptr, 0) == -1 && errno == EINTR) {
  }
}

Refusal search_in_copy(Edits edits, const std::string& message) {
  const Table& table = edits.front().table;
  const std::string rules = run({table.tool + "-save", "-t", table.name}).output;
  const int report = memfd_create("refusal", MFD_CLOEXEC);
  const pid_t child = report == -1 ? -1 : fork_child();
  if (child == 0) {
    _exit(search(edits, rules, report));
  }
  if (child != -1) {
    wait_for(child);
  }
  const std::string found = report != -1 ? read_all(report) : "";
  if (report != -1) {
    close(report);
  }
  const std::size_t end = found.find('\n');
  if (end == std::string::npos) {
    return {.edit = std::nullopt, .message = message};
  }
  const std::string reason = found.substr(end + 1);
  return {.edit = std::strtoul(found.c_str(), nullptr, 10),
          .message = reason.empty() ? message : reason};
}

}  // namespace

std::string restore_input(Edits edits) {
  std::string text = '*' + edits.front().table.name + '\n';
  for (const RuleEdit& edit : edits) {
    text += edit.counters + (edit.counters.empty() ? "" : " ") + restore_line(edit) + '\n';
  }
  return text + "COMMIT\n";
}

ProcessResult restore(Edits edits) {
  // Waits for other users of the packet filter: here a whole change would fail for them.
  std::vector<std::string> words = {edits.front().table.tool + "-restore", "--noflush", "-w", "5"};
  if (std::any_of(edits.begin(), edits.end(),
                  [](const RuleEdit& edit) { return !edit.counters.empty(); })) {
    words.emplace_back("--counters");
  }
  return run(words, restore_input(edits));
}

FailedLine refused_line(Edits edits, const ProcessResult& restored) {
  const std::string tool = edits.front().table.tool + "-restore --noflush";
  if (WIFSIGNALED(restored.status)) {
    return {tool, restored.status, restored.errors};
  }
  Refusal found = {.edit = std::nullopt, .message = on_one_line(restored.errors)};
  // The first edit stands on the second line.
  const std::size_t line = line_number(found.message);
  if (line >= 2 && line < edits.size() + 2) {
    found.edit = line - 2;
  } else {
    found = search_in_copy(edits, found.message);
  }
  return {found.edit ? edits[*found.edit].line : tool, restored.status, found.message};
}

}  // namespace executor
