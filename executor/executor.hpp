/*
 * What system() means in our own programs.
 *
 * The library hands every command line to system(), and the process that loads it decides what that
 * is. A program that links this object library brings its own, which works in one of several ways:
 *
 *   direct   the lines run as ever, and the failed ones are kept with what the tool said about
 *            them, since several library calls ignore a failed rule
 *   record   no line runs; every one is kept and succeeds, so that what is kept is what runs
 *            directly when every command succeeds
 *   transaction
 *            rule edits succeed at once and are made together by commit(), so that no packet and no
 *            sudden end ever meets half of them; transaction.hpp says what becomes of other lines
 *
 * work() forgets what a transaction holds, and nothing else: the tables as they were read, those that
 * are being read, which lines may fail, and the failed ones stay until the process ends.
 *
 * It must be linked as objects, not as an archive: from an archive nothing would ask for system(),
 * and the C library's would run silently. in_place() proves at start that this one is used.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "executor/failed_line.hpp"
#include "executor/table_change.hpp"

namespace executor {

enum class Way : std::uint8_t { direct, record, transaction };

/* How system() works from now on; directly at start. What a transaction held is forgotten. */
void work(Way way);

/* What a transaction does at a refusal; stop at start. What is held stays. */
void on_refusal(OnRefusal what);

/* Makes what the transaction holds. Returns false where it stopped at a refusal. One that goes on
 * returns true: failed_lines() alone says what was not made. In the other ways there is nothing to do. */
bool commit();

/* Directly too, a table is read from now on before the first line that may change it, as a
 * transaction always does: put_back() needs that. */
void remember_rules();

/* Starts to read the filter table of a tool, "iptables" or "ip6tables": whoever is going to edit it
 * gets ready meanwhile. As early as nobody else may edit it any more. */
void read_ahead(const std::string& tool);

/* How put_back() finds the rules of a command line among those that the kernel has. Both may be spelt
 * in several ways, so their normal forms are compared. */
void compare_rules_by(NormalForm normal_form);

/* Undoes what was done to the rules; other programs' rules stay as they are. Returns what could not be
 * undone, empty when all could. */
[[nodiscard]] std::string put_back();

/* The lines that were recorded, in order. */
[[nodiscard]] const std::vector<std::string>& recorded_lines();

/* Whether `run` (the library's runner of command lines) ends in this program's system(). Hands it a
 * line that is only looked for; the shell would take it for a comment. */
[[nodiscard]] bool in_place(std::int32_t (*run)(const char* command));

}  // namespace executor
