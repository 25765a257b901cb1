/* The member "time_zone". */
#include "settings/sections.hpp"

namespace settings {

void read_time_zone(const Source& source, const TimeZone& stored, Settings& settings) {
  const Node& node = source.node;
  const std::string name = node.kind == Node::Kind::text ? node.text : "";
  if (!stored.is_utc() && name == stored.name) {
    // The offset of the stored spans holds for new ones too, until all of them are shifted.
    settings.time_zone = stored;
    return;
  }
  const Parsed<int> offset = offset_now(name);
  if (!offset.value) {
    source.problems.refuse(node.line, source.path, not_allowed(node, offset.allowed));
    return;
  }
  settings.time_zone = TimeZone{name, *offset.value};
}

Json write_time_zone(const Settings& settings) {
  return settings.time_zone && !settings.time_zone->name.empty() ? Json(settings.time_zone->name)
                                                                 : Json();
}

}  // namespace settings
