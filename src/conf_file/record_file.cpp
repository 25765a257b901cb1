/*
 * Files that hold one binary record each, for other programs of the device.
 *
 * The two pairs of calls have different defaults, and only the reader of the standard WAN record
 * zeroes the buffer first.
 */
#include "l3_advance/record_file.h"

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "conf_file/transfer.hpp"
#include "firewall/base/file.hpp"

namespace {

using l3::FileCaller;

constexpr size_t std_wan_size = 1872;
constexpr char ct_activity_timeout_path[] = "/ztcfg/ct_activity_timeout.conf";
constexpr char ct_activity_timeout_default[] = "300";  // with its zero byte

int32_t check_std_wan_file(FileCaller caller) {
  if (l3::is_missing(caller.path) && init_std_wan_cfgfile(caller.path) == -1) {
    printf("%s::init_std_wan_cfgfile err!\n", caller.function);
    return -1;
  }
  return 0;
}

int32_t check_general_file(FileCaller caller) {
  if (l3::is_missing(caller.path) && init_cfg_file(caller.path) == -1) {
    printf("%s::init_cfg_file err!\n", caller.function);
    return -1;
  }
  return 0;
}

/* Writes the defaults to the start of a file, which is created where it is missing. */
int32_t write_defaults(FileCaller caller, const void* bytes, size_t size) {
  const int fd = l3::open_for_writing(caller.path);
  if (fd == -1 || l3::write_all(caller, fd, bytes, size) == -1) {
    return -1;
  }
  close(fd);
  return 0;
}

}  // namespace

extern "C" {

int32_t init_std_wan_cfgfile(const char* path) {
  const char zeros[std_wan_size] = {};
  return write_defaults({__func__, path}, zeros, sizeof(zeros));
}

int32_t set_std_wan_service_info_to_cfgfile(const void* info, const char* path) {
  const FileCaller caller = {__func__, path};
  if (check_std_wan_file(caller) == -1) {
    return -1;
  }
  return l3::write_record(caller, 0, info, std_wan_size);
}

int32_t get_std_wan_service_info_from_cfgfile(void* info, const char* path) {
  const FileCaller caller = {__func__, path};
  memset(info, 0, std_wan_size);
  if (check_std_wan_file(caller) == -1) {
    return -1;
  }
  return l3::read_record(caller, 0, info, std_wan_size);
}

int32_t init_cfg_file(const char* path) {
  const bool has_default = strcmp(path, ct_activity_timeout_path) == 0;
  return write_defaults({__func__, path}, ct_activity_timeout_default,
                        has_default ? sizeof(ct_activity_timeout_default) : 0);
}

int32_t write_info_to_file(const void* buf, const char* path, uint32_t length) {
  const FileCaller caller = {__func__, path};
  if (check_general_file(caller) == -1) {
    return -1;
  }
  return l3::write_record(caller, 0, buf, length);
}

int32_t read_info_from_file(void* buf, const char* path, uint32_t length) {
  const FileCaller caller = {__func__, path};
  if (check_general_file(caller) == -1) {
    return -1;
  }
  return l3::read_record(caller, 0, buf, length);
}

}  // extern "C"
