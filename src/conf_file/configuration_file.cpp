/*
 * The configuration file: two text lines, then the three records byte for byte.
 *
 * To add a section, append it behind the last one: every offset is counted from the texts and
 * records before it, and files in the field have no version.
 */
#include "l3_advance/configuration_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "conf_file/transfer.hpp"
#include "firewall/base/file.hpp"
#include "l3_advance/records.h"

namespace {

using l3::FileAccess;
using l3::FileCaller;

constexpr char file_path[] = "/ztcfg/l3_advance.dat";

constexpr char vpn_pass_through[] = "vpn_pass_through=";
constexpr char fire_wall[] = "fire_wall=";
constexpr char l3_true[] = "1\n";
constexpr char l3_false[] = "0\n";

template <size_t size>
constexpr size_t length(const char (&)[size]) {
  return size - 1;
}

constexpr size_t value_length = length(l3_true);
constexpr size_t vpn_value_offset = length(vpn_pass_through);
constexpr size_t fire_wall_offset = vpn_value_offset + value_length;
constexpr size_t fire_wall_value_offset = fire_wall_offset + length(fire_wall);
constexpr size_t fw_offset = fire_wall_value_offset + value_length;
constexpr size_t qos_offset = fw_offset + sizeof(fw_rules_table);
constexpr size_t fw6_offset = qos_offset + sizeof(RtQoSRulesTable);
static_assert(fw_offset == 31 && qos_offset == 6199 && fw6_offset == 6447);
static_assert(fw6_offset + sizeof(fw6_rules_table) == 15019);

/* Creates a missing file. */
int32_t check_file(const char* caller) {
  if (l3::is_missing(file_path) && init_cfgfile() == -1) {
    printf("%s::init_cfgfile err!\n", caller);
    return -1;
  }
  return 0;
}

bool write_text(int fd, const char* text) {
  return write(fd, text, strlen(text)) != -1;
}

template <typename Record>
void zero(Record& record) {
  memset(&record, 0, sizeof(record));
}

/* Moves from the end of fw_rules_table to the start of fw6_rules_table. */
int32_t skip_qos(FileCaller caller, int fd) {
  if (lseek(fd, sizeof(RtQoSRulesTable), SEEK_CUR) == -1) {
    printf("%s::lseek %s error!\n", caller.function, caller.path);
    return -1;  // Kept: the descriptor stays open, as after every failed seek.
  }
  return 0;
}

// Kept: the switch calls report no failure, their callers do, and leave the descriptor open after
// one.

int32_t read_state(const char* caller, size_t offset, uint8_t* xo_control) {
  if (xo_control == nullptr) {
    printf("%s::xo_control NULLP err\r\n", caller);
    return -1;
  }
  if (check_file(caller) == -1) {
    return -1;
  }
  char value[value_length] = {};
  const int fd = open(file_path, O_RDONLY);
  if (fd == -1 || lseek(fd, static_cast<off_t>(offset), SEEK_SET) == -1 ||
      read(fd, value, sizeof(value)) == -1) {
    return -1;
  }
  close(fd);
  *xo_control = memcmp(value, l3_true, sizeof(value)) == 0 ? 1 : 0;
  return 0;
}

struct StateLine {
  size_t offset;
  const char* key;
};

int32_t write_state(const char* caller, StateLine line, uint32_t xi_control) {
  const uint32_t low_byte = xi_control & 0xff;
  if (low_byte > 1) {
    printf("%s::xi_control =%d err\n", caller, low_byte);
    return -1;
  }
  const int fd = l3::open_for_writing(file_path);
  if (fd == -1 || lseek(fd, static_cast<off_t>(line.offset), SEEK_SET) == -1 ||
      !write_text(fd, line.key) || !write_text(fd, low_byte == 1 ? l3_true : l3_false)) {
    return -1;
  }
  close(fd);
  return 0;
}

}  // namespace

extern "C" {

int32_t init_cfgfile(void) {
  const FileCaller caller = {__func__, file_path};
  const int fd = l3::open_for_writing(file_path);
  if (fd == -1) {
    return -1;
  }
  if (!write_text(fd, vpn_pass_through) || !write_text(fd, l3_false) ||
      !write_text(fd, fire_wall) || !write_text(fd, l3_false)) {
    return -1;  // Kept: reported by check_file() alone; the descriptor stays open.
  }

  zero(fw_rules_table);
  fw_rules_table.ipsec_pass_ctrl = 1;
  if (l3::write_all(caller, fd, &fw_rules_table, sizeof(fw_rules_table)) == -1) {
    return -1;
  }
  zero(RtQoSRulesTable);
  if (l3::write_all(caller, fd, &RtQoSRulesTable, sizeof(RtQoSRulesTable)) == -1) {
    return -1;
  }
  zero(fw6_rules_table);
  fw6_rules_table.ipsec_pass_ctrl = 1;
  if (l3::write_all(caller, fd, &fw6_rules_table, sizeof(fw6_rules_table)) == -1) {
    return -1;
  }
  close(fd);
  return 0;
}

int32_t get_vpn_pass_through_state_from_cfgfile(uint8_t* xo_control) {
  return read_state(__func__, vpn_value_offset, xo_control);
}

int32_t set_vpn_pass_through_state_to_cfgfile(uint32_t xi_control) {
  return write_state(__func__, {0, vpn_pass_through}, xi_control);
}

int32_t get_firewall_state_from_cfgfile(uint8_t* xo_control) {
  return read_state(__func__, fire_wall_value_offset, xo_control);
}

int32_t set_firewall_state_to_cfgfile(uint32_t xi_control) {
  return write_state(__func__, {fire_wall_offset, fire_wall}, xi_control);
}

int32_t get_firewall_rules_from_cfgfile(void) {
  const FileCaller caller = {__func__, file_path};
  if (check_file(__func__) == -1) {
    return -1;
  }
  const int fd = l3::open_at(caller, FileAccess::read, fw_offset);
  if (fd == -1) {
    return -1;
  }
  zero(fw_rules_table);
  if (l3::read_all(caller, fd, &fw_rules_table, sizeof(fw_rules_table)) == -1 ||
      skip_qos(caller, fd) == -1) {
    return -1;
  }
  zero(fw6_rules_table);
  if (l3::read_all(caller, fd, &fw6_rules_table, sizeof(fw6_rules_table)) == -1) {
    return -1;
  }
  close(fd);
  return 0;
}

int32_t set_firewall_rules_to_cfgfile(void) {
  const FileCaller caller = {__func__, file_path};
  if (check_file(__func__) == -1) {
    return -1;
  }
  const int fd = l3::open_at(caller, FileAccess::write, fw_offset);
  if (fd == -1 || l3::write_all(caller, fd, &fw_rules_table, sizeof(fw_rules_table)) == -1 ||
      skip_qos(caller, fd) == -1 ||
      l3::write_all(caller, fd, &fw6_rules_table, sizeof(fw6_rules_table)) == -1) {
    return -1;
  }
  close(fd);
  return 0;
}

int32_t get_firewall4_rules_from_cfgfile(void) {
  if (check_file(__func__) == -1) {
    return -1;
  }
  zero(fw_rules_table);
  return l3::read_record({__func__, file_path}, fw_offset, &fw_rules_table, sizeof(fw_rules_table));
}

int32_t set_firewall4_rules_to_cfgfile(void) {
  if (check_file(__func__) == -1) {
    return -1;
  }
  return l3::write_record({__func__, file_path}, fw_offset, &fw_rules_table,
                          sizeof(fw_rules_table));
}

int32_t get_firewall6_rules_from_cfgfile(void) {
  if (check_file(__func__) == -1) {
    return -1;
  }
  zero(fw6_rules_table);
  return l3::read_record({__func__, file_path}, fw6_offset, &fw6_rules_table,
                         sizeof(fw6_rules_table));
}

int32_t set_firewall6_rules_to_cfgfile(void) {
  if (check_file(__func__) == -1) {
    return -1;
  }
  return l3::write_record({__func__, file_path}, fw6_offset, &fw6_rules_table,
                          sizeof(fw6_rules_table));
}

int32_t get_qos_cfg_from_cfgfile(void) {
  zero(RtQoSRulesTable);
  if (check_file(__func__) == -1) {
    return -1;
  }
  return l3::read_record({__func__, file_path}, qos_offset, &RtQoSRulesTable,
                         sizeof(RtQoSRulesTable));
}

int32_t set_qos_cfg_to_cfgfile(void) {
  if (check_file(__func__) == -1) {
    return -1;
  }
  return l3::write_record({__func__, file_path}, qos_offset, &RtQoSRulesTable,
                          sizeof(RtQoSRulesTable));
}

}  // extern "C"
