/*
 * Time spans follow the clock of their zone: when its offset from UTC changes, all of them are shifted at once. The
 * configuration file is replaced as a whole and the zone file names what it becomes, so a shift that ends anywhere is
 * either done or not begun, and the next one completes it.
 */
#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "management/change/change.hpp"
#include "settings/time_zone.hpp"

namespace management {

struct ClockState {
  settings::TimeZone zone; /* of the stored spans; UTC where none is set */
  std::time_t now = 0;
  bool is_set = true;            /* false for a clock that was never set */
  std::optional<int> offset_now; /* of the zone; nothing where that cannot be known */
  std::string problem;           /* why not */
  std::optional<settings::OffsetChange> next;
  bool is_begun = false; /* a shift ended before all was done */

  /* Whether spans wait for being shifted. */
  [[nodiscard]] bool is_due() const {
    return !zone.is_utc() && offset_now && (is_begun || *offset_now != zone.offset_minutes);
  }
};

/* Throws where the zone file is damaged. */
ClockState clock_state();

/* Shifts the spans by the offset that the zone has now, or completes a shift that was begun. The change rolls itself back
 * where a rule is refused. Nothing for spans that need no shift. */
std::optional<ChangeResult> shift_spans(const Options& options);

}  // namespace management
