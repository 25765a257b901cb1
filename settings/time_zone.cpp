#include "settings/time_zone.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "settings/zone_name.hpp"

namespace settings {

namespace {

/* Where C libraries look for zone files. */
constexpr const char* folders[] = {"/usr/share/zoneinfo/", "/share/zoneinfo/", "/etc/zoneinfo/"};

constexpr size_t largest_zone_file = 1 << 16;
constexpr std::time_t day = 86400;

/* Nothing where there is no such file. */
std::optional<std::string> read_zone_file(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file == -1) {
    return std::nullopt;
  }
  struct stat status = {};
  std::string bytes;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
    bytes.resize(largest_zone_file);
    const ssize_t got = read(file, bytes.data(), bytes.size());
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
  }
  close(file);
  return bytes;
}

/* What TZ is set to for a zone; nothing where it is none, and then why. */
Parsed<std::string> tz_value(const std::string& zone) {
  for (const char* folder : folders) {
    const std::string path = folder + zone;
    const auto bytes = is_zone_name(zone) ? read_zone_file(path) : std::nullopt;
    if (bytes && is_zone_file(*bytes)) {
      return {":" + path, {}};
    }
    if (bytes) {
      return {{}, "a zone whose file is whole, and " + path + " is damaged"};
    }
  }
  if (zone == "UTC") {
    return {"UTC0", {}};
  }
  if (is_posix_zone(zone)) {
    return {zone, {}};
  }
  const bool has_files = access(folders[0], F_OK) == 0;
  return {{},
          std::string(has_files ? "a zone such as \"Europe/Berlin\" that has a file in "
                                  "/usr/share/zoneinfo, a POSIX string"
                                : "a POSIX string, since this machine has no zone files,") +
              " such as \"CET-1CEST,M3.5.0,M10.5.0/3\", or \"UTC\""};
}

void set_variable(const char* name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name, value->c_str(), 1);
  } else {
    unsetenv(name);
  }
}

std::optional<std::string> variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

/* Makes a zone that of the process while it lives. */
class ZoneInForce {
 public:
  explicit ZoneInForce(const std::string& tz) : tz_(variable("TZ")), folder_(variable("TZDIR")) {
    set_variable("TZ", tz);
    unsetenv("TZDIR");
    tzset();
  }
  ZoneInForce(const ZoneInForce&) = delete;
  ZoneInForce& operator=(const ZoneInForce&) = delete;
  ~ZoneInForce() {
    set_variable("TZ", tz_);
    set_variable("TZDIR", folder_);
    tzset();
  }

  /* Seconds ahead of UTC. */
  [[nodiscard]] static long offset(std::time_t moment) {
    std::tm local = {};
    localtime_r(&moment, &local);
    return local.tm_gmtoff;
  }

 private:
  std::optional<std::string> tz_;
  std::optional<std::string> folder_;
};

}  // namespace

bool same_zone(const TimeZone& a, const TimeZone& b) {
  return a.is_utc() ? b.is_utc() : a.name == b.name && a.offset_minutes == b.offset_minutes;
}

Parsed<int> offset_at(const std::string& zone, std::time_t moment) {
  const Parsed<std::string> tz = tz_value(zone);
  if (!tz.value) {
    return {{}, tz.allowed};
  }
  const long seconds = ZoneInForce(*tz.value).offset(moment);
  if (seconds % 60 != 0) {
    return {{}, "a zone whose clock is whole minutes from UTC"};
  }
  return {static_cast<int>(seconds / 60), {}};
}

Parsed<int> offset_now(const std::string& zone) {
  const std::time_t now = std::time(nullptr);
  return offset_at(zone, now < earliest_time ? earliest_time : now);
}

std::optional<OffsetChange> next_offset_change(const std::string& zone, std::time_t moment) {
  const Parsed<std::string> tz = tz_value(zone);
  if (!tz.value) {
    return std::nullopt;
  }
  const ZoneInForce in_force(*tz.value);
  const long before = ZoneInForce::offset(moment);
  std::time_t last = moment;
  std::time_t first = moment + day;
  while (ZoneInForce::offset(first) == before) {
    if (first - moment > 400 * day) {
      return std::nullopt;
    }
    last = first;
    first += day;
  }
  while (first - last > 1) {
    const std::time_t middle = last + (first - last) / 2;
    (ZoneInForce::offset(middle) == before ? last : first) = middle;
  }
  return OffsetChange{first, static_cast<int>(ZoneInForce::offset(first) / 60)};
}

std::string offset_text(int offset_minutes) {
  const int size = offset_minutes < 0 ? -offset_minutes : offset_minutes;
  char text[32];
  std::snprintf(text, sizeof text, "%c%02d:%02d", offset_minutes < 0 ? '-' : '+', size / 60,
                size % 60);
  return text;
}

}  // namespace settings
