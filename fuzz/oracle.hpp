/*
 * Invariants that hold for any input, beside what the sanitizers see.
 */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "l3_advance/records.h"

namespace fuzz {

/* Ends the program, with `rule` and what broke it, unless it holds. */
void check(bool holds, const char* rule, std::string_view detail = {});

/* A command line fits its buffer, calls one of the packet filter's programs (or is the one mkdir, or the
 * one mv, of a start), and means to the shell what it says: no character stands for more than
 * itself but in the texts that callers and the platform answer for. */
void check_command(std::string_view line);

/* The words of a line as the shell hands them on, for lines with one blank between words. */
std::vector<std::string> shell_words(std::string_view line);

/* How many entries of this size a record has room for from the first on, whatever the count says. */
template <typename Entry, typename Record, typename Region>
size_t entries_to_the_end(const Record& record, const Region& region) {
  const auto* first = reinterpret_cast<const char*>(region.entries);
  const auto* end = reinterpret_cast<const char*>(&record) + sizeof(Record);
  return static_cast<size_t>(end - first) / sizeof(Entry);
}

/* The longest series of commands that one address range makes: the rest of a /24, whole /24 blocks of a
 * /16, the beginning of a /24. */
inline constexpr size_t range_commands_24 = 87;
inline constexpr size_t range_commands = 3 * range_commands_24;

/* What a management call runs beside its entries: two flushes, two catch-alls, a save, and two more
 * flushes where a generator gives up. */
inline constexpr size_t frame_commands = 7;

/* The most that any call runs: start-up and switching on, every list as long as its record allows. */
size_t most_commands();

}  // namespace fuzz
