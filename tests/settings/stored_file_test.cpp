/* Configuration files of both byte orders, parsed without the library. */
#include "settings/stored_file/stored_file.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "reading.hpp"

using settings::ByteOrder;
using settings::Remedy;
using settings::StoredFile;
using settings::StoredFinding;

namespace {

std::string golden(const std::string& name) {
  std::ifstream file(std::string(TEST_DATA) + "/golden-" + name + "-endian.dat", std::ios::binary);
  std::string bytes(std::istreambuf_iterator<char>(file), {});
  EXPECT_EQ(bytes.size(), settings::stored_size) << name;
  return bytes;
}

const char* const host =
    settings::host_byte_order() == ByteOrder::big ? "sample-big" : "sample-little";

std::string sample() {
  return golden(host);
}

/* A word in this host's order. */
void put(std::string& bytes, size_t offset, uint32_t value) {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

std::string with_word(std::string bytes, size_t offset, uint32_t value) {
  put(bytes, offset, value);
  return bytes;
}

bool is_about_a_section(Remedy remedy) {
  return remedy == Remedy::set_switch || remedy == Remedy::set_level ||
         remedy == Remedy::rewrite_section || remedy == Remedy::delete_entry;
}

/* "torn 4659 where: what", a line a finding. */
Messages findings_of(const std::string& bytes) {
  Messages texts;
  const StoredFile file = settings::read_stored_file(bytes);
  for (const StoredFinding& finding : file.findings) {
    const char* kind = finding.kind == StoredFinding::Kind::torn          ? "torn "
                       : finding.kind == StoredFinding::Kind::implausible ? "implausible "
                                                                          : "note ";
    EXPECT_EQ(is_about_a_section(finding.remedy), !finding.section.empty()) << finding.what;
    texts.push_back(kind + std::to_string(finding.offset) + " " + finding.where + ": " +
                    finding.what);
  }
  EXPECT_EQ(settings::is_plausible(file), texts.empty() || texts[0].starts_with("note"));
  return texts;
}

constexpr char cut[] = ": a section begins new and ends old where a write was cut";
constexpr size_t fw = settings::fw_offset;
constexpr size_t fw6 = settings::fw6_offset;

}  // namespace

TEST(StoredFile, BothByteOrdersGiveTheSameSettings) {
  for (const std::string name : {"fresh", "sample", "distinct"}) {
    const StoredFile little =
        settings::read_stored_file(golden(name + "-little"), ByteOrder::little);
    const StoredFile big = settings::read_stored_file(golden(name + "-big"), ByteOrder::big);
    EXPECT_TRUE(little.image == big.image) << name;
    EXPECT_EQ(settings::write(settings::settings_of(little)),
              settings::write(settings::settings_of(big)));
    EXPECT_EQ(little.findings.size(), big.findings.size());
  }
}

TEST(StoredFile, AFileOfThisHostIsItsOwnImage) {
  EXPECT_TRUE(settings::read_stored_file(sample()).image == sample());
  EXPECT_TRUE(settings::with_clean_lines(sample()) == sample());
}

TEST(StoredFile, TheByteOrderIsFound) {
  for (const std::string name : {"fresh", "sample"}) {
    EXPECT_EQ(settings::byte_order_of(golden(name + "-little")), ByteOrder::little) << name;
    EXPECT_EQ(settings::byte_order_of(golden(name + "-big")), ByteOrder::big) << name;
  }
  EXPECT_EQ(settings::byte_order_of(""), ByteOrder::unknown);
  EXPECT_EQ(settings::byte_order_of(std::string(15019, '\0')), ByteOrder::unknown);
  // The start of a cut file speaks as long as it holds a word.
  EXPECT_EQ(settings::byte_order_of(sample().substr(0, 35)), settings::host_byte_order());
  EXPECT_EQ(settings::byte_order_of(sample().substr(0, 34)), ByteOrder::unknown);
}

TEST(StoredFile, SettingsAreThoseOfTheFile) {
  const settings::Settings stored =
      settings::settings_of(settings::read_stored_file(golden("sample-big")));
  EXPECT_EQ(stored.firewall, true);
  EXPECT_EQ(stored.vpn_pass_through, true);
  EXPECT_EQ(stored.port_scan_protection, true);
  EXPECT_EQ(stored.ip_filter->count, 2);
  EXPECT_EQ(stored.ip_filter->entries[0].src_ip, 0xC0A8010AU);
  EXPECT_STREQ(stored.url_filter->entries[1].url, "games.example.net");
  EXPECT_EQ(stored.acl->entries[1].app_type, 4U);
  EXPECT_EQ(stored.route_qos_rules->QoSType, 0x2AU);
  EXPECT_EQ(stored.ip6_filter->entries[0].dst_port_e, 443U);
}

TEST(StoredFile, WholeFilesHaveNoFindings) {
  for (const char* name : {"fresh-little", "fresh-big", "sample-little", "sample-big"}) {
    EXPECT_EQ(findings_of(golden(name)), Messages{}) << name;
  }
  EXPECT_FALSE(settings::is_plausible(settings::read_stored_file(golden("distinct-big"))));
}

TEST(StoredFile, EveryByteBelongsToOneFieldOrToTheLines) {
  size_t end = fw;
  for (const settings::StoredField& field : settings::stored_fields()) {
    EXPECT_EQ(field.offset, end) << settings::name_of(field);
    end = field.offset + field.member->size;
  }
  EXPECT_EQ(end, settings::stored_size);
}

TEST(StoredFile, FieldsHaveNamesAndMeanings) {
  const std::string bytes = sample();
  Messages texts;
  for (const settings::StoredField& field : settings::stored_fields()) {
    const std::string name = settings::name_of(field);
    if (name == "fw_rules_table.ip_filter.entries[1].direction" ||
        name == "fw_rules_table.url_filter.entries[0].url" ||
        name == "fw_rules_table.mac_filter.entries[0].mac" ||
        name == "fw_rules_table.acl.entries[1].app_type" ||
        name == "fw_rules_table.ip_filter.ip_filter_ctrl" ||
        name == "fw6_rules_table.ip_filter.entries[0].src_ip" ||
        name == "RtQoSRulesTable.rules.SrcIp" || name == "fw6_rules_table.security_level") {
      texts.push_back(name + " " + settings::meaning_of(field, bytes));
    }
  }
  EXPECT_EQ(texts, (Messages{"fw_rules_table.ip_filter.entries[1].direction downstream",
                             "fw_rules_table.ip_filter.ip_filter_ctrl on",
                             "fw_rules_table.url_filter.entries[0].url \"ads.example.com\"",
                             "fw_rules_table.mac_filter.entries[0].mac 02:00:5e:10:00:01",
                             "fw_rules_table.acl.entries[1].app_type telnet",
                             "RtQoSRulesTable.rules.SrcIp 192.168.1.10",
                             "fw6_rules_table.ip_filter.entries[0].src_ip fd00:1::10",
                             "fw6_rules_table.security_level high"}));
}

TEST(StoredFile, AShortFileSaysWhatIsMissing) {
  EXPECT_EQ(findings_of(""),
            (Messages{"torn 0 the file: is empty: a creation was cut before its first write"}));
  EXPECT_EQ(
      findings_of(sample().substr(0, 10)),
      (Messages{"torn 10 the file: short: 10 of 15019 bytes, as a creation leaves it that was cut; "
                "the last part is the line of VPN pass-through; missing, and read as "
                "zero: the rest of that, the line of the master switch, fw_rules_table, "
                "RtQoSRulesTable, fw6_rules_table"}));
  EXPECT_EQ(
      findings_of(golden("fresh-big").substr(0, fw + 5000)),
      (Messages{"torn 5031 the file: short: 5031 of 15019 bytes, as a creation leaves it "
                "that was cut; the last part is fw_rules_table.dhcp_filter; missing, and read as "
                "zero: the rest of that, fw_rules_table.acl, fw_rules_table.caporl, "
                "fw_rules_table, RtQoSRulesTable, fw6_rules_table"}));
  EXPECT_EQ(
      findings_of(golden("fresh-big").substr(0, 15018)),
      (Messages{"torn 15018 the file: short: 15018 of 15019 bytes, as a creation leaves it "
                "that was cut; the last part is fw6_rules_table; missing, and read as zero: the "
                "rest of that"}));
}

TEST(StoredFile, EverySizeBelowTheWholeIsTorn) {
  const std::string whole = golden("fresh-little");
  for (size_t size = 0; size < whole.size(); size += size < 40 ? 1 : 97) {
    const StoredFile file = settings::read_stored_file(whole.substr(0, size));
    EXPECT_EQ(file.findings.size(), 1U) << size;
    EXPECT_EQ(file.findings.at(0).kind, StoredFinding::Kind::torn);
    EXPECT_EQ(file.image.size(), settings::stored_size);
  }
}

TEST(StoredFile, ASwitchThatIsStoredWithoutAFileLeavesAHole) {
  const std::string bytes = std::string(19, '\0') + "fire_wall=1\n";
  const Messages found = findings_of(bytes);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0],
            "torn 0 the line of VPN pass-through: is missing, zero bytes stand there; it counts as "
            "off");
  EXPECT_TRUE(found[1].starts_with("torn 31 the file: short: 31 of 15019 bytes")) << found[1];
}

TEST(StoredFile, LinesThatReadOtherwise) {
  std::string bytes = sample();
  bytes.replace(0, 19, "vpn_pass_through=2\n");
  bytes.replace(19, 12, "fire-wall=1\n");
  EXPECT_EQ(findings_of(bytes),
            (Messages{"torn 0 the line of VPN pass-through: reads \"vpn_pass_through=2\\n\"; it "
                      "counts as off",
                      "torn 19 the line of the master switch: reads \"fire-wall=1\\n\"; it counts "
                      "as on"}));
  EXPECT_EQ(settings::with_clean_lines(bytes).substr(0, fw), "vpn_pass_through=0\nfire_wall=1\n");
}

TEST(StoredFile, ShiftedRecordsAreToldOnce) {
  for (const std::string order : {"fresh-little", "fresh-big"}) {
    for (const size_t missing : {1U, 16U, 30U}) {
      const std::string bytes = golden(order).erase(0, missing);
      EXPECT_EQ(findings_of(bytes),
                (Messages{"torn 31 the records: lie " + std::to_string(missing) +
                          " bytes too early: a creation whose two lines came out short left them "
                          "shifted"}));
    }
  }
}

TEST(StoredFile, BytesBehindTheEnd) {
  EXPECT_EQ(findings_of(sample() + "xyz"),
            (Messages{"implausible 15019 the file: 3 bytes behind the last record, which nothing "
                      "reads"}));
  EXPECT_TRUE(settings::read_stored_file(sample() + "xyz").image == sample());
}

TEST(StoredFile, Counts) {
  EXPECT_EQ(findings_of(with_word(golden(std::string("fresh") + (host + 6)), fw + 4636,
                                  static_cast<uint32_t>(-3))),
            (Messages{"implausible 4667 fw_rules_table.mac_filter.count: -3: a negative count is "
                      "read as no entry"}));
  const Messages found = findings_of(with_word(sample(), fw + 5388, 33));
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found[0],
            "implausible 5419 fw_rules_table.caporl.count: 33, but there is room for 32: rules are "
            "made from whatever lies behind the entries too");
}

TEST(StoredFile, ASectionThatBeginsNewAndEndsOld) {
  // A count of 1 where two entries stood, and a count of 2 whose second entry was never written.
  EXPECT_EQ(findings_of(with_word(sample(), fw + 2416, 1)),
            (Messages{"torn 2495 fw_rules_table.url_filter.entries[1]: 1 entry not empty behind "
                      "the count of 1" +
                      std::string(cut)}));
  EXPECT_EQ(findings_of(with_word(sample(), fw + 4636, 2)),
            (Messages{"torn 4691 fw_rules_table.mac_filter.entries[1]: is in use by the count, but "
                      "empty" +
                      std::string(cut)}));
  EXPECT_EQ(findings_of(with_word(sample(), fw + 2416, 3)),
            (Messages{"torn 2539 fw_rules_table.url_filter.entries[2]: is in use by the count, but "
                      "empty" +
                      std::string(cut)}));
  const Messages rule = findings_of(with_word(sample(), fw, 3));
  ASSERT_EQ(rule.size(), 1U);
  EXPECT_TRUE(rule[0].starts_with("note 131 fw_rules_table.ip_filter.entries[2]: is zero"))
      << rule[0];
  // An empty place of the access list is nothing special.
  EXPECT_EQ(findings_of(with_word(sample(), fw + 5060, 3)), Messages{});
}

TEST(StoredFile, WhatTheConversionOfAnOlderFileLeavesIsNotTorn) {
  EXPECT_EQ(findings_of(with_word(sample(), fw + 2416 + 1808, 1)), Messages{});
  EXPECT_EQ(findings_of(with_word(sample(), fw + 2416 + 1812, 1)).size(), 1U);
}

TEST(StoredFile, TheCopiesOfTheLevelDiffer) {
  EXPECT_EQ(findings_of(with_word(sample(), fw6 + 8564, 1)),
            (Messages{"torn 15011 fw6_rules_table.security_level: differs from "
                      "fw_rules_table.security_level: some sections are old, some new, as a cut "
                      "between the records leaves them"}));
  EXPECT_EQ(findings_of(with_word(sample(), fw6 + 8568, 1)),
            (Messages{"implausible 15015 fw6_rules_table.reserved: is not zero"}));
}

TEST(StoredFile, WordsThatNoSettingsFileSays) {
  std::string bytes = sample();
  put(bytes, fw + 4624, 7);    // switch of the URL filter
  put(bytes, fw + 4840, 2);    // list mode of the MAC filter
  put(bytes, fw + 4 + 44, 3);  // direction of a rule
  EXPECT_EQ(findings_of(bytes),
            (Messages{"implausible 79 fw_rules_table.ip_filter.entries[0].direction: 3, taken as "
                      "downstream",
                      "implausible 4655 fw_rules_table.url_filter.url_filter_ctrl: 7, taken as on",
                      "implausible 4871 fw_rules_table.mac_filter.mac_black_white: 2, taken as "
                      "black-list"}));
}

TEST(StoredFile, ValuesThatTheReaderOfSettingsRefuses) {
  const auto only = [](const std::string& bytes) {
    const Messages found = findings_of(bytes);
    return found.size() == 1 ? found[0] : std::to_string(found.size()) + " findings";
  };
  EXPECT_TRUE(only(with_word(sample(), fw + 4 + 8, 42))
                  .starts_with("implausible 35 ip_filter.rules[0].protocol: 42 is not allowed"));
  EXPECT_TRUE(
      only(with_word(sample(), fw + 4 + 20, 70000))
          .starts_with("implausible 35 ip_filter.rules[0].destination_ports: \"70000-88\""));
  EXPECT_TRUE(only(with_word(sample(), fw + 5064 + 16, 0x0A000001))
                  .starts_with("implausible 5095 acl.entries[0].sources: "));
  EXPECT_TRUE(only(with_word(sample(), fw + 5064 + 4, 6))
                  .starts_with("implausible 5095 acl.entries[0].service: 6 is not allowed"));
  std::string bytes = sample();
  bytes[fw + 2420 + 44 + 42] = 60;  // minute of the start
  EXPECT_TRUE(only(bytes).starts_with("implausible 2495 url_filter.entries[1].active: "))
      << only(bytes);
  bytes = sample();
  bytes[fw + 5392 + 4] = 'x';
  EXPECT_TRUE(only(bytes).starts_with("implausible 5423 captive_portal.destinations[0]: \"x92."));
}

TEST(StoredFile, Texts) {
  std::string bytes = sample();
  bytes[fw + 2420 + 8 + 20] = 'x';
  EXPECT_EQ(findings_of(bytes),
            (Messages{"note 2459 fw_rules_table.url_filter.entries[0].url: bytes stand behind its "
                      "end: a cut write leaves such, or whoever set it"}));
  bytes.replace(fw + 2420 + 8, 32, 32, 'a');
  const Messages found = findings_of(bytes);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_TRUE(found[0].starts_with("implausible 2451 url_filter.entries[0].host: \"aaaa"));
  EXPECT_EQ(found[1],
            "implausible 2459 fw_rules_table.url_filter.entries[0].url: has no zero at its end");
}

TEST(StoredFile, HardwareAddressesThatNoDeviceHas) {
  std::string bytes = sample();
  bytes[fw + 4640 + 4] = 1;
  EXPECT_EQ(findings_of(bytes),
            (Messages{"note 4675 fw_rules_table.mac_filter.entries[0].mac: 01:00:5e:10:00:01 is a "
                      "multicast address, from which no device sends: the entry has no effect"}));
  const StoredFinding finding = settings::read_stored_file(bytes).findings.at(0);
  EXPECT_EQ(finding.remedy, Remedy::delete_entry);
  EXPECT_EQ(finding.section, "mac_filter");
  EXPECT_EQ(finding.entry, "01:00:5e:10:00:01");
  bytes = sample();
  bytes.replace(fw6 + 7040 + 4, 6, 6, '\0');
  const Messages zeros = findings_of(bytes);
  ASSERT_EQ(zeros.size(), 1U);
  EXPECT_TRUE(zeros[0].starts_with(
      "implausible 13487 mac6_filter.devices[0].mac: \"00:00:00:00:00:00\" is not allowed; "))
      << zeros[0];
}

TEST(StoredFile, ARemedyIsAboutItsSection) {
  struct {
    size_t offset;
    uint32_t value;
    Remedy remedy;
    const char* section;
  } const cases[] = {
      {fw + 4628, 7, Remedy::set_switch, "port_scan_protection"},
      {fw + 4632, 7, Remedy::set_switch, "ipsec_pass_through"},
      {settings::qos_offset, 7, Remedy::set_switch, "route_qos"},
      {fw + 4624, 7, Remedy::rewrite_section, "url_filter"},
      {fw + 4 + 8, 42, Remedy::rewrite_section, "ip_filter"},
      {fw6 + 8564, 1, Remedy::set_level, "security_level"},
      {fw6 + 8568, 1, Remedy::replace_to_clean, ""},
  };
  for (const auto& one : cases) {
    const auto findings =
        settings::read_stored_file(with_word(sample(), one.offset, one.value)).findings;
    ASSERT_EQ(findings.size(), 1U) << one.offset;
    EXPECT_EQ(findings[0].remedy, one.remedy) << findings[0].what;
    EXPECT_EQ(findings[0].section, one.section) << findings[0].what;
  }
  const auto remedy_of = [](const std::string& bytes) {
    return settings::read_stored_file(bytes).findings.at(0).remedy;
  };
  EXPECT_EQ(remedy_of(sample() + "x"), Remedy::drop_excess);
  EXPECT_EQ(remedy_of(sample().replace(17, 1, "2")), Remedy::rewrite_line);
  EXPECT_EQ(remedy_of(sample().substr(0, 15000)), Remedy::replace_file);
  // In a short file every change would fill the missing part with zeros.
  for (const StoredFinding& finding :
       settings::read_stored_file(with_word(sample(), fw + 4624, 7).substr(0, 15000)).findings) {
    EXPECT_EQ(finding.remedy, Remedy::replace_file) << finding.what;
  }
}

/* A file of any bytes can be parsed, printed and written. */
TEST(StoredFile, NoByteLeadsAstray) {
  const std::string whole = sample();
  for (size_t at = 0; at < whole.size(); at += 97) {
    for (const char value : {'\x01', '\x80', '\xff'}) {
      std::string bytes = whole;
      bytes[at] = value;
      for (const StoredFinding& finding : settings::read_stored_file(bytes).findings) {
        EXPECT_TRUE(std::all_of(finding.what.begin(), finding.what.end(), [](char c) {
          return c >= ' ' && c <= '~';
        })) << finding.what;
      }
    }
  }
}
