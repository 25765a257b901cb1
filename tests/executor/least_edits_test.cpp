/* A transaction edits only what differs, and falls back to a flush and refill. */
#include "transaction_fixture.hpp"

/* The library's lines for a rule more in the middle, and for the file that keeps them. */
static void insert_and_save() {
  for (const char* line :
       {"iptables -F IN", "iptables -A IN -j a", "iptables -A IN -j x", "iptables -A IN -j b",
        "iptables -A IN -j c", "iptables-save -t filter >/tmp/saved"}) {
    str_system(line);
  }
}

TEST_F(Transaction, OnlyWhatDiffersIsEdited) {
  live("iptables", "[1:10] -A IN -j a\n[2:20] -A IN -j b\n[3:30] -A IN -j c\n");
  for (const char* line : {"iptables -F IN", "iptables -A IN -j a", "iptables -A IN -j c"}) {
    str_system(line);
  }
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(), "iptables-restore --noflush -w 5\n  *filter\n  -D IN -j b\n  COMMIT\n");
}

TEST_F(Transaction, NothingIsRunWhereNothingDiffers) {
  live("iptables", "[1:10] -A IN -j a\n");
  str_system("iptables -F IN");
  str_system("iptables -A IN -j a");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(), "");
  EXPECT_EQ(ours.rollback(), "");
}

TEST_F(Transaction, ADeletionThatOthersHaveMadeIsFollowedByARefill) {
  live("iptables", "[1:10] -A IN -j a\n[2:20] -A IN -j b\n[3:30] -A IN -j c\n");
  refuse("iptables -D IN -j b\n");
  for (const char* line : {"iptables -F IN", "iptables -A IN -j a", "iptables -A IN -j c"}) {
    str_system(line);
  }
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -D IN -j b\n"
            "iptables-restore --noflush -w 5 --counters\n  *filter\n  -F IN\n  [1:10] -A IN -j a\n"
            "  [3:30] -A IN -j c\n  COMMIT\n");
  EXPECT_TRUE(ours.failed_lines().empty());
}

TEST_F(Transaction, APlaceThatOthersHaveMovedIsFollowedByARefill) {
  live("iptables", "[1:10] -A IN -j a\n[2:20] -A IN -j b\n[3:30] -A IN -j c\n");
  for (const char* line : {"iptables -F IN", "iptables -A IN -j a", "iptables -A IN -j x",
                           "iptables -A IN -j b", "iptables -A IN -j c"}) {
    str_system(line);
  }
  // The tool keeps no rules here, so the read that follows does not show the new one.
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -I IN 2 -j x\n  COMMIT\n"
            "iptables-restore --noflush -w 5 --counters\n  *filter\n  -F IN\n  [1:10] -A IN -j a\n"
            "  -A IN -j x\n  [2:20] -A IN -j b\n  [3:30] -A IN -j c\n  COMMIT\n");
}

TEST_F(Transaction, ASaveThatFollowsShowsThatThePlaceWasRight) {
  live("iptables", "[1:10] -A IN -j a\n[2:20] -A IN -j b\n[3:30] -A IN -j c\n");
  hook("iptables-restore",
       "sed -i 's/^.* -A IN -j b$/[0:0] -A IN -j x\\n&/' /tmp/saved-iptables-save\n");
  insert_and_save();
  EXPECT_TRUE(ours.commit());
  const std::string all = content("/tmp/calls");
  EXPECT_EQ(
      all,
      "iptables-save -t filter -c\niptables-restore --noflush -w 5\n  *filter\n  -I IN 2 -j x\n"
      "  COMMIT\niptables-save -t filter\n");
}

TEST_F(Transaction, ASaveThatFollowsShowsThatOthersHaveMovedThePlace) {
  live("iptables", "[1:10] -A IN -j a\n[2:20] -A IN -j b\n[3:30] -A IN -j c\n");
  hook("iptables-restore",
       "sed -i -e '/-j x$/d' -e 's/^.* -A IN -j c$/[0:0] -A IN -j x\\n&/' "
       "/tmp/saved-iptables-save\n");
  insert_and_save();
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -I IN 2 -j x\n  COMMIT\n"
            "iptables-save -t filter\n"
            "iptables-restore --noflush -w 5 --counters\n  *filter\n  -F IN\n  [1:10] -A IN -j a\n"
            "  -A IN -j x\n  [2:20] -A IN -j b\n  [3:30] -A IN -j c\n  COMMIT\n"
            "iptables-save -t filter\n");
}

TEST_F(Transaction, EditsOfATableThatIsNotUnderstoodAreMadeAsTheyAre) {
  live("iptables", "[1:10] -A IN -m comment --comment \"open\n");
  str_system("iptables -F IN");
  str_system("iptables -A IN -j a");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -F IN\n  -A IN -j a\n  COMMIT\n");
}

TEST_F(Transaction, AToolThatIsKilledIsNotRunAgain) {
  live("iptables", "[1:10] -A IN -j a\n[2:20] -A IN -j b\n[3:30] -A IN -j c\n");
  hook("iptables-restore", killed_restore);
  for (const char* line : {"iptables -F IN", "iptables -A IN -j a", "iptables -A IN -j c"}) {
    str_system(line);
  }
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables-restore --noflush");
  EXPECT_EQ(told(), "iptables-restore --noflush -w 5\n");
}

TEST_F(Transaction, AYardstickRefillsWhateverTheChainHolds) {
  live("iptables", "[1:10] -A IN -j a\n");
  ours.set_refills(true);
  ours.set_mode(executor::Mode::transaction);
  str_system("iptables -F IN");
  str_system("iptables -A IN -j a");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5 --counters\n  *filter\n  -F IN\n  [1:10] -A IN -j a\n"
            "  COMMIT\n");
}
