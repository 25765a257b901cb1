/*
 * An apply that waits for its confirmation. The note lies beside what is stored, so that it outlives a
 * power cut as that does; it is replaced as a whole, so reading needs no lock, and changed under the lock
 * of changing commands.
 */
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "settings/settings.hpp"

namespace management {

struct Pending {
  std::string boot;                /* as this_boot() tells it */
  pid_t timer;                     /* the process that brings the old settings back */
  int seconds;                     /* how long it waits */
  int64_t deadline;                /* as running_time() tells it */
  settings::Settings old_settings; /* of the sections that the apply changes */
};

std::optional<Pending> read_pending();

/* Durably. */
void write_pending(const Pending& pending);

/* Durably too, and what is stored goes to the disk before it. */
void remove_pending();

/* Ends the program while an apply waits for its confirmation. */
void refuse_while_pending();

/* Tells one start of the machine from every other. */
std::string this_boot();

/* Milliseconds since the machine started; nobody sets this clock. */
int64_t running_time();

}  // namespace management
