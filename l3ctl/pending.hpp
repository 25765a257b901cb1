/*
 * An apply that waits for its confirmation. It lies in /run, where every l3ctl finds it and no restart of
 * the machine does; it is replaced as a whole, so reading needs no lock, and changed under the lock
 * of changing commands.
 */
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

#include "settings/settings.hpp"

namespace l3ctl {

inline constexpr char pending_path[] = "/run/l3ctl.pending";

struct Pending {
  pid_t timer;                     /* the process that brings the old settings back */
  int seconds;                     /* how long it waits */
  int64_t deadline;                /* as running_time() tells it */
  settings::Settings old_settings; /* of the sections that the apply changes */
};

std::optional<Pending> read_pending();
void write_pending(const Pending& pending);
void remove_pending();

/* Ends the program while an apply waits for its confirmation. */
void refuse_while_pending();

/* Milliseconds since the machine started; nobody sets this clock. */
int64_t running_time();

}  // namespace l3ctl
