/*
 * The last changes: what was stored before and after, when, who asked for it and how. One line of JSON each, so that a
 * change adds its own without reading the others. The file is replaced atomically by whoever holds the lock of
 * changing commands. It is dropped before a change is: no failure here fails a change.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "management/options.hpp"
#include "settings/settings.hpp"

namespace management {

/* Why and when a change that was not confirmed was rolled back. */
struct Rollback {
  std::string id; /* of the change */
  std::string time;
  std::string why;
};

struct HistoryEntry {
  std::string id;
  std::string time; /* such as "2026-11-22T08:15:00Z" */
  std::string who;
  std::string origin;
  std::string command;
  settings::Settings before; /* of the sections that it changed */
  settings::Settings after;
  std::optional<Rollback> rolled_back;
};

/* 16 random hexadecimal digits. */
std::string new_change_id();
bool is_change_id(const std::string& text);

/* The newest first. A line that is damaged is left out, with a notice. */
std::vector<HistoryEntry> read_history();

/* Adds a change; one without effect is not added. */
void add_to_history(const Options& options, const std::string& id, const settings::Settings& before,
                    const settings::Settings& after);

/* Notes that a change was rolled back. */
void add_rollback_to_history(const std::string& id, const std::string& why);

/* The rollback that nothing has followed. */
std::optional<Rollback> last_rollback();

/* Drops the history where a change could lack the room that it takes. */
void make_room_for_change();

}  // namespace management
