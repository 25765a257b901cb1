/* Flushing, saving and restoring the rule set as a whole. */
#include "harness.hpp"

using namespace harness;

TEST(RuleSet, SavingWritesTheFilterTableOfEachFamily) {
  EXPECT_EQ(record([] { EXPECT_EQ(save_fw(), 0); }),
            lines({ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(record([] { EXPECT_EQ(save_fw6(), 0); }),
            lines({ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
}
