/* Address ranges as prefixes: the last octets, the choice of the level, the command line. */
#include "harness.hpp"

using namespace harness;

namespace {

constexpr char head[] = "iptables -A input_ext_us_acl -p tcp --dport 80 -s ";
constexpr char tail[] = " -j ACCEPT";

/* The first log line of each call of the [24] worker. */
Lines entered() {
  return debug("------------[24]##cmd_string=iptables -A input_ext_us_acl -p tcp --dport 80 -s \n");
}

/* One command line of the head and tail above. */
Lines allowed(const std::string& prefix) {
  return ran("iptables -A input_ext_us_acl -p tcp --dport 80 -s " + prefix + "  -j ACCEPT");
}

constexpr uint32_t ip(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return a << 24 | b << 16 | c << 8 | d;
}

std::string whole(uint32_t start, uint32_t end) {
  return record([=] { EXPECT_EQ(config_acl_ip_range(head, tail, start, end), 0); });
}

std::string last_octets(uint32_t start, uint32_t end) {
  return record([=] { EXPECT_EQ(config_acl_ip_range_24_mask(head, tail, start, end), 0); });
}

/* The prefixes alone, a blank behind each, of a range too long for a transcript. */
std::string prefixes(uint32_t start, uint32_t end) {
  std::string series;
  world.system = [&](const std::string& command) {
    const size_t from = sizeof(head) - 1;
    series += command.substr(from, command.find(' ', from) - from) + ' ';
    return 0;
  };
  EXPECT_EQ(config_acl_ip_range(head, tail, start, end), 0);
  return series;
}

}  // namespace

/* ---- the last octet ---- */

TEST(RangeSplit, OneAddressIsOnePrefix) {
  EXPECT_EQ(last_octets(ip(192, 168, 1, 5), ip(192, 168, 1, 5)),
            lines({entered(), allowed("192.168.1.5/32")}));
}

TEST(RangeSplit, AnAlignedPairIsOnePrefix) {
  EXPECT_EQ(last_octets(ip(192, 168, 1, 4), ip(192, 168, 1, 5)),
            lines({entered(), allowed("192.168.1.4/31")}));
}

TEST(RangeSplit, AnUnalignedPairIsTwoLinesFromOneText) {
  EXPECT_EQ(last_octets(ip(192, 168, 1, 5), ip(192, 168, 1, 6)),
            lines({entered(), allowed("192.168.1.5/32"), allowed("192.168.1.6/32")}));
}

TEST(RangeSplit, ThePairsSecondAddressMayBeLonger) {
  EXPECT_EQ(last_octets(ip(10, 0, 0, 9), ip(10, 0, 0, 10)),
            lines({entered(), allowed("10.0.0.9/32"), allowed("10.0.0.10/32")}));
  EXPECT_EQ(last_octets(ip(10, 0, 0, 99), ip(10, 0, 0, 100)),
            lines({entered(), allowed("10.0.0.99/32"), allowed("10.0.0.100/32")}));
}

TEST(RangeSplit, AWholeBlockIsOnePrefix) {
  EXPECT_EQ(last_octets(ip(192, 168, 1, 0), ip(192, 168, 1, 255)),
            lines({entered(), allowed("192.168.1.0/24")}));
}

TEST(RangeSplit, EveryAlignedPowerOfTwoIsOnePrefix) {
  EXPECT_EQ(last_octets(ip(10, 0, 0, 12), ip(10, 0, 0, 15)),
            lines({entered(), allowed("10.0.0.12/30")}));
  EXPECT_EQ(last_octets(ip(10, 0, 0, 24), ip(10, 0, 0, 31)),
            lines({entered(), allowed("10.0.0.24/29")}));
  EXPECT_EQ(last_octets(ip(10, 0, 0, 48), ip(10, 0, 0, 63)),
            lines({entered(), allowed("10.0.0.48/28")}));
  EXPECT_EQ(last_octets(ip(10, 0, 0, 96), ip(10, 0, 0, 127)),
            lines({entered(), allowed("10.0.0.96/27")}));
  EXPECT_EQ(last_octets(ip(10, 0, 0, 192), ip(10, 0, 0, 255)),
            lines({entered(), allowed("10.0.0.192/26")}));
  EXPECT_EQ(last_octets(ip(10, 0, 0, 128), ip(10, 0, 0, 255)),
            lines({entered(), allowed("10.0.0.128/25")}));
}

TEST(RangeSplit, AnUnalignedPowerOfTwoSplitsAroundItsAlignedHalf) {
  EXPECT_EQ(last_octets(ip(192, 168, 1, 1), ip(192, 168, 1, 8)),
            lines({entered(),                  // 1 to 8
                   entered(),                  // 1 to 3
                   entered(),                  // 1 to 2
                   allowed("192.168.1.1/32"),  //
                   allowed("192.168.1.2/32"),  //
                   entered(),                  // 3
                   allowed("192.168.1.3/32"),  //
                   allowed("192.168.1.4/30"),  //
                   entered(),                  // 8
                   allowed("192.168.1.8/32")}));
}

TEST(RangeSplit, AnAlignedHalfAtTheStartHasNothingBeforeIt) {
  EXPECT_EQ(last_octets(ip(10, 0, 0, 2), ip(10, 0, 0, 5)),
            lines({entered(), allowed("10.0.0.2/31"), entered(), allowed("10.0.0.4/31")}));
}

TEST(RangeSplit, ACountBetweenPowersOfTwoTakesTheLargerPowerFirst) {
  EXPECT_EQ(last_octets(ip(192, 168, 1, 0), ip(192, 168, 1, 100)),
            lines({entered(),                   // 0 to 100
                   entered(),                   // 0 to 63
                   allowed("192.168.1.0/26"),   //
                   entered(),                   // 64 to 100
                   entered(),                   // 64 to 95
                   allowed("192.168.1.64/27"),  //
                   entered(),                   // 96 to 100
                   entered(),                   // 96 to 99
                   allowed("192.168.1.96/30"),  //
                   entered(),                   // 100
                   allowed("192.168.1.100/32")}));
}

TEST(RangeSplit, TheSeriesIsNotTheShortest) {
  EXPECT_EQ(last_octets(ip(192, 168, 1, 200), ip(192, 168, 1, 255)),
            lines({entered(),  // 200 to 255
                   entered(),  // 200 to 231
                   entered(),  // 200 to 207
                   allowed("192.168.1.200/29"), allowed("192.168.1.208/28"),
                   entered(),  // 224 to 231
                   allowed("192.168.1.224/29"),
                   entered(),  // 232 to 255
                   entered(),  // 232 to 247
                   allowed("192.168.1.232/29"),
                   entered(),  // 240 to 247
                   allowed("192.168.1.240/29"),
                   entered(),  // 248 to 255
                   allowed("192.168.1.248/29")}));
}

TEST(RangeSplit, BothKindsOfSplitMix) {
  EXPECT_EQ(last_octets(ip(192, 168, 1, 10), ip(192, 168, 1, 20)),
            lines({entered(),  // 10 to 20
                   entered(),  // 10 to 17
                   entered(),  // 10 to 11
                   allowed("192.168.1.10/31"), allowed("192.168.1.12/30"),
                   entered(),  // 16 to 17
                   allowed("192.168.1.16/31"),
                   entered(),  // 18 to 20
                   entered(),  // 18 to 19
                   allowed("192.168.1.18/31"),
                   entered(),  // 20
                   allowed("192.168.1.20/32")}));
}

TEST(RangeSplit, AStartOneAboveTheEndIsRefused) {
  EXPECT_EQ(
      record([] {
        EXPECT_EQ(config_acl_ip_range_24_mask(head, tail, ip(192, 168, 1, 9), ip(192, 168, 1, 8)),
                  -1);
      }),
      lines(
          {entered(), error("config_acl_ip_range_24_mask:start_ip is bigger than end_ip err!\n")}));
}

TEST(RangeSplit, AStartFurtherAboveTheEndIsAWrappedCount) {
  EXPECT_EQ(
      record([] {
        EXPECT_EQ(config_acl_ip_range_24_mask(head, tail, ip(192, 168, 1, 9), ip(192, 168, 1, 7)),
                  -1);
        EXPECT_EQ(config_acl_ip_range_24_mask(head, tail, ip(192, 168, 1, 255), ip(192, 168, 1, 0)),
                  -1);
      }),
      lines({entered(), error("config_acl_ip_range_24_mask:ip_num=-1, err!\n"),  //
             entered(), error("config_acl_ip_range_24_mask:ip_num=-254, err!\n")}));
}

/* ---- the entry point ---- */

TEST(RangeSplit, ARangeInsideOneBlockGoesToTheLastOctets) {
  EXPECT_EQ(whole(ip(192, 168, 1, 2), ip(192, 168, 1, 2)),
            lines({debug("------------ip_start=c0a80102, ip_end=c0a80102\n"), entered(),
                   allowed("192.168.1.2/32")}));
}

TEST(RangeSplit, NeighbouringBlocksHaveAMiddleThatIsOnlyLogged) {
  EXPECT_EQ(whole(ip(192, 168, 1, 200), ip(192, 168, 2, 10)),
            lines({debug("------------ip_start=c0a801c8, ip_end=c0a8020a\n"),
                   entered(),  // 1.200 to 1.255
                   entered(),  // 1.200 to 1.231
                   entered(),  // 1.200 to 1.207
                   allowed("192.168.1.200/29"),
                   allowed("192.168.1.208/28"),
                   entered(),  // 1.224 to 1.231
                   allowed("192.168.1.224/29"),
                   entered(),  // 1.232 to 1.255
                   entered(),  // 1.232 to 1.247
                   allowed("192.168.1.232/29"),
                   entered(),  // 1.240 to 1.247
                   allowed("192.168.1.240/29"),
                   entered(),  // 1.248 to 1.255
                   allowed("192.168.1.248/29"),
                   debug("------------[16]##ip_start=c0a80200,ip_end=c0a80100\n"),
                   error("config_acl_ip_range_16_mask:start_ip is bigger than end_ip err!\n"),
                   entered(),  // 2.0 to 2.10
                   entered(),  // 2.0 to 2.7
                   allowed("192.168.2.0/29"),
                   entered(),  // 2.8 to 2.10
                   entered(),  // 2.8 to 2.9
                   allowed("192.168.2.8/31"),
                   entered(),  // 2.10
                   allowed("192.168.2.10/32")}));
}

TEST(RangeSplit, ABlockBetweenBelongsToTheThirdOctets) {
  EXPECT_EQ(whole(ip(192, 168, 1, 255), ip(192, 168, 3, 0)),
            lines({debug("------------ip_start=c0a801ff, ip_end=c0a80300\n"), entered(),
                   allowed("192.168.1.255/32"),
                   debug("------------[16]##ip_start=c0a80200,ip_end=c0a80200\n"),
                   allowed("192.168.2.0/24"), entered(), allowed("192.168.3.0/32")}));
}

TEST(RangeSplit, AWholeSixteenIsNotOnePrefix) {
  EXPECT_EQ(prefixes(ip(192, 168, 0, 0), ip(192, 168, 255, 255)),
            "192.168.0.0/24 "
            // 1 to 63
            "192.168.1.0/24 192.168.2.0/24 192.168.3.0/24 192.168.4.0/22 192.168.8.0/24 "
            "192.168.9.0/24 192.168.10.0/23 192.168.12.0/24 "
            "192.168.13.0/24 192.168.14.0/24 192.168.15.0/24 192.168.16.0/20 192.168.32.0/24 "
            "192.168.33.0/24 192.168.34.0/23 192.168.36.0/24 "
            "192.168.37.0/24 192.168.38.0/24 192.168.39.0/24 192.168.40.0/21 192.168.48.0/24 "
            "192.168.49.0/24 192.168.50.0/24 192.168.51.0/24 192.168.52.0/22 192.168.56.0/24 "
            "192.168.57.0/24 192.168.58.0/23 192.168.60.0/24 "
            "192.168.61.0/24 192.168.62.0/24 192.168.63.0/24 "
            // 64 to 128
            "192.168.64.0/18 192.168.128.0/24 "
            // 129 to 159
            "192.168.129.0/24 192.168.130.0/23 192.168.132.0/24 "
            "192.168.133.0/24 192.168.134.0/24 192.168.135.0/24 192.168.136.0/21 192.168.144.0/24 "
            "192.168.145.0/24 192.168.146.0/24 192.168.147.0/24 192.168.148.0/22 192.168.152.0/24 "
            "192.168.153.0/24 192.168.154.0/23 192.168.156.0/24 "
            "192.168.157.0/24 192.168.158.0/24 192.168.159.0/24 "
            // 160 to 192
            "192.168.160.0/19 192.168.192.0/24 "
            // 193 to 224
            "192.168.193.0/24 192.168.194.0/24 192.168.195.0/24 192.168.196.0/22 192.168.200.0/24 "
            "192.168.201.0/24 192.168.202.0/23 192.168.204.0/24 "
            "192.168.205.0/24 192.168.206.0/24 192.168.207.0/24 192.168.208.0/20 192.168.224.0/24 "
            // 225 to 254
            "192.168.225.0/24 192.168.226.0/23 192.168.228.0/24 "
            "192.168.229.0/24 192.168.230.0/24 192.168.231.0/24 192.168.232.0/21 192.168.240.0/24 "
            "192.168.241.0/24 192.168.242.0/24 192.168.243.0/24 192.168.244.0/22 192.168.248.0/24 "
            "192.168.249.0/24 192.168.250.0/23 192.168.252.0/24 "
            "192.168.253.0/24 192.168.254.0/24 "
            "192.168.255.0/24 ");
}

TEST(RangeSplit, RangesWiderThanASixteenAreRefused) {
  EXPECT_EQ(record([] {
              EXPECT_EQ(config_acl_ip_range(head, tail, ip(10, 0, 0, 1), ip(10, 1, 0, 1)), -1);
              EXPECT_EQ(config_acl_ip_range(head, tail, ip(10, 0, 0, 1), ip(11, 0, 0, 1)), -1);
              EXPECT_EQ(config_acl_ip_range(head, tail, ip(10, 0, 0, 1), 0), -1);
            }),
            lines({debug("------------ip_start=a000001, ip_end=a010001\n"),
                   error("config_acl_ip_range:netmask=8 isn't support err!\n"),
                   debug("------------ip_start=a000001, ip_end=b000001\n"),
                   error("config_acl_ip_range:netmask=-1 isn't support err!\n"),
                   debug("------------ip_start=a000001, ip_end=0\n"),
                   error("config_acl_ip_range:netmask=-1 isn't support err!\n")}));
}

TEST(RangeSplit, AReversedRangeInsideOneBlockIsRefusedByTheWorkerAlone) {
  EXPECT_EQ(whole(ip(192, 168, 1, 9), ip(192, 168, 1, 8)),
            lines({debug("------------ip_start=c0a80109, ip_end=c0a80108\n"), entered(),
                   error("config_acl_ip_range_24_mask:start_ip is bigger than end_ip err!\n")}));
  EXPECT_EQ(whole(ip(192, 168, 1, 9), ip(192, 168, 1, 2)),
            lines({debug("------------ip_start=c0a80109, ip_end=c0a80102\n"), entered(),
                   error("config_acl_ip_range_24_mask:ip_num=-6, err!\n")}));
}

TEST(RangeSplit, AReversedRangeAcrossBlocksStillRunsBothItsEnds) {
  EXPECT_EQ(whole(ip(192, 168, 2, 254), ip(192, 168, 1, 1)),
            lines({debug("------------ip_start=c0a802fe, ip_end=c0a80101\n"), entered(),
                   allowed("192.168.2.254/31"),
                   debug("------------[16]##ip_start=c0a80300,ip_end=c0a80000\n"),
                   error("config_acl_ip_range_16_mask:ip_num=-2, err!\n"), entered(),
                   allowed("192.168.1.0/31")}));
}

TEST(RangeSplit, AReversedRangeFromTheLastBlockRunsBlocksOfTheNextSixteen) {
  EXPECT_EQ(whole(ip(192, 168, 255, 255), ip(192, 168, 2, 0)),
            lines({debug("------------ip_start=c0a8ffff, ip_end=c0a80200\n"), entered(),
                   allowed("192.168.255.255/32"),
                   debug("------------[16]##ip_start=c0a90000,ip_end=c0a80100\n"),
                   allowed("192.169.0.0/23"), entered(), allowed("192.168.2.0/32")}));
}

TEST(RangeSplit, AReversedRangeToTheFirstBlockRunsTheBlocksBehindItsStart) {
  EXPECT_EQ(whole(ip(192, 168, 253, 255), ip(192, 168, 0, 0)),
            lines({debug("------------ip_start=c0a8fdff, ip_end=c0a80000\n"), entered(),
                   allowed("192.168.253.255/32"),
                   debug("------------[16]##ip_start=c0a8fe00,ip_end=c0a7ff00\n"),
                   allowed("192.168.254.0/23"), entered(), allowed("192.168.0.0/32")}));
}

TEST(RangeSplit, TheMiddleWrapsAroundTheAddressSpaceUnsigned) {
  EXPECT_EQ(
      whole(ip(255, 255, 255, 255), ip(255, 255, 0, 0)),
      lines({debug("------------ip_start=ffffffff, ip_end=ffff0000\n"), entered(),
             allowed("255.255.255.255/32"), debug("------------[16]##ip_start=0,ip_end=fffeff00\n"),
             allowed("0.0.0.0/16"), entered(), allowed("255.255.0.0/32")}));
  EXPECT_EQ(
      whole(ip(0, 0, 253, 255), ip(0, 0, 0, 0)),
      lines({debug("------------ip_start=fdff, ip_end=0\n"), entered(), allowed("0.0.253.255/32"),
             debug("------------[16]##ip_start=fe00,ip_end=ffffff00\n"), allowed("0.0.254.0/23"),
             entered(), allowed("0.0.0.0/32")}));
}

/* ---- the command line ---- */

TEST(RangeSplit, HeadAndTailStandAroundThePrefixAsTheyAre) {
  EXPECT_EQ(record([] { config_acl_ip_range("", "", ip(1, 2, 3, 4), ip(1, 2, 3, 4)); }),
            lines({debug("------------ip_start=1020304, ip_end=1020304\n"),
                   debug("------------[24]##cmd_string=\n"), ran("1.2.3.4/32 ")}));
  EXPECT_EQ(record([] { config_acl_ip_range("%d ", "%s", ip(1, 2, 3, 4), ip(1, 2, 3, 4)); }),
            lines({debug("------------ip_start=1020304, ip_end=1020304\n"),
                   debug("------------[24]##cmd_string=%d \n"), ran("%d 1.2.3.4/32 %s")}));
}

TEST(RangeSplit, FailedCommandsAreNotNoticed) {
  world.system = [](const std::string&) { return exited(2); };
  EXPECT_EQ(record([] {
              EXPECT_EQ(config_acl_ip_range("S ", "T", ip(1, 2, 3, 4), ip(1, 2, 3, 6)), 0);
              EXPECT_EQ(config_acl_ip_range("S ", "T", ip(1, 2, 3, 5), ip(1, 2, 3, 6)), 0);
            }),
            lines({debug("------------ip_start=1020304, ip_end=1020306\n"),
                   debug("------------[24]##cmd_string=S \n"),
                   debug("------------[24]##cmd_string=S \n"), ran_and_failed("S 1.2.3.4/31 T", 2),
                   debug("------------[24]##cmd_string=S \n"), ran_and_failed("S 1.2.3.6/32 T", 2),
                   debug("------------ip_start=1020305, ip_end=1020306\n"),
                   debug("------------[24]##cmd_string=S \n"), ran_and_failed("S 1.2.3.5/32 T", 2),
                   ran_and_failed("S 1.2.3.6/32 T", 2)}));
}

TEST(RangeSplit, AHeadThatHoldsThePairsFirstAddressChangesWithIt) {
  EXPECT_EQ(record([] {
              config_acl_ip_range_24_mask("X 10.0.0.5 Y 10.0.0.55 -s ", "T 10.0.0.5",
                                          ip(10, 0, 0, 5), ip(10, 0, 0, 6));
            }),
            lines({debug("------------[24]##cmd_string=X 10.0.0.5 Y 10.0.0.55 -s \n"),
                   ran("X 10.0.0.5 Y 10.0.0.55 -s 10.0.0.5/32 T 10.0.0.5"),
                   ran("X 10.0.0.6 Y 10.0.0.65 -s 10.0.0.6/32 T 10.0.0.6")}));
  EXPECT_EQ(record([] {
              config_acl_ip_range_16_mask("X 10.0.5.0 -s ", "T", ip(10, 0, 5, 0), ip(10, 0, 6, 0));
            }),
            lines({debug("------------[16]##ip_start=a000500,ip_end=a000600\n"),
                   ran("X 10.0.5.0 -s 10.0.5.0/24 T"), ran("X 10.0.6.0 -s 10.0.6.0/24 T")}));
}

TEST(RangeSplit, ALineOf255CharactersRuns) {
  const std::string long_head = std::string(242, 'h');
  EXPECT_EQ(record([&] {
              config_acl_ip_range_24_mask(long_head.c_str(), "", ip(10, 0, 0, 99),
                                          ip(10, 0, 0, 99));
            }),
            lines({debug("------------[24]##cmd_string=" + long_head + "\n"),
                   ran(long_head + "10.0.0.99/32 ")}));
}

TEST(RangeSplit, AnOverlongLineIsNeverRun) {
  const std::string long_head = std::string(243, 'h');
  EXPECT_EQ(record([&] {
              EXPECT_EQ(config_acl_ip_range_24_mask(long_head.c_str(), "T", ip(10, 0, 0, 100),
                                                    ip(10, 0, 0, 102)),
                        0);
              EXPECT_EQ(config_acl_ip_range_24_mask(long_head.c_str(), "T", ip(10, 0, 0, 99),
                                                    ip(10, 0, 0, 100)),
                        0);
            }),
            lines({debug("------------[24]##cmd_string=" + long_head + "\n"),
                   debug("------------[24]##cmd_string=" + long_head + "\n"),
                   error("command is too long: [" + long_head + "10.0.0.100/3]\n"),
                   debug("------------[24]##cmd_string=" + long_head + "\n"),
                   error("command is too long: [" + long_head + "10.0.0.102/3]\n"),
                   debug("------------[24]##cmd_string=" + long_head + "\n"),
                   error("command is too long: [" + long_head + "10.0.0.99/32]\n"),
                   error("command is too long: [" + long_head + "10.0.0.100/3]\n")}));
}

TEST(RangeSplit, ASecondLineThatOutgrowsTheBufferIsNeverRun) {
  const std::string long_head = std::string(242, 'h');
  EXPECT_EQ(record([&] {
              EXPECT_EQ(config_acl_ip_range_24_mask(long_head.c_str(), "", ip(10, 0, 0, 99),
                                                    ip(10, 0, 0, 100)),
                        0);
            }),
            lines({debug("------------[24]##cmd_string=" + long_head + "\n"),
                   ran(long_head + "10.0.0.99/32 "),
                   error("command is too long: [" + long_head + "10.0.0.100/32]\n")}));
}
