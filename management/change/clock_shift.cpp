#include "management/change/clock_shift.hpp"

#include <sys/stat.h>
#include <syslog.h>

#include <cstring>
#include <utility>

#include "l3_advance/l3_advance.h"
#include "management/change/confirmation_timer.hpp"
#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/store/sections.hpp"
#include "management/store/time_zone_file.hpp"
#include "management/system/atomic_file.hpp"
#include "settings/stored_file/layout.hpp"
#include "settings/stored_file/span_lists.hpp"

namespace management {

namespace {

using settings::TimeZone;

/* The chain of a list with spans, and what saves it. */
struct Chain {
  const char* section;
  const char* flush;
  int32_t (*save)();
};

constexpr Chain chains[] = {
    {"url_filter", "iptables -F forward_ext_url", save_fw},
    {"mac_filter", "iptables -F forward_ext_mac", save_fw},
    {"mac6_filter", "ip6tables -F forward_ext_mac", save_fw6},
};

std::string stored_image() {
  std::string image = read_up_to(configuration_path, settings::stored_size);
  if (image.size() != settings::stored_size) {
    throw Error(std::string(configuration_path) + " is too short to shift its time spans");
  }
  return image;
}

/* Generates the rules of a list from the record in memory. */
void make_rules(Change& change, const Chain& chain) {
  const SectionList& list = *section_named(chain.section).list;
  change.call(chain.section, [&] {
    return flush_fw_url(chain.flush) == 0 && list.generate() == 0 ? chain.save() : -1;
  });
}

/* Makes the rules of every list whose spans have moved; of all lists where an earlier shift may have left them. */
void make_changed_rules(Change& change, const settings::Settings& before, bool all) {
  const settings::Settings& now = change.stored();
  for (const Chain& chain : chains) {
    const Section& section = section_named(chain.section);
    const bool has_rules = *now.firewall && section.list->is_on(now);
    if (has_rules && (all || section.image(before) != section.image(now))) {
      make_rules(change, chain);
    }
  }
}

ChangeResult shift(Change& change, const ClockState& state) {
  const TimeZone old_zone = state.zone;
  const int offset = *state.offset_now;
  const settings::Settings before = change.stored();
  const std::string image =
      settings::with_shifted_spans(stored_image(), old_zone.offset_minutes, offset);
  struct stat status = {};
  const bool has_mode = stat(configuration_path, &status) == 0;
  write_zone_file({old_zone, BegunShift{offset, digest_of_lists(image)}});
  write_atomically(configuration_path, image, has_mode ? status.st_mode & 07777 : 0600);
  change.load();
  make_changed_rules(change, before, state.is_begun);
  if (change.make()) {
    write_zone_file({{old_zone.name, offset}, std::nullopt});
  }
  return change.finish();
}

void log_shift(const ClockState& state, bool is_done) {
  syslog(LOG_DAEMON | (is_done ? LOG_NOTICE : LOG_ERR), "l3ctl: time spans %s from UTC%s to UTC%s",
         is_done ? "shifted" : "could not be shifted",
         settings::offset_text(state.zone.offset_minutes).c_str(),
         settings::offset_text(*state.offset_now).c_str());
}

}  // namespace

ClockState clock_state() {
  ClockState state;
  state.now = std::time(nullptr);
  state.is_set = state.now >= settings::earliest_time;
  state.zone = stored_time_zone();
  if (state.zone.is_utc()) {
    return state;
  }
  const auto file = read_zone_file();
  state.is_begun = file && file->shift;
  if (!state.is_set) {
    state.problem = "the clock was never set";
    return state;
  }
  const auto offset = settings::offset_at(state.zone.name, state.now);
  state.offset_now = offset.value;
  if (!offset.value) {
    state.problem =
        "time_zone: \"" + state.zone.name + "\" is not known; it must be " + offset.allowed;
  } else {
    state.next = settings::next_offset_change(state.zone.name, state.now);
  }
  return state;
}

std::optional<ChangeResult> shift_spans(const Options& options) {
  if (!options.dry_run) {
    roll_back_if_overdue(options);
  }
  Change change(options, options.dry_run ? Lock::shared(options) : Lock(options), sound_state,
                OnFailure::rollback);
  ClockState state = clock_state();
  if (state.is_begun && !state.offset_now) {
    // Without a clock or a zone the offset stays; what an earlier shift left is completed all the same.
    state.offset_now = state.zone.offset_minutes;
  }
  if (!state.is_due()) {
    return std::nullopt;
  }
  const ChangeResult result = shift(change, state);
  if (!options.dry_run) {
    log_shift(state, result.is_done);
  }
  return result;
}

}  // namespace management
