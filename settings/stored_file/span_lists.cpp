#include "settings/stored_file/span_lists.hpp"

#include <algorithm>
#include <cstdint>

#include "settings/local_span.hpp"
#include "settings/stored_file/layout.hpp"

namespace settings {

namespace {

bool is_hour_or_minute(const Member& member) {
  return member.kind == FieldKind::hour_or_minute;
}

/* The first of the four bytes of a span; start hour, stop hour, start minute and stop minute follow each other. */
const Member* span_member(const StoredSection& section) {
  const auto member = std::find_if(section.entry.begin(), section.entry.end(), is_hour_or_minute);
  return section.setting == nullptr || member == section.entry.end() ? nullptr : &*member;
}

}  // namespace

bool has_spans(std::string_view section) {
  const auto all = stored_sections();
  return std::any_of(all.begin(), all.end(), [&](const StoredSection& one) {
    return span_member(one) != nullptr && section == one.setting;
  });
}

std::string span_lists_of(std::string_view image) {
  std::string bytes;
  for (const StoredSection& section : stored_sections()) {
    if (span_member(section) != nullptr) {
      bytes +=
          image.substr(section.offset, section.entry_offset(section.capacity) - section.offset);
    }
  }
  return bytes;
}

std::string with_shifted_spans(std::string image, int old_offset, int new_offset) {
  if (old_offset == new_offset) {
    return image;
  }
  for (const StoredSection& section : stored_sections()) {
    const Member* member = span_member(section);
    const size_t used = member == nullptr ? 0 : used_entries(section, image);
    for (size_t i = 0; i < used; ++i) {
      char* bytes = image.data() + section.entry_offset(i) + member->offset;
      const auto byte = [&](size_t at) { return static_cast<uint8_t>(bytes[at]); };
      const TimeSpan span =
          with_offset({byte(0), byte(2), byte(1), byte(3)}, old_offset, new_offset);
      bytes[0] = static_cast<char>(span.start_hour);
      bytes[1] = static_cast<char>(span.stop_hour);
      bytes[2] = static_cast<char>(span.start_minute);
      bytes[3] = static_cast<char>(span.stop_minute);
    }
  }
  return image;
}

}  // namespace settings
