/*
 * Stands for a device's web server in tests: sets filters through the library, with or without transactions.
 *
 *   stand_in every ENTRIES PORT [bare]          sets every filter, ENTRIES each, and prints the microseconds
 *   stand_in mac NUMBER ROUNDS                  sets the MAC filter's device NUMBER, once a round
 *   stand_in port PORT ROUNDS [bare]            sets 50 rules about other ports and PORT, again and again
 */
#include <l3_advance/l3_advance.h>
#include <l3_advance/transaction.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static int is_bare;

static int min(int one, int other) {
  return one < other ? one : other;
}

static int begin(void) {
  if (is_bare) {
    uint8_t is_on = 0;
    return get_firewall_rules_from_cfgfile() | get_qos_cfg_from_cfgfile() |
           gl3_web_get_fw_status(&is_on);
  }
  return l3_transaction_begin(NULL);
}

static int commit(void) {
  l3_transaction_report report;
  if (is_bare || l3_transaction_commit(&report) == L3_TRANSACTION_OK) {
    return 0;
  }
  fprintf(stderr, "%d: %s: %s; %s\n", report.result, report.line, report.message,
          report.not_restored);
  return 1;
}

/* The last rule drops what goes to `closed`, whatever the others say. */
static l3_ip_filter ip_rules(int entries, int port, int closed) {
  static l3_ip_filter filter;
  memset(&filter, 0, sizeof filter);
  filter.count = entries;
  for (int i = 0; i < entries; ++i) {
    l3_ip_filter_entry* entry = &filter.entries[i];
    entry->protocol = 17;
    entry->direction = 1;
    entry->dst_port_s = entry->dst_port_e = (uint32_t)(i == entries - 1 ? closed : port + i);
  }
  return filter;
}

static l3_ip6_filter ip6_rules(int entries, int port) {
  static l3_ip6_filter filter;
  memset(&filter, 0, sizeof filter);
  filter.count = entries;
  for (int i = 0; i < entries; ++i) {
    l3_ip6_filter_entry* entry = &filter.entries[i];
    entry->protocol = 17;
    entry->direction = 1;
    entry->src_ip[0] = entry->dst_ip[0] = 0xfd;
    entry->src_ip[15] = entry->dst_ip[15] = (uint8_t)(i + 1);
    entry->dst_port_s = entry->dst_port_e = (uint32_t)(port + i);
  }
  return filter;
}

static l3_mac_filter devices(int entries, int port) {
  l3_mac_filter filter = {.count = min(entries, 10), .mac_filter_ctrl = 1};
  for (int i = 0; i < filter.count; ++i) {
    filter.entries[i].mac_enable = 1;
    filter.entries[i].mac[0] = 2;
    filter.entries[i].mac[4] = (uint8_t)port;
    filter.entries[i].mac[5] = (uint8_t)i;
    filter.entries[i].stop_hour = 24;
  }
  return filter;
}

static l3_url_filter names(int entries, int port) {
  static l3_url_filter filter;
  memset(&filter, 0, sizeof filter);
  filter.count = entries;
  filter.url_filter_ctrl = 1;
  for (int i = 0; i < entries; ++i) {
    filter.entries[i].url_enable = 1;
    filter.entries[i].stop_hour = 24;
    snprintf(filter.entries[i].url, sizeof filter.entries[i].url, "site%d-%d.example", port, i);
  }
  return filter;
}

static l3_dhcp_filter clients(int entries, int port) {
  l3_dhcp_filter filter = {.count = min(entries, 10), .dhcp_mac_filter_ctrl = 1};
  for (int i = 0; i < filter.count; ++i) {
    filter.entries[i].mac[0] = 2;
    filter.entries[i].mac[4] = (uint8_t)port;
    filter.entries[i].mac[5] = (uint8_t)i;
  }
  return filter;
}

static l3_acl services(int entries, int port) {
  l3_acl list = {.count = min(entries, 16), .acl_filter_ctrl = 1};
  for (int i = 0; i < list.count; ++i) {
    const uint32_t source = 0xc0a80100u + (uint32_t)(port % 100 + i);
    list.entries[i] = (l3_acl_entry){1, 1, 0, source, source};
  }
  return list;
}

static l3_caporl portal(int entries, int port) {
  l3_caporl destinations;
  memset(&destinations, 0, sizeof destinations);
  destinations.count =
      min(entries, (int)(sizeof destinations.entries / sizeof destinations.entries[0]));
  destinations.caporl_filter_ctrl = 1;
  for (int i = 0; i < destinations.count; ++i) {
    destinations.entries[i].caporl_enable = 1;
    snprintf(destinations.entries[i].caporl_ip, sizeof destinations.entries[i].caporl_ip,
             "203.0.113.%d", port % 100 + 100 + i);
  }
  return destinations;
}

static int set_every_filter(int entries, int port) {
  l3_ip_filter ip = ip_rules(entries, port, 50001);
  l3_ip6_filter ip6 = ip6_rules(entries, port);
  l3_mac_filter mac = devices(entries, port);
  l3_url_filter url = names(entries, port);
  l3_dhcp_filter dhcp = clients(entries, port);
  l3_acl acl = services(entries, port);
  l3_caporl caporl = portal(entries, port);
  return gl3_web_set_fw_status(1) | gl3_web_set_firewall_cfg(&ip) |
         gl3_web_set_firewall6_cfg(&ip6) | gl3_web_set_mac_cfg(&mac) | gl3_web_set_mac6_cfg(&mac) |
         gl3_web_set_url_cfg(&url) | gl3_web_set_dhcp_cfg(&dhcp) | gl3_web_set_acl_cfg(&acl) |
         gl3_web_set_caporl_cfg(&caporl);
}

static int every(int entries, int port) {
  struct timespec start;
  struct timespec end;
  clock_gettime(CLOCK_MONOTONIC, &start);
  if (begin() != 0 || set_every_filter(entries, port) != 0 || commit() != 0) {
    fprintf(stderr, "%s\n", l3_transaction_error());
    return 1;
  }
  clock_gettime(CLOCK_MONOTONIC, &end);
  printf("%ld\n", (end.tv_sec - start.tv_sec) * 1000000 + (end.tv_nsec - start.tv_nsec) / 1000);
  return 0;
}

/* What the others of these programs, and l3ctl, set stays. */
static int mac(int number, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    if (begin() != 0) {
      fprintf(stderr, "%s\n", l3_transaction_error());
      return 1;
    }
    l3_mac_filter filter;
    gl3_web_get_mac_cfg(&filter);
    filter.count = 10;
    filter.mac_filter_ctrl = 1;
    for (int i = 0; i < 10; ++i) {
      filter.entries[i].mac_enable = 1;
      filter.entries[i].stop_hour = 24;
      memset(filter.entries[i].mac, 2, 4);
      filter.entries[i].mac[4] = (uint8_t)i;
    }
    ++filter.entries[number].mac[5]; /* counts the rounds that were not lost */
    if (gl3_web_set_mac_cfg(&filter) != 0 || commit() != 0) {
      return 1;
    }
  }
  return 0;
}

static int port(int first, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    l3_ip_filter filter = ip_rules(50, first + 100 * (round % 2), 50001);
    if (begin() != 0 || gl3_web_set_firewall_cfg(&filter) != 0 || commit() != 0) {
      fprintf(stderr, "%s\n", l3_transaction_error());
      return 1;
    }
  }
  return 0;
}

int main(int argc, char** argv) {
  is_bare = argc == 5 && strcmp(argv[4], "bare") == 0;
  if (argc >= 4 && strcmp(argv[1], "every") == 0) {
    return every(atoi(argv[2]), atoi(argv[3]));
  }
  if (argc == 4 && strcmp(argv[1], "mac") == 0) {
    return mac(atoi(argv[2]), atoi(argv[3]));
  }
  if (argc >= 4 && strcmp(argv[1], "port") == 0) {
    return port(atoi(argv[2]), atoi(argv[3]));
  }
  return 2;
}
