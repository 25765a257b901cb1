# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
# fleet/ansible/update writes this file from schema/settings.schema.json.
from __future__ import annotations


class ModuleDocFragment:
    DOCUMENTATION = r"""
options:
  config:
    description:
    - The settings; a section that is left out stays as it is.
    type: dict
    suboptions:
      time_zone:
        description:
        - 'The zone of time spans: an IANA name that has a file on the gateway, a POSIX TZ string, or UTC. Without it spans
          are in the zone that is set, or in UTC.'
        type: str
      firewall:
        description:
        - 'The master switch: rules exist only while it is on.'
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
      security_level:
        description:
        - A short way to say C(firewall) and C(port_scan_protection).
        type: str
        choices:
        - 'off'
        - low
        - high
      port_scan_protection:
        description:
        - Whether the Internet is kept from the gateway itself, and odd TCP segments from passing.
        type: bool
      ipsec_pass_through:
        description:
        - Whether IPsec passes.
        type: bool
      vpn_pass_through:
        description:
        - Whether the platform lets PPTP, L2TP and IPsec of the home network through.
        type: bool
      ip_filter:
        description:
        - Who may exchange what with the Internet over IPv4.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          upstream:
            description:
            - What the list means for traffic to the Internet.
            - Left out, it is C(black-list).
            type: str
            choices:
            - black-list
            - white-list
          downstream:
            description:
            - What the list means for traffic from the Internet.
            - Left out, it is C(black-list).
            type: str
            choices:
            - black-list
            - white-list
          rules:
            description:
            - The entries of the list.
            type: list
            elements: dict
            suboptions:
              direction:
                description:
                - To the Internet, or from it.
                type: str
                choices:
                - upstream
                - downstream
                required: true
              protocol:
                description:
                - The protocol.
                type: str
                choices:
                - all
                - icmp
                - tcp
                - udp
                required: true
              source:
                description:
                - One IPv4 address, or any.
                - Left out, it is C(any).
                type: str
              destination:
                description:
                - One IPv4 address, or any.
                - Left out, it is C(any).
                type: str
              source_ports:
                description:
                - A port, a range that does not end below its first, or any. A range of which one end is 0 is every port.
                - Left out, it is C(any).
                type: str
              destination_ports:
                description:
                - A port, a range that does not end below its first, or any. A range of which one end is 0 is every port.
                - Left out, it is C(any).
                type: str
              index:
                description:
                - Kept for other programs; makes no rule.
                type: int
              second_source:
                description:
                - Kept for other programs; makes no rule.
                - One IPv4 address, or any.
                - Left out, it is C(any).
                type: str
              second_destination:
                description:
                - Kept for other programs; makes no rule.
                - One IPv4 address, or any.
                - Left out, it is C(any).
                type: str
              reserved:
                description:
                - Kept for other programs; makes no rule.
                type: int
      ip6_filter:
        description:
        - The same over IPv6.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          upstream:
            description:
            - What the list means for traffic to the Internet.
            - Left out, it is C(black-list).
            type: str
            choices:
            - black-list
            - white-list
          downstream:
            description:
            - What the list means for traffic from the Internet.
            - Left out, it is C(black-list).
            type: str
            choices:
            - black-list
            - white-list
          rules:
            description:
            - The entries of the list.
            type: list
            elements: dict
            suboptions:
              direction:
                description:
                - To the Internet, or from it.
                type: str
                choices:
                - upstream
                - downstream
                required: true
              protocol:
                description:
                - The protocol.
                type: str
                choices:
                - all
                - icmp
                - tcp
                - udp
                required: true
              source:
                description:
                - One IPv6 address, or any.
                - Left out, it is C(any).
                type: str
              destination:
                description:
                - One IPv6 address, or any.
                - Left out, it is C(any).
                type: str
              source_ports:
                description:
                - A port, a range that does not end below its first, or any. A range of which one end is 0 is every port.
                - Left out, it is C(any).
                type: str
              destination_ports:
                description:
                - A port, a range that does not end below its first, or any. A range of which one end is 0 is every port.
                - Left out, it is C(any).
                type: str
              index:
                description:
                - Kept for other programs; makes no rule.
                type: int
              second_source:
                description:
                - Kept for other programs; makes no rule.
                - One IPv6 address, or any.
                - Left out, it is C(any).
                type: str
              second_destination:
                description:
                - Kept for other programs; makes no rule.
                - One IPv6 address, or any.
                - Left out, it is C(any).
                type: str
              reserved:
                description:
                - Kept for other programs; makes no rule.
                type: int
      url_filter:
        description:
        - Which names may be looked up.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          mode:
            description:
            - A black list stops what is listed, a white list lets nothing else pass.
            - Left out, it is C(black-list).
            type: str
            choices:
            - black-list
            - white-list
          entries:
            description:
            - The entries of the list.
            type: list
            elements: dict
            suboptions:
              host:
                description:
                - Labels joined by dots; an outer dot has no effect.
                type: str
                required: true
              active:
                description:
                - A daily span in time_zone, or else in UTC, where an end of 24:00 becomes 23:59.
                - Left out, it is C(all day).
                type: str
              enabled:
                description:
                - Whether it is on.
                - False keeps the entry without a rule.
                - Left out, it is C(true).
                type: bool
              reserved:
                description:
                - Kept for other programs; makes no rule.
                type: int
      mac_filter:
        description:
        - Which devices may send to the Internet over IPv4.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          mode:
            description:
            - A black list stops what is listed, a white list lets nothing else pass.
            - Left out, it is C(black-list).
            type: str
            choices:
            - black-list
            - white-list
          devices:
            description:
            - The devices by C(mac), in quotes.
            type: list
            elements: dict
            suboptions:
              mac:
                description:
                - A hardware address, in quotes.
                - A hardware address, or the name that /etc/ethers has for it.
                type: str
                required: true
              active:
                description:
                - A daily span in time_zone, or else in UTC, where an end of 24:00 becomes 23:59.
                - Left out, it is C(all day).
                type: str
              enabled:
                description:
                - Whether it is on.
                - False keeps the entry without a rule.
                - Left out, it is C(true).
                type: bool
              reserved:
                description:
                - Kept for other programs; makes no rule.
                type: str
      mac6_filter:
        description:
        - The same over IPv6.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          mode:
            description:
            - A black list stops what is listed, a white list lets nothing else pass.
            - Left out, it is C(black-list).
            type: str
            choices:
            - black-list
            - white-list
          devices:
            description:
            - The devices by C(mac), in quotes.
            type: list
            elements: dict
            suboptions:
              mac:
                description:
                - A hardware address, in quotes.
                - A hardware address, or the name that /etc/ethers has for it.
                type: str
                required: true
              active:
                description:
                - A daily span in time_zone, or else in UTC, where an end of 24:00 becomes 23:59.
                - Left out, it is C(all day).
                type: str
              enabled:
                description:
                - Whether it is on.
                - False keeps the entry without a rule.
                - Left out, it is C(true).
                type: bool
              reserved:
                description:
                - Kept for other programs; makes no rule.
                type: str
      dhcp_filter:
        description:
        - Which devices get an address.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          mode:
            description:
            - A black list stops what is listed, a white list lets nothing else pass.
            - Left out, it is C(black-list).
            type: str
            choices:
            - black-list
            - white-list
          devices:
            description:
            - The devices by C(mac), in quotes.
            type: list
            elements: raw
      acl:
        description:
        - Who reaches the gateway's own services.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          entries:
            description:
            - The entries of the list.
            type: list
            elements: dict
            suboptions:
              service:
                description:
                - A service of the gateway, or all of them.
                type: str
                choices:
                - all
                - web
                - ftp
                - snmp
                - telnet
                - ping
                required: true
              from:
                description:
                - The side that it is reached from.
                type: str
                choices:
                - lan
                - wan
                required: true
              sources:
                description:
                - An IPv4 address, a range inside one /16 that does not end before its first address, or any.
                type: str
                required: true
              enabled:
                description:
                - Whether it is on.
                - False keeps the entry without a rule.
                - Left out, it is C(true).
                type: bool
      captive_portal:
        description:
        - Web requests pass to these destinations alone.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          destinations:
            description:
            - The destinations, each an IPv4 address or prefix, or an object with C(destination).
            type: list
            elements: raw
      route_qos:
        description:
        - The platform's route QoS.
        type: dict
        suboptions:
          enabled:
            description:
            - Whether it is on.
            type: bool
            required: true
          rules:
            description:
            - The entries of the list.
            - The platform's block, words in the gateway's byte order; zero bytes at the end may be left out.
            type: str
"""
