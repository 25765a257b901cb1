#!/usr/bin/env python3
"""Builds the golden configuration files, byte by byte, from the documented layout alone.

    make-golden.py            writes golden-NAME-ORDER-endian.dat beside this script
    make-golden.py --check    changes nothing; exits 1 and names every file that is not current

fresh      what a missing file becomes
distinct   both switches on; every word and byte of the records follows from its offset in the file
sample  settings as a home has them, every region in use
"""

import argparse
import ipaddress
import pathlib
import struct
import sys

ORDERS = {"little": "<", "big": ">"}


def fields(prefix, *members):
    """One structure's members as (path, format), in file order."""
    return [(f"{prefix}.{name}", form) for name, form in members]


def words(*names):
    return [(name, "I") for name in names]


def region(prefix, entry, capacity, *controls):
    """A filter's region: count, entries, control words."""
    result = fields(prefix, ("count", "I"))
    for i in range(capacity):
        result += fields(f"{prefix}.entries[{i}]", *entry)
    return result + fields(prefix, *words(*controls))


IP_ENTRY = words("reserved", "index", "protocol", "dst_ip", "dst_ip_2", "dst_port_s", "dst_port_e",
                 "src_ip", "src_ip_2", "src_port_s", "src_port_e", "direction")
IP6_ENTRY = (words("reserved", "index", "protocol") + [("dst_ip", "16s"), ("dst_ip_2", "16s")] +
             words("dst_port_s", "dst_port_e") + [("src_ip", "16s"), ("src_ip_2", "16s")] +
             words("src_port_s", "src_port_e", "direction"))
SPAN = [("start_hour", "B"), ("stop_hour", "B"), ("start_minute", "B"), ("stop_minute", "B")]
URL_ENTRY = words("url_enable", "url_reserved") + [("url", "32s")] + SPAN
MAC_ENTRY = words("mac_enable") + [("mac", "6s"), ("mac_reserved", "6s")] + SPAN
DHCP_ENTRY = words("dhcp_entry_flag") + [("mac", "6s"), ("reserved", "10s")]
ACL_ENTRY = words("allocated", "app_type", "direction", "src_ip0", "src_ip1")
CAPORL_ENTRY = words("caporl_enable") + [("caporl_ip", "20s")]


def common_regions(record):
    """What both firewall records hold behind their IP filter."""
    return (region(f"{record}.url_filter", URL_ENTRY, 50, "url_black_white", "url_filter_ctrl") +
            fields(record, *words("anti_port_scan", "ipsec_pass_ctrl")) +
            region(f"{record}.mac_filter", MAC_ENTRY, 10, "mac_black_white", "mac_filter_ctrl") +
            region(f"{record}.dhcp_filter", DHCP_ENTRY, 10, "dhcp_black_white",
                   "dhcp_mac_filter_ctrl") +
            region(f"{record}.acl", ACL_ENTRY, 16, "acl_filter_ctrl") +
            region(f"{record}.caporl", CAPORL_ENTRY, 32, "caporl_filter_ctrl") +
            fields(record, *words("security_level")))


IP_CONTROLS = ("us_black_white", "ds_black_white", "ip_filter_ctrl")
FW = region("fw.ip_filter", IP_ENTRY, 50, *IP_CONTROLS) + common_regions("fw")
QOS = (fields("qos", *words("control")) +
       fields("qos.rules", *words("RulesNum", "control", "QoSType", "reserved0", "Protocol",
                                  "SrcIp", "reserved1[0]", "reserved1[1]", "DstIp"),
              ("reserved2", "208s")))
FW6 = (region("fw6.ip_filter", IP6_ENTRY, 50, *IP_CONTROLS) + common_regions("fw6") +
       fields("fw6", *words("reserved")))


def build(order, vpn, fire_wall, value_of):
    """One file; `value_of(path, form, offset)` returns the value of each member."""
    data = f"vpn_pass_through={vpn}\nfire_wall={fire_wall}\n".encode()
    for path, form in FW + QOS + FW6:
        data += struct.pack(ORDERS[order] + form, value_of(path, form, len(data)))
    if len(data) != 15019:
        sys.exit(f"the layout adds up to {len(data)} bytes, not 15019")
    return data


def from_settings(settings):
    """Every member that `settings` does not name is zero."""
    unknown = set(settings) - {path for path, _ in FW + QOS + FW6}
    if unknown:
        sys.exit(f"no such members: {sorted(unknown)}")
    return lambda path, form, _: settings.get(path, b"" if form.endswith("s") else 0)


def distinct(_, form, offset):
    """A word is its file offset times an odd constant; a byte is the top byte of the same."""
    def pattern(at):
        return at * 0x9E3779B1 & 0xFFFFFFFF
    if form == "I":
        return pattern(offset)
    if form == "B":
        return pattern(offset) >> 24
    return bytes(pattern(offset + i) >> 24 for i in range(int(form[:-1])))


def ipv4(text):
    return int(ipaddress.IPv4Address(text))


def ipv6(text):
    return ipaddress.IPv6Address(text).packed


def mac(text):
    return bytes.fromhex(text.replace(":", ""))


def entry(path, **members):
    return {f"{path}.{name}": value for name, value in members.items()}


FRESH = {"fw.ipsec_pass_ctrl": 1, "fw6.ipsec_pass_ctrl": 1}

SAMPLE = {
    "fw.ip_filter.count": 2,
    **entry("fw.ip_filter.entries[0]", index=1, protocol=6, src_ip=ipv4("192.168.1.10"),
            dst_ip=ipv4("203.0.113.80"), dst_port_s=80, dst_port_e=88),
    **entry("fw.ip_filter.entries[1]", index=2, protocol=17, src_ip=ipv4("198.51.100.7"),
            src_port_s=5060, src_port_e=5061, direction=1),
    "fw.ip_filter.ds_black_white": 1,
    "fw.url_filter.count": 2,
    **entry("fw.url_filter.entries[0]", url_enable=1, url=b"ads.example.com", stop_hour=24),
    **entry("fw.url_filter.entries[1]", url_enable=1, url=b"games.example.net", start_hour=16,
            stop_hour=21, stop_minute=30),
    "fw.url_filter.url_filter_ctrl": 1,
    "fw.anti_port_scan": 1,
    "fw.ipsec_pass_ctrl": 1,
    "fw.mac_filter.count": 1,
    **entry("fw.mac_filter.entries[0]", mac_enable=1, mac=mac("02:00:5e:10:00:01"), start_hour=21,
            stop_hour=6, start_minute=5, stop_minute=45),
    "fw.mac_filter.mac_filter_ctrl": 1,
    "fw.dhcp_filter.count": 2,
    **entry("fw.dhcp_filter.entries[0]", dhcp_entry_flag=1, mac=mac("02:00:5e:10:00:02")),
    **entry("fw.dhcp_filter.entries[1]", dhcp_entry_flag=1, mac=mac("02:00:5e:10:00:03")),
    "fw.dhcp_filter.dhcp_black_white": 1,
    "fw.dhcp_filter.dhcp_mac_filter_ctrl": 1,
    "fw.acl.count": 2,
    **entry("fw.acl.entries[0]", allocated=1, app_type=1, src_ip0=ipv4("192.168.1.2"),
            src_ip1=ipv4("192.168.1.9")),
    **entry("fw.acl.entries[1]", allocated=1, app_type=4, direction=1,
            src_ip0=ipv4("203.0.113.2"), src_ip1=ipv4("203.0.113.2")),
    "fw.acl.acl_filter_ctrl": 1,
    "fw.caporl.count": 1,
    **entry("fw.caporl.entries[0]", caporl_enable=1, caporl_ip=b"192.168.1.1"),
    "fw.caporl.caporl_filter_ctrl": 1,
    "fw.security_level": 2,
    "qos.control": 1,
    **entry("qos.rules", RulesNum=1, control=1, QoSType=0x2A, Protocol=17,
            SrcIp=ipv4("192.168.1.10"), DstIp=ipv4("203.0.113.2"), reserved2=b"\x05\x00\x2e"),
    "fw6.ip_filter.count": 1,
    **entry("fw6.ip_filter.entries[0]", index=1, protocol=6, src_ip=ipv6("fd00:1::10"),
            dst_ip=ipv6("2001:db8:1::2"), dst_port_s=443, dst_port_e=443),
    "fw6.ipsec_pass_ctrl": 1,
    "fw6.mac_filter.count": 1,
    **entry("fw6.mac_filter.entries[0]", mac_enable=1, mac=mac("02:00:5e:10:00:01"),
            stop_hour=24),
    "fw6.mac_filter.mac_filter_ctrl": 1,
    "fw6.security_level": 2,
}


def golden_files():
    for order in ORDERS:
        yield f"golden-fresh-{order}-endian.dat", build(order, 0, 0, from_settings(FRESH))
        yield f"golden-distinct-{order}-endian.dat", build(order, 1, 1, distinct)
        yield f"golden-sample-{order}-endian.dat", build(order, 1, 1, from_settings(SAMPLE))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true", help="compare the files, write nothing")
    check = parser.parse_args().check

    folder = pathlib.Path(__file__).resolve().parent
    stale = 0
    for name, data in golden_files():
        path = folder / name
        if not check:
            path.write_bytes(data)
        elif not path.is_file() or path.read_bytes() != data:
            print(f"{path.name} is not current: run {pathlib.Path(__file__).name}",
                  file=sys.stderr)
            stale += 1
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main())
