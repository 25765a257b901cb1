/*
 * The URL filter: DNS look-ups of listed host names by LAN clients, in a daily time span.
 *
 *   region   url_filter of fw_rules_table (44-byte entries); that of fw6_rules_table makes no rule
 *   chain    forward_ext_url
 *   lists    0 black list (match dropped), anything else white list (match accepted, every other
 *            look-up dropped by a catch-all that knows no time)
 *   rule     iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string "\3abc\2de"
 *              --algo bm -m time --timestart 8:5 --timestop 23:59 -j DROP
 *            (on one line; \3 and \2 stand for raw length bytes)
 *   kept     an empty label repeats the length of the label before it; a rejected name makes a
 *            rule with an empty match string, which the packet filter refuses, so that one such
 *            name empties the chain; the generator's result is ignored by the set call
 */
#include "l3_advance/url_filter.h"

#include <cstddef>
#include <cstring>

#include "firewall/base/chains.hpp"
#include "firewall/base/command.hpp"
#include "firewall/base/daily_span.hpp"
#include "firewall/base/log.hpp"
#include "firewall/base/region.hpp"
#include "firewall/base/state.hpp"
#include "l3_advance/configuration_file.h"
#include "l3_advance/records.h"
#include "l3_advance/rule_set.h"

using namespace l3;

namespace {

constexpr size_t max_name_length = sizeof(l3_url_entry::url) - 1;

/* The most that parse_url() writes: a length byte, the characters, a zero. */
constexpr size_t label_form_size = max_name_length + 2;

/* The end of a white list, and all of an empty one. */
constexpr char drop_every_look_up[] =
    "iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP";

/* Copies the label at the start of `name` to `form`, with a zero behind it, and stores its length.
 * An empty label does nothing: `form` and `length` stay as they are. */
void copy_label(char* form, const char* name, size_t& length) {
  const char* dot = strchr(name, '.');
  const size_t characters = dot == nullptr ? strlen(name) : static_cast<size_t>(dot - name);
  if (characters == 0) {
    return;
  }
  memcpy(form, name, characters);
  form[characters] = '\0';
  length = characters;
}

/* Appends a text for use inside double quotes, with a backslash in front of the four characters
 * that the shell expands there. Every other byte, line feeds included, stays as it is. */
void append_quoted(CommandLine& line, const char* text) {
  for (;;) {
    const size_t plain = strcspn(text, "$`\"\\");
    line.append("%.*s", static_cast<int>(plain), text);
    text += plain;
    if (*text == '\0') {
      return;
    }
    line.append("\\%c", *text++);
  }
}

void build_rule(CommandLine& line, const l3_url_entry& entry, bool white_list) {
  char name[sizeof(entry.url) + 1] = {};
  char labels[label_form_size] = {};
  // A name that fills its field ends there; its terminator is this buffer's last byte.
  memcpy(name, entry.url, sizeof(entry.url));
  // Kept: a rejected name makes a rule with an empty match string; the packet filter refuses it,
  // and the generator then flushes the chain.
  parse_url(name, labels);

  const DailySpan span =
      daily_span({entry.start_hour, entry.start_minute}, {entry.stop_hour, entry.stop_minute});
  line.append("iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \"");
  append_quoted(line, labels);
  line.append("\" --algo bm -m time --timestart %s --timestop %s", span.start, span.stop);
  line.append(white_list ? " -j ACCEPT" : " -j DROP");
}

}  // namespace

extern "C" {

int32_t parse_url(const char* url, char* resolve_url) {
  if (url == nullptr || resolve_url == nullptr) {
    L3_LOG_ERROR("parse_url::str pointer is NULLP");
    return -1;
  }
  const size_t length = strlen(url);
  if (length > max_name_length) {
    L3_LOG_ERROR("parse_url::err! wrong string:url string's length > 31\n");
    return -1;
  }
  if (length == 0) {
    L3_LOG_ERROR("err:null string\n");
    return -1;
  }
  if (strcmp(url, ".") == 0) {
    L3_LOG_ERROR("err:only '.' string\n");
    return -1;
  }

  // A leading dot is replaced by the first length byte; without one, the labels move by one byte.
  const size_t ahead = url[0] == '.' ? 1 : 0;
  if (ahead == 1) {
    L3_LOG_DEBUG(".xxx.xx\n");
  } else {
    L3_LOG_DEBUG("xxx.xxx.xx\n");
  }
  // Kept: an empty label gets the length of the label before it.
  size_t label = 0;
  for (size_t at = 0; at + ahead < length; at += label + 1) {
    copy_label(resolve_url + at + 1, url + at + ahead, label);
    resolve_url[at] = static_cast<char>(label);
  }
  L3_LOG_DEBUG("url=%s\n", url);
  L3_LOG_DEBUG("resolve_url=%s\n", resolve_url);
  return 0;
}

int32_t config_fw_url(void) {
  const l3_url_filter& filter = fw_rules_table.url_filter;
  l3_url_entry entry;
  for (EntryWalk walk(fw_rules_table, filter); walk.next(entry);) {
    if (entry.url_enable == 0) {
      continue;
    }
    CommandLine line;
    // Kept: any mode but 0 is a white list here; the MAC and DHCP filters take 1 alone.
    build_rule(line, entry, filter.url_black_white != 0);
    L3_LOG_DEBUG("\n==%s==\n", line.text());
    if (line.run() != 0) {
      flush_fw_url(flush_url);
      L3_LOG_ERROR("config_fw_url::str_system(%s) is err!\n", line.text());
      return -1;
    }
  }

  L3_LOG_DEBUG("[url_black_white=%x]\n", filter.url_black_white);
  if (filter.url_black_white != 0) {
    str_system(drop_every_look_up);
  }
  return 0;
}

int32_t gl3_web_set_url_cfg(const l3_url_filter* xi_pUrlTableInfo) {
  l3_url_filter& filter = fw_rules_table.url_filter;
  platform::refresh_log_level();
  if (xi_pUrlTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_set_url_cfg::xi_pUrlTableInfo NULLP err\r\n");
    return -1;
  }
  if (same_region(filter, *xi_pUrlTableInfo)) {
    return 0;
  }
  replace_region(filter, *xi_pUrlTableInfo);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_url_cfg::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  if (flush_fw_url(flush_url) != 0) {
    return -1;
  }
  L3_LOG_DEBUG("\n==[fw_enable=%x,url_filter_ctrl=%x,urlTable=%x]\n", fw_enable,
               filter.url_filter_ctrl, filter.count);
  if (fw_enable != 0 && filter.url_filter_ctrl != 0) {
    // Kept: a failed rule has flushed the chain and is logged; the call continues.
    config_fw_url();
  }
  return save_fw();
}

int32_t gl3_web_get_url_cfg(l3_url_filter* xo_pUrlTableInfo) {
  platform::refresh_log_level();
  if (xo_pUrlTableInfo == nullptr) {
    L3_LOG_ERROR("gl3_web_get_url_cfg::xo_pUrlTableInfo NULLP err\r\n");
    return -1;
  }
  if (get_firewall_rules_from_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_get_url_cfg::get_firewall_rules_from_cfgfile err!\n");
    return -1;
  }
  replace_region(*xo_pUrlTableInfo, fw_rules_table.url_filter);
  if (get_firewall_state_from_cfgfile(&fw_enable) == -1) {
    L3_LOG_ERROR("gl3_web_get_url_cfg::get_firewall_state_from_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_remove_all_url_rule(void) {
  l3_url_filter& filter = fw_rules_table.url_filter;
  platform::refresh_log_level();
  if (const int32_t result = flush_fw_url(flush_url); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_url_rule::flush_fw_url err!\n");
    return result;
  }
  // An empty white list still blocks every look-up.
  if (fw_enable != 0 && filter.url_filter_ctrl != 0 && filter.url_black_white != 0) {
    str_system(drop_every_look_up);
  }
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_remove_all_url_rule::save_fw err!\n");
    return result;
  }
  clear_entries(filter);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_remove_all_url_rule::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

int32_t gl3_web_set_url_table_default(void) {
  platform::refresh_log_level();
  if (const int32_t result = flush_fw_url(flush_url); result != 0) {
    L3_LOG_ERROR("gl3_web_set_url_table_default::flush_fw_url err!\n");
    return result;
  }
  if (const int32_t result = save_fw(); result != 0) {
    L3_LOG_ERROR("gl3_web_set_url_table_default::save_fw err!\n");
    return result;
  }
  clear_region(fw_rules_table.url_filter);
  if (set_firewall_rules_to_cfgfile() == -1) {
    L3_LOG_ERROR("gl3_web_set_url_table_default::set_firewall_rules_to_cfgfile err!\n");
    return -1;
  }
  return 0;
}

}  // extern "C"
