/* Address ranges as prefixes: whole /24 blocks, by their third octets. */
#include "harness.hpp"

using namespace harness;

namespace {

constexpr char head[] = "iptables -A input_ext_us_acl -p tcp --dport 80 -s ";
constexpr char tail[] = " -j ACCEPT";

/* One command line of the head and tail above. */
Lines allowed(const std::string& prefix) {
  return ran("iptables -A input_ext_us_acl -p tcp --dport 80 -s " + prefix + "  -j ACCEPT");
}

constexpr uint32_t ip(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return a << 24 | b << 16 | c << 8 | d;
}

std::string third_octets(uint32_t start, uint32_t end) {
  return record([=] { EXPECT_EQ(config_acl_ip_range_16_mask(head, tail, start, end), 0); });
}

}  // namespace

TEST(RangeSplitBlocks, OneBlockIsOnePrefix) {
  EXPECT_EQ(third_octets(ip(192, 168, 5, 0), ip(192, 168, 5, 0)),
            lines({debug("------------[16]##ip_start=c0a80500,ip_end=c0a80500\n"),
                   allowed("192.168.5.0/24")}));
}

TEST(RangeSplitBlocks, PairsOfBlocks) {
  EXPECT_EQ(third_octets(ip(192, 168, 4, 0), ip(192, 168, 5, 0)),
            lines({debug("------------[16]##ip_start=c0a80400,ip_end=c0a80500\n"),
                   allowed("192.168.4.0/23")}));
  EXPECT_EQ(third_octets(ip(192, 168, 5, 0), ip(192, 168, 6, 0)),
            lines({debug("------------[16]##ip_start=c0a80500,ip_end=c0a80600\n"),
                   allowed("192.168.5.0/24"), allowed("192.168.6.0/24")}));
}

TEST(RangeSplitBlocks, AllBlocksAreOnePrefix) {
  EXPECT_EQ(third_octets(ip(192, 168, 0, 0), ip(192, 168, 255, 0)),
            lines({debug("------------[16]##ip_start=c0a80000,ip_end=c0a8ff00\n"),
                   allowed("192.168.0.0/16")}));
}

TEST(RangeSplitBlocks, EveryAlignedPowerOfTwoOfBlocksIsOnePrefix) {
  EXPECT_EQ(third_octets(ip(10, 0, 12, 0), ip(10, 0, 15, 0)),
            lines({debug("------------[16]##ip_start=a000c00,ip_end=a000f00\n"),
                   allowed("10.0.12.0/22")}));
  EXPECT_EQ(third_octets(ip(10, 0, 24, 0), ip(10, 0, 31, 0)),
            lines({debug("------------[16]##ip_start=a001800,ip_end=a001f00\n"),
                   allowed("10.0.24.0/21")}));
  EXPECT_EQ(third_octets(ip(10, 0, 48, 0), ip(10, 0, 63, 0)),
            lines({debug("------------[16]##ip_start=a003000,ip_end=a003f00\n"),
                   allowed("10.0.48.0/20")}));
  EXPECT_EQ(third_octets(ip(10, 0, 96, 0), ip(10, 0, 127, 0)),
            lines({debug("------------[16]##ip_start=a006000,ip_end=a007f00\n"),
                   allowed("10.0.96.0/19")}));
  EXPECT_EQ(third_octets(ip(10, 0, 192, 0), ip(10, 0, 255, 0)),
            lines({debug("------------[16]##ip_start=a00c000,ip_end=a00ff00\n"),
                   allowed("10.0.192.0/18")}));
  EXPECT_EQ(third_octets(ip(10, 0, 128, 0), ip(10, 0, 255, 0)),
            lines({debug("------------[16]##ip_start=a008000,ip_end=a00ff00\n"),
                   allowed("10.0.128.0/17")}));
}

TEST(RangeSplitBlocks, UnalignedBlocksSplitAroundTheirAlignedHalf) {
  EXPECT_EQ(third_octets(ip(192, 168, 1, 0), ip(192, 168, 8, 0)),
            lines({debug("------------[16]##ip_start=c0a80100,ip_end=c0a80800\n"),
                   debug("------------[16]##ip_start=c0a80100,ip_end=c0a80300\n"),
                   debug("------------[16]##ip_start=c0a80100,ip_end=c0a80200\n"),
                   allowed("192.168.1.0/24"), allowed("192.168.2.0/24"),
                   debug("------------[16]##ip_start=c0a80300,ip_end=c0a80300\n"),
                   allowed("192.168.3.0/24"), allowed("192.168.4.0/22"),
                   debug("------------[16]##ip_start=c0a80800,ip_end=c0a80800\n"),
                   allowed("192.168.8.0/24")}));
}

TEST(RangeSplitBlocks, BlocksBetweenPowersOfTwoTakeTheLargerPowerFirst) {
  EXPECT_EQ(third_octets(ip(192, 168, 0, 0), ip(192, 168, 130, 0)),
            lines({debug("------------[16]##ip_start=c0a80000,ip_end=c0a88200\n"),
                   debug("------------[16]##ip_start=c0a80000,ip_end=c0a87f00\n"),
                   allowed("192.168.0.0/17"),
                   debug("------------[16]##ip_start=c0a88000,ip_end=c0a88200\n"),
                   debug("------------[16]##ip_start=c0a88000,ip_end=c0a88100\n"),
                   allowed("192.168.128.0/23"),
                   debug("------------[16]##ip_start=c0a88200,ip_end=c0a88200\n"),
                   allowed("192.168.130.0/24")}));
}

TEST(RangeSplitBlocks, AStartBlockAboveTheEndBlockIsRefused) {
  EXPECT_EQ(
      record([] {
        EXPECT_EQ(config_acl_ip_range_16_mask(head, tail, ip(192, 168, 9, 0), ip(192, 168, 8, 0)),
                  -1);
        EXPECT_EQ(config_acl_ip_range_16_mask(head, tail, ip(192, 168, 9, 0), ip(192, 168, 7, 0)),
                  -1);
        EXPECT_EQ(config_acl_ip_range_16_mask(head, tail, ip(192, 168, 255, 0), ip(192, 168, 0, 0)),
                  -1);
      }),
      lines({debug("------------[16]##ip_start=c0a80900,ip_end=c0a80800\n"),
             error("config_acl_ip_range_16_mask:start_ip is bigger than end_ip err!\n"),
             debug("------------[16]##ip_start=c0a80900,ip_end=c0a80700\n"),
             error("config_acl_ip_range_16_mask:ip_num=-1, err!\n"),
             debug("------------[16]##ip_start=c0a8ff00,ip_end=c0a80000\n"),
             error("config_acl_ip_range_16_mask:ip_num=-254, err!\n")}));
}

TEST(RangeSplitBlocks, ABlockAtTheStartKeepsTheStartsLastOctet) {
  EXPECT_EQ(third_octets(ip(10, 0, 4, 7), ip(10, 0, 5, 9)),
            lines({debug("------------[16]##ip_start=a000407,ip_end=a000509\n"),
                   allowed("10.0.4.7/23")}));
  EXPECT_EQ(third_octets(ip(10, 0, 5, 7), ip(10, 0, 6, 0)),
            lines({debug("------------[16]##ip_start=a000507,ip_end=a000600\n"),
                   allowed("10.0.5.7/24"), allowed("10.0.6.7/24")}));
}

TEST(RangeSplitBlocks, ABlockFoundInsideBeginsAtZeroAndSoDoesWhatStandsBehindIt) {
  EXPECT_EQ(
      third_octets(ip(10, 0, 1, 7), ip(10, 0, 8, 9)),
      lines({debug("------------[16]##ip_start=a000107,ip_end=a000809\n"),
             debug("------------[16]##ip_start=a000107,ip_end=a000300\n"),
             debug("------------[16]##ip_start=a000107,ip_end=a000207\n"), allowed("10.0.1.7/24"),
             allowed("10.0.2.7/24"), debug("------------[16]##ip_start=a000307,ip_end=a000300\n"),
             allowed("10.0.3.7/24"), allowed("10.0.4.0/22"),
             debug("------------[16]##ip_start=a000800,ip_end=a000809\n"),
             allowed("10.0.8.0/24")}));
}

TEST(RangeSplitBlocks, TheBlockBeforeAFoundOneIsRunWhateverTheStartsLastOctet) {
  EXPECT_EQ(
      third_octets(ip(10, 0, 1, 5), ip(10, 0, 4, 0)),
      lines({debug("------------[16]##ip_start=a000105,ip_end=a000400\n"),
             debug("------------[16]##ip_start=a000105,ip_end=a000100\n"), allowed("10.0.1.5/24"),
             allowed("10.0.2.0/23"), debug("------------[16]##ip_start=a000400,ip_end=a000400\n"),
             allowed("10.0.4.0/24")}));
}
