/*
 * Operations of the management calls on the region of a filter in a record.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace l3 {

/* Whether a caller's image equals the stored region: the count word, then every byte. */
template <typename Region>
[[nodiscard]] bool same_region(const Region& stored, const Region& image) {
  return stored.count == image.count && memcmp(&stored, &image, sizeof(Region)) == 0;
}

template <typename Region>
void replace_region(Region& stored, const Region& image) {
  memcpy(&stored, &image, sizeof(Region));
}

template <typename Region>
void clear_region(Region& stored) {
  memset(&stored, 0, sizeof(Region));
}

/* Empties the list; list mode and switch stay. */
template <typename Region>
void clear_entries(Region& stored) {
  stored.count = 0;
  memset(stored.entries, 0, sizeof(stored.entries));
}

/*
 * Walks the first `count` entries of a region, in order. A count above the capacity continues into
 * the bytes behind the entries, but never past the end of the record; for zero and negative counts
 * there are no entries. The count is read again before each entry.
 *
 *     for (EntryWalk walk(fw_rules_table, fw_rules_table.mac_filter); walk.next(entry);) …
 */
class EntryWalk {
 public:
  template <typename Record, typename Region>
  EntryWalk(const Record& record, const Region& region)
      : next_(reinterpret_cast<const std::byte*>(&record) + offset_in(record, region.entries)),
        end_(reinterpret_cast<const std::byte*>(&record) + sizeof(Record)),
        count_(&region.count) {}

  /* Copies the next entry; false at the end. */
  template <typename Entry>
  [[nodiscard]] bool next(Entry& entry) {
    if (taken_ >= *count_ || end_ - next_ < static_cast<ptrdiff_t>(sizeof(Entry))) {
      return false;
    }
    memcpy(&entry, next_, sizeof(Entry));
    next_ += sizeof(Entry);
    ++taken_;
    return true;
  }

 private:
  template <typename Record, typename Member>
  static ptrdiff_t offset_in(const Record& record, const Member& member) {
    return reinterpret_cast<const std::byte*>(&member) -
           reinterpret_cast<const std::byte*>(&record);
  }

  const std::byte* next_;
  const std::byte* end_;
  const int32_t* count_;
  int32_t taken_ = 0;
};

}  // namespace l3
