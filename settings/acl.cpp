/* The section "acl". */
#include "settings/sections.hpp"

namespace settings {

namespace {

void read_entry(l3_acl_entry& entry, const Source& source) {
  Object object(source.node, source.path, source.problems);
  bool enabled = true;
  object.flag("enabled", enabled);
  entry.allocated = enabled ? 1 : 0;
  object.word("service", services, entry.app_type, Need::required);
  object.word("from", sides, entry.direction, Need::required);
  AddressRange range;
  object.text("sources", parse_address_range, range, Need::required);
  entry.src_ip0 = range.first;
  entry.src_ip1 = range.last;
  object.end();
}

Json write_entry(const l3_acl_entry& entry) {
  Json object;
  if (entry.allocated == 0) {
    object["enabled"] = false;
  }
  object["service"] = word_of(services, entry.app_type);
  object["from"] = entry.direction == 0 ? "lan" : "wan";
  object["sources"] = address_range_text({entry.src_ip0, entry.src_ip1});
  return object;
}

}  // namespace

void read_acl(const Source& source, Settings& settings) {
  Object object(source.node, source.path, source.problems);
  l3_acl acl{};
  bool enabled = false;
  object.flag("enabled", enabled, Need::required);
  acl.acl_filter_ctrl = enabled ? 1 : 0;
  read_entries(object, "entries", acl,
               [&](l3_acl_entry& entry, const Node& node, const std::string& path) {
                 read_entry(entry, {node, path, source.problems});
               });
  object.end();
  settings.acl = acl;
}

Json write_acl(const Settings& settings) {
  if (!settings.acl) {
    return nullptr;
  }
  Json object;
  object["enabled"] = settings.acl->acl_filter_ctrl != 0;
  object["entries"] = Json::array();
  for (const l3_acl_entry& entry : used_entries(*settings.acl)) {
    object["entries"].push_back(write_entry(entry));
  }
  return object;
}

}  // namespace settings
