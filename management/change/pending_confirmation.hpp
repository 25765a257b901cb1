/*
 * A confirmed commit (RFC 6241) whose confirmation is pending. The file lies beside the settings, so that it
 * outlives a power cut as they do. It is replaced atomically, so reading needs no lock; writers hold the lock of
 * changing commands.
 */
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "executor/rule_edit.hpp"
#include "management/rules/own_jumps.hpp"
#include "settings/settings.hpp"

namespace management {

/* A table of the packet filter whose rules a change made without storing them. */
struct KeptTable {
  executor::Table table;
  std::string before; /* as a save tool wrote it */
  std::string after;  /* empty while the change is at work */
};

struct Pending {
  std::string id;       /* of the change */
  std::string boot;     /* from this_boot() */
  pid_t timer = 0;      /* the process that rolls back; trusted only after verification */
  int seconds = 0;      /* time for the confirmation */
  int64_t deadline = 0; /* on the clock of running_time() */
  settings::Settings old_settings;    /* of the sections that the apply changes */
  JumpSnapshot jumps;                 /* how the own chains were hooked in */
  std::vector<KeptTable> tables = {}; /* of a change that stores nothing */
};

/* Nothing where no confirmation is pending. A damaged file is an error that says what to do. */
std::optional<Pending> read_pending();

/* Durably. */
void write_pending(const Pending& pending);

/* Durably too, and what is stored goes to the disk before it. */
void remove_pending();

/* An error while a confirmation is pending. */
void refuse_while_pending();

/* Whether the rollback is due: the deadline has passed, or the machine has restarted. */
bool is_overdue(const Pending& pending);

/* Tells one start of the machine from every other. */
std::string this_boot();

/* Milliseconds since the machine started, time in standby included. No step of the clock changes it. */
int64_t running_time();

}  // namespace management
