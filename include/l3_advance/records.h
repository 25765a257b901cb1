/**
 * @file
 * The three configuration records, byte for byte as they lie in memory and in the configuration
 * file "/ztcfg/l3_advance.dat".
 *
 * The structures are the file format: every width and offset is asserted beside its structure, and
 * every byte that no member needs is an explicit reserved member. Words are in the host's byte
 * order. An IPv4 address is a number whose most significant byte is the first octet (192.168.1.1 is
 * 0xC0A80101); IPv6 and MAC addresses are bytes in text order.
 *
 * A filter's region has one frame: a signed entry count, a fixed entry area, the list mode (where
 * the filter has one), and the filter's switch as the last word.
 */
#ifndef L3_ADVANCE_RECORDS_H
#define L3_ADVANCE_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#include "l3_advance/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Asserts the size of a structure. */
#define L3_SIZE(type, bytes) L3_STATIC_ASSERT(sizeof(type) == (bytes), #type " is " #bytes " bytes")
/** Asserts the offset of a member. */
#define L3_OFFSET(type, member, bytes) \
  L3_STATIC_ASSERT(offsetof(type, member) == (bytes), #type "." #member " is at byte " #bytes)

/** One rule of the IPv4 IP filter. */
typedef struct l3_ip_filter_entry {
  uint32_t reserved;   /**< the caller's, kept as given */
  uint32_t index;      /**< the caller's rule number, only logged */
  uint32_t protocol;   /**< 0 all, 1 ICMP, 6 TCP, 17 UDP; anything else is refused */
  uint32_t dst_ip;     /**< destination address; 0 is any */
  uint32_t dst_ip_2;   /**< kept, in no rule */
  uint32_t dst_port_s; /**< first destination port; 0 leaves the ports open */
  uint32_t dst_port_e; /**< last destination port; 0 leaves the ports open */
  uint32_t src_ip;     /**< source address; 0 is any */
  uint32_t src_ip_2;   /**< kept, in no rule */
  uint32_t src_port_s; /**< first source port; 0 leaves the ports open */
  uint32_t src_port_e; /**< last source port; 0 leaves the ports open */
  uint32_t direction;  /**< 0 upstream (LAN to WAN), anything else downstream */
} l3_ip_filter_entry;
L3_SIZE(l3_ip_filter_entry, 48);
L3_OFFSET(l3_ip_filter_entry, reserved, 0);
L3_OFFSET(l3_ip_filter_entry, index, 4);
L3_OFFSET(l3_ip_filter_entry, protocol, 8);
L3_OFFSET(l3_ip_filter_entry, dst_ip, 12);
L3_OFFSET(l3_ip_filter_entry, dst_ip_2, 16);
L3_OFFSET(l3_ip_filter_entry, dst_port_s, 20);
L3_OFFSET(l3_ip_filter_entry, dst_port_e, 24);
L3_OFFSET(l3_ip_filter_entry, src_ip, 28);
L3_OFFSET(l3_ip_filter_entry, src_ip_2, 32);
L3_OFFSET(l3_ip_filter_entry, src_port_s, 36);
L3_OFFSET(l3_ip_filter_entry, src_port_e, 40);
L3_OFFSET(l3_ip_filter_entry, direction, 44);

/** The IPv4 IP filter. */
typedef struct l3_ip_filter {
  int32_t count;                  /**< entries in use, from the first */
  l3_ip_filter_entry entries[50]; /**< zero where unused */
  uint32_t us_black_white;        /**< upstream: 0 black list, anything else white list */
  uint32_t ds_black_white;        /**< downstream: 0 black list, anything else white list */
  uint32_t ip_filter_ctrl;        /**< 0 applied, anything else stored but not applied */
} l3_ip_filter;
L3_SIZE(l3_ip_filter, 2416);
L3_OFFSET(l3_ip_filter, count, 0);
L3_OFFSET(l3_ip_filter, entries, 4);
L3_OFFSET(l3_ip_filter, us_black_white, 2404);
L3_OFFSET(l3_ip_filter, ds_black_white, 2408);
L3_OFFSET(l3_ip_filter, ip_filter_ctrl, 2412);

/** One rule of the IPv6 IP filter; members as in the IPv4 entry, addresses of 16 bytes. */
typedef struct l3_ip6_filter_entry {
  uint32_t reserved;    /**< the caller's, kept as given */
  uint32_t index;       /**< the caller's rule number, only logged */
  uint32_t protocol;    /**< 0 all, 1 ICMP (not ICMPv6), 6 TCP, 17 UDP; anything else is refused */
  uint8_t dst_ip[16];   /**< destination address; all zero is "::", which no packet has */
  uint8_t dst_ip_2[16]; /**< kept, in no rule */
  uint32_t dst_port_s;  /**< first destination port; 0 leaves the ports open */
  uint32_t dst_port_e;  /**< last destination port; 0 leaves the ports open */
  uint8_t src_ip[16];   /**< source address; all zero is "::", which no packet has */
  uint8_t src_ip_2[16]; /**< kept, in no rule */
  uint32_t src_port_s;  /**< first source port; 0 leaves the ports open */
  uint32_t src_port_e;  /**< last source port; 0 leaves the ports open */
  uint32_t direction;   /**< 0 upstream (LAN to WAN), anything else downstream */
} l3_ip6_filter_entry;
L3_SIZE(l3_ip6_filter_entry, 96);
L3_OFFSET(l3_ip6_filter_entry, reserved, 0);
L3_OFFSET(l3_ip6_filter_entry, index, 4);
L3_OFFSET(l3_ip6_filter_entry, protocol, 8);
L3_OFFSET(l3_ip6_filter_entry, dst_ip, 12);
L3_OFFSET(l3_ip6_filter_entry, dst_ip_2, 28);
L3_OFFSET(l3_ip6_filter_entry, dst_port_s, 44);
L3_OFFSET(l3_ip6_filter_entry, dst_port_e, 48);
L3_OFFSET(l3_ip6_filter_entry, src_ip, 52);
L3_OFFSET(l3_ip6_filter_entry, src_ip_2, 68);
L3_OFFSET(l3_ip6_filter_entry, src_port_s, 84);
L3_OFFSET(l3_ip6_filter_entry, src_port_e, 88);
L3_OFFSET(l3_ip6_filter_entry, direction, 92);

/** The IPv6 IP filter. */
typedef struct l3_ip6_filter {
  int32_t count;                   /**< entries in use, from the first */
  l3_ip6_filter_entry entries[50]; /**< zero where unused */
  uint32_t us_black_white;         /**< list mode upstream: as in the IPv4 filter */
  uint32_t ds_black_white;         /**< list mode downstream: as in the IPv4 filter */
  uint32_t ip_filter_ctrl;         /**< the switch: as in the IPv4 filter */
} l3_ip6_filter;
L3_SIZE(l3_ip6_filter, 4816);
L3_OFFSET(l3_ip6_filter, count, 0);
L3_OFFSET(l3_ip6_filter, entries, 4);
L3_OFFSET(l3_ip6_filter, us_black_white, 4804);
L3_OFFSET(l3_ip6_filter, ds_black_white, 4808);
L3_OFFSET(l3_ip6_filter, ip_filter_ctrl, 4812);

/** One host name of the URL filter with its daily time span (UTC). */
typedef struct l3_url_entry {
  uint32_t url_enable;   /**< 0 makes no rule, anything else does */
  uint32_t url_reserved; /**< the caller's, kept as given */
  char url[32];          /**< host name, at most 31 characters and a zero */
  uint8_t start_hour;    /**< first hour of the span, 0 to 23 */
  uint8_t stop_hour;     /**< last hour of the span; 24 and more mean 23:59 */
  uint8_t start_minute;  /**< minute of the start */
  uint8_t stop_minute;   /**< minute of the stop */
} l3_url_entry;
L3_SIZE(l3_url_entry, 44);
L3_OFFSET(l3_url_entry, url_enable, 0);
L3_OFFSET(l3_url_entry, url_reserved, 4);
L3_OFFSET(l3_url_entry, url, 8);
L3_OFFSET(l3_url_entry, start_hour, 40);
L3_OFFSET(l3_url_entry, stop_hour, 41);
L3_OFFSET(l3_url_entry, start_minute, 42);
L3_OFFSET(l3_url_entry, stop_minute, 43);

/** The URL filter. */
typedef struct l3_url_filter {
  int32_t count;            /**< entries in use, from the first */
  l3_url_entry entries[50]; /**< zero where unused */
  uint32_t url_black_white; /**< 0 black list, anything else white list */
  uint32_t url_filter_ctrl; /**< 0 off, anything else on */
} l3_url_filter;
L3_SIZE(l3_url_filter, 2212);
L3_OFFSET(l3_url_filter, count, 0);
L3_OFFSET(l3_url_filter, entries, 4);
L3_OFFSET(l3_url_filter, url_black_white, 2204);
L3_OFFSET(l3_url_filter, url_filter_ctrl, 2208);

/** One device of the MAC filter with its daily time span (UTC). */
typedef struct l3_mac_entry {
  uint32_t mac_enable;     /**< 0 makes no rule, anything else does */
  uint8_t mac[6];          /**< hardware address */
  uint8_t mac_reserved[6]; /**< the caller's, kept as given */
  uint8_t start_hour;      /**< first hour of the span, 0 to 23 */
  uint8_t stop_hour;       /**< last hour of the span; 24 and more mean 23:59 */
  uint8_t start_minute;    /**< minute of the start */
  uint8_t stop_minute;     /**< minute of the stop */
} l3_mac_entry;
L3_SIZE(l3_mac_entry, 20);
L3_OFFSET(l3_mac_entry, mac_enable, 0);
L3_OFFSET(l3_mac_entry, mac, 4);
L3_OFFSET(l3_mac_entry, mac_reserved, 10);
L3_OFFSET(l3_mac_entry, start_hour, 16);
L3_OFFSET(l3_mac_entry, stop_hour, 17);
L3_OFFSET(l3_mac_entry, start_minute, 18);
L3_OFFSET(l3_mac_entry, stop_minute, 19);

/** The MAC filter of one address family. */
typedef struct l3_mac_filter {
  int32_t count;            /**< entries in use, from the first */
  l3_mac_entry entries[10]; /**< zero where unused */
  uint32_t mac_black_white; /**< exactly 1 white list, anything else black list */
  uint32_t mac_filter_ctrl; /**< 0 off, anything else on */
} l3_mac_filter;
L3_SIZE(l3_mac_filter, 212);
L3_OFFSET(l3_mac_filter, count, 0);
L3_OFFSET(l3_mac_filter, entries, 4);
L3_OFFSET(l3_mac_filter, mac_black_white, 204);
L3_OFFSET(l3_mac_filter, mac_filter_ctrl, 208);

/** One device of the DHCP client MAC filter. */
typedef struct l3_dhcp_entry {
  uint32_t dhcp_entry_flag; /**< the caller's, kept as given and never tested */
  uint8_t mac[6];           /**< hardware address */
  uint8_t reserved[10];     /**< the caller's, kept as given */
} l3_dhcp_entry;
L3_SIZE(l3_dhcp_entry, 20);
L3_OFFSET(l3_dhcp_entry, dhcp_entry_flag, 0);
L3_OFFSET(l3_dhcp_entry, mac, 4);
L3_OFFSET(l3_dhcp_entry, reserved, 10);

/** The DHCP client MAC filter. */
typedef struct l3_dhcp_filter {
  int32_t count;                 /**< entries in use, from the first */
  l3_dhcp_entry entries[10];     /**< zero where unused */
  uint32_t dhcp_black_white;     /**< exactly 1 white list, anything else black list */
  uint32_t dhcp_mac_filter_ctrl; /**< 0 off, anything else on */
} l3_dhcp_filter;
L3_SIZE(l3_dhcp_filter, 212);
L3_OFFSET(l3_dhcp_filter, count, 0);
L3_OFFSET(l3_dhcp_filter, entries, 4);
L3_OFFSET(l3_dhcp_filter, dhcp_black_white, 204);
L3_OFFSET(l3_dhcp_filter, dhcp_mac_filter_ctrl, 208);

/** One permitted source of the local-service access control list. */
typedef struct l3_acl_entry {
  uint32_t allocated; /**< 0 is an empty slot */
  uint32_t app_type;  /**< 0 everything, 1 web, 2 FTP, 3 SNMP, 4 telnet, 5 ping; more is refused */
  uint32_t direction; /**< 0 from the LAN, anything else from the WAN */
  uint32_t src_ip0;   /**< first source address; 0 is any source */
  uint32_t src_ip1;   /**< last source address; the first once more for a single one */
} l3_acl_entry;
L3_SIZE(l3_acl_entry, 20);
L3_OFFSET(l3_acl_entry, allocated, 0);
L3_OFFSET(l3_acl_entry, app_type, 4);
L3_OFFSET(l3_acl_entry, direction, 8);
L3_OFFSET(l3_acl_entry, src_ip0, 12);
L3_OFFSET(l3_acl_entry, src_ip1, 16);

/** The local-service access control list. */
typedef struct l3_acl {
  int32_t count;            /**< entries in use, from the first */
  l3_acl_entry entries[16]; /**< zero where unused */
  uint32_t acl_filter_ctrl; /**< 0 stored but not applied, anything else applied */
} l3_acl;
L3_SIZE(l3_acl, 328);
L3_OFFSET(l3_acl, count, 0);
L3_OFFSET(l3_acl, entries, 4);
L3_OFFSET(l3_acl, acl_filter_ctrl, 324);

/** One permitted destination of the captive portal. */
typedef struct l3_caporl_entry {
  uint32_t caporl_enable; /**< 0 makes no rule, anything else does */
  char caporl_ip[20];     /**< destination as text, at most 19 characters and a zero */
} l3_caporl_entry;
L3_SIZE(l3_caporl_entry, 24);
L3_OFFSET(l3_caporl_entry, caporl_enable, 0);
L3_OFFSET(l3_caporl_entry, caporl_ip, 4);

/** Captive-portal redirection. */
typedef struct l3_caporl {
  int32_t count;               /**< entries in use, from the first */
  l3_caporl_entry entries[32]; /**< zero where unused */
  uint32_t caporl_filter_ctrl; /**< 0 off, anything else on */
} l3_caporl;
L3_SIZE(l3_caporl, 776);
L3_OFFSET(l3_caporl, count, 0);
L3_OFFSET(l3_caporl, entries, 4);
L3_OFFSET(l3_caporl, caporl_filter_ctrl, 772);

/** IPv4 and common settings. */
typedef struct l3_fw_rules {
  l3_ip_filter ip_filter;     /**< forwarded IPv4 traffic */
  l3_url_filter url_filter;   /**< look-ups of host names */
  uint32_t anti_port_scan;    /**< 0 off, anything else on; gates the bad-TCP rules too */
  uint32_t ipsec_pass_ctrl;   /**< 0 drops forwarded IKE and NAT-T, anything else passes them */
  l3_mac_filter mac_filter;   /**< LAN devices' forwarded IPv4 traffic */
  l3_dhcp_filter dhcp_filter; /**< which devices get an address */
  l3_acl acl;                 /**< access to the gateway's own services */
  l3_caporl caporl;           /**< where web requests may go */
  uint32_t security_level;    /**< 0 off, 1 on, 2 on with anti port scan */
} l3_fw_rules;
L3_SIZE(l3_fw_rules, 6168);
L3_OFFSET(l3_fw_rules, ip_filter, 0);
L3_OFFSET(l3_fw_rules, url_filter, 2416);
L3_OFFSET(l3_fw_rules, url_filter.entries, 2420);
L3_OFFSET(l3_fw_rules, url_filter.url_black_white, 4620);
L3_OFFSET(l3_fw_rules, url_filter.url_filter_ctrl, 4624);
L3_OFFSET(l3_fw_rules, anti_port_scan, 4628);
L3_OFFSET(l3_fw_rules, ipsec_pass_ctrl, 4632);
L3_OFFSET(l3_fw_rules, mac_filter, 4636);
L3_OFFSET(l3_fw_rules, mac_filter.entries, 4640);
L3_OFFSET(l3_fw_rules, mac_filter.mac_black_white, 4840);
L3_OFFSET(l3_fw_rules, mac_filter.mac_filter_ctrl, 4844);
L3_OFFSET(l3_fw_rules, dhcp_filter, 4848);
L3_OFFSET(l3_fw_rules, dhcp_filter.entries, 4852);
L3_OFFSET(l3_fw_rules, dhcp_filter.dhcp_black_white, 5052);
L3_OFFSET(l3_fw_rules, dhcp_filter.dhcp_mac_filter_ctrl, 5056);
L3_OFFSET(l3_fw_rules, acl, 5060);
L3_OFFSET(l3_fw_rules, acl.entries, 5064);
L3_OFFSET(l3_fw_rules, acl.acl_filter_ctrl, 5384);
L3_OFFSET(l3_fw_rules, caporl, 5388);
L3_OFFSET(l3_fw_rules, caporl.entries, 5392);
L3_OFFSET(l3_fw_rules, caporl.caporl_filter_ctrl, 6160);
L3_OFFSET(l3_fw_rules, security_level, 6164);

/** IPv6 settings. Only the IP filter and the MAC filter make rules. */
typedef struct l3_fw6_rules {
  l3_ip6_filter ip_filter;    /**< forwarded IPv6 traffic */
  l3_url_filter url_filter;   /**< count and switch are logged, the rest is unused */
  uint32_t anti_port_scan;    /**< unused */
  uint32_t ipsec_pass_ctrl;   /**< 1 in a fresh file, never read */
  l3_mac_filter mac_filter;   /**< LAN devices' forwarded IPv6 traffic */
  l3_dhcp_filter dhcp_filter; /**< unused */
  l3_acl acl;                 /**< unused */
  l3_caporl caporl;           /**< unused */
  uint32_t security_level;    /**< copy of the IPv4 record's, never read */
  uint32_t reserved;          /**< zero */
} l3_fw6_rules;
L3_SIZE(l3_fw6_rules, 8572);
L3_OFFSET(l3_fw6_rules, ip_filter, 0);
L3_OFFSET(l3_fw6_rules, url_filter, 4816);
L3_OFFSET(l3_fw6_rules, url_filter.entries, 4820);
L3_OFFSET(l3_fw6_rules, url_filter.url_black_white, 7020);
L3_OFFSET(l3_fw6_rules, url_filter.url_filter_ctrl, 7024);
L3_OFFSET(l3_fw6_rules, anti_port_scan, 7028);
L3_OFFSET(l3_fw6_rules, ipsec_pass_ctrl, 7032);
L3_OFFSET(l3_fw6_rules, mac_filter, 7036);
L3_OFFSET(l3_fw6_rules, mac_filter.entries, 7040);
L3_OFFSET(l3_fw6_rules, mac_filter.mac_black_white, 7240);
L3_OFFSET(l3_fw6_rules, mac_filter.mac_filter_ctrl, 7244);
L3_OFFSET(l3_fw6_rules, dhcp_filter, 7248);
L3_OFFSET(l3_fw6_rules, acl, 7460);
L3_OFFSET(l3_fw6_rules, caporl, 7788);
L3_OFFSET(l3_fw6_rules, security_level, 8564);
L3_OFFSET(l3_fw6_rules, reserved, 8568);

/**
 * The caller's route-QoS rules. The library compares all 244 bytes with what it has, logs the named
 * words, and hands the block to the platform as it is.
 */
typedef struct l3_qos_rules {
  int32_t RulesNum;       /**< number of rules */
  uint32_t control;       /**< logged */
  uint32_t QoSType;       /**< logged */
  uint32_t reserved0;     /**< the platform's */
  uint32_t Protocol;      /**< logged */
  uint32_t SrcIp;         /**< logged */
  uint32_t reserved1[2];  /**< the platform's */
  uint32_t DstIp;         /**< logged */
  uint8_t reserved2[208]; /**< the platform's */
} l3_qos_rules;
L3_SIZE(l3_qos_rules, 244);
L3_OFFSET(l3_qos_rules, RulesNum, 0);
L3_OFFSET(l3_qos_rules, control, 4);
L3_OFFSET(l3_qos_rules, QoSType, 8);
L3_OFFSET(l3_qos_rules, reserved0, 12);
L3_OFFSET(l3_qos_rules, Protocol, 16);
L3_OFFSET(l3_qos_rules, SrcIp, 20);
L3_OFFSET(l3_qos_rules, reserved1, 24);
L3_OFFSET(l3_qos_rules, DstIp, 32);
L3_OFFSET(l3_qos_rules, reserved2, 36);

/** Route QoS, handed whole to the platform. */
typedef struct l3_route_qos {
  int32_t control;    /**< 0 off, 1 on */
  l3_qos_rules rules; /**< the platform's block, of which the library knows the first words */
} l3_route_qos;
L3_SIZE(l3_route_qos, 248);
L3_OFFSET(l3_route_qos, control, 0);
L3_OFFSET(l3_route_qos, rules, 4);

/**
 * The IPv4 and common settings, and their only copy in memory: zero at load, filled from the
 * configuration file, changed in place by the management calls. Callers serialise their calls.
 */
L3_API extern l3_fw_rules fw_rules_table;
/** The IPv6 settings in memory, likewise. */
L3_API extern l3_fw6_rules fw6_rules_table;
/** Route QoS in memory, likewise. */
L3_API extern l3_route_qos RtQoSRulesTable;

/** Exported for other programs of the device; the library neither reads nor writes it. */
L3_API extern uint8_t arp_tbl[45104];

#ifdef __cplusplus
}
#endif

#endif
