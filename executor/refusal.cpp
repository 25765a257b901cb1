#include "executor/refusal.hpp"

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

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

/* Behind "line", perhaps with a colon, as all tools write it; 0 where there is none. */
std::size_t named_line(const std::string& message) {
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

/* Some tools end their first line behind their own name: what they say follows on the next. */
std::string joined(std::string message) {
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

/* Runs in the scratch namespace. */
bool copy_takes(Edits edits, const std::string& rules) {
  return run({edits.front().table.tool + "-restore"}, rules).status == 0 &&
         restore(edits).status == 0;
}

/* The place of the first refused edit: the shortest beginning that is refused ends in it. */
std::optional<std::size_t> first_refused(Edits edits, const std::string& rules) {
  if (copy_takes(edits, rules)) {
    return std::nullopt;
  }
  std::size_t taken = 0;
  std::size_t refused = edits.size();
  while (refused - taken > 1) {
    const std::size_t middle = taken + (refused - taken) / 2;
    (copy_takes(edits.first(middle), rules) ? taken : refused) = middle;
  }
  return taken;
}

/* The child's work: the place and the message go to `report`. */
int search(Edits edits, const std::string& rules, int report) {
  if (unshare(CLONE_NEWNET) != 0 ||
      run({edits.front().table.tool + "-restore"}, rules).status != 0) {
    return 1;
  }
  const auto place = first_refused(edits, rules);
  if (!place) {
    return 1;
  }
  if (*place > 0 && !copy_takes(edits.first(*place), rules)) {
    return 1;
  }
  // By itself the edit makes its tool say why.
  const std::string text = std::to_string(*place) + '\n' + run(command(edits[*place])).errors;
  return write(report, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1;
}

/* Whether the child has ended, and well. */
bool ended_well(pid_t child) {
  int status = -1;
  pid_t waited = 0;
  do {
    waited = waitpid(child, &status, 0);
  } while (waited == -1 && errno == EINTR);
  return waited == child && status == 0;
}

Refusal searched(Edits edits, const std::string& message) {
  const Table& table = edits.front().table;
  const std::string rules = run({table.tool + "-save", "-t", table.name}).output;
  const int report = memfd_create("refusal", MFD_CLOEXEC);
  const pid_t child = report == -1 ? -1 : fork();
  if (child == 0) {
    _exit(search(edits, rules, report));
  }
  const std::string found = child != -1 && ended_well(child) ? content(report) : "";
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
    text += restore_line(edit) + '\n';
  }
  return text + "COMMIT\n";
}

Ended restore(Edits edits) {
  // Waits for other users of the packet filter: here a whole change would fail for them.
  return run({edits.front().table.tool + "-restore", "--noflush", "-w", "5"}, restore_input(edits));
}

FailedLine named(Edits edits, const Ended& ended) {
  const std::string tool = edits.front().table.tool + "-restore --noflush";
  if (WIFSIGNALED(ended.status)) {
    return {tool, ended.status, ended.errors};
  }
  Refusal found = {.edit = std::nullopt, .message = joined(ended.errors)};
  // The first edit stands on the second line.
  const std::size_t line = named_line(found.message);
  if (line >= 2 && line < edits.size() + 2) {
    found.edit = line - 2;
  } else {
    found = searched(edits, found.message);
  }
  return {found.edit ? edits[*found.edit].line : tool, ended.status, found.message};
}

}  // namespace executor
