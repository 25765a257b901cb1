"""Command lines that are not understood, and what help says."""
import unittest

from gateway import Gateway


class Words(Gateway):
    def test_the_unknown_word_is_named_with_the_nearest(self):
        for line, told in (
                ("mac-filtr list", '"mac-filtr" is no command of "l3ctl"; did you mean "mac-filter"?'),
                ("frobnicate", '"frobnicate" is no command of "l3ctl"; "l3ctl --help" lists what there is'),
                ("help", '"help" is no command of "l3ctl"; did you mean "--help"?'),
                ("--bogus", '"--bogus" is no option of "l3ctl"; "l3ctl --help" lists what there is'),
                ("url-filter lst", '"lst" is no command of "l3ctl url-filter"; did you mean "list"?'),
                ("record read /etc/passwd", '"/etc/passwd" is no command of "l3ctl record read"; '
                                            '"l3ctl record read --help" lists what there is'),
                ("explain --frm lan", '"--frm" is no option of "l3ctl explain"; did you mean "--from"?'),
                ("acl list more", '"more" is no word of "l3ctl acl list"; "l3ctl acl list --help" lists what there is'),
                ("\x1b[2J", '"\\x1b[2J" is no command of "l3ctl"; "l3ctl --help" lists what there is'),
                ("mac-filter add", 'WORD is required; "l3ctl mac-filter add --help" tells more'),
                ("", 'A subcommand is required; "l3ctl --help" tells more')):
            self.assert_outcome(self.l3ctl(*line.split()), 2, err=f"l3ctl: {told}\n")
        self.assert_untouched()

    def test_words_mean_the_same_wherever_a_command_stands(self):
        self.store()
        found = self.l3ctl("url-filter", "list").out
        for line in ("--lock-timeout 3 url-filter list", "--force url-filter --one-by-one list", "url-filter list --force"):
            self.assert_outcome(self.l3ctl(*line.split()), 0, found)
        self.assert_outcome(self.l3ctl("mac-filter", "delete", "status"), 2, err=(
            'l3ctl: mac-filter: no entry "status" ("l3ctl mac-filter list" shows them); nothing was changed\n'))
        self.assert_outcome(self.l3ctl("version", "status"), 2, err=(
            'l3ctl: "status" is no word of "l3ctl version"; "l3ctl version --help" lists what there is\n'))
        self.assert_outcome(self.l3ctl("nothing", "version"), 2, err=(
            'l3ctl: "nothing" is no word of "l3ctl version"; "l3ctl version --help" lists what there is\n'))

    def test_each_command_tells_its_own_statuses(self):
        refused = "the packet filter refused a rule"
        self.assertIn("  3  the kernel's rules are not those of the settings\n", self.l3ctl("check", "--help").out)
        for command in ("check", "rules", "explain", "status", "show"):
            self.assertNotIn(refused, self.l3ctl(command, "--help").out)
        for command in ("apply", "firewall", "restore", "init"):
            self.assertIn(refused, self.l3ctl(command, "--help").out)
        self.assertIn("check: the kernel's rules are not those of the settings\n", self.l3ctl("--help").out)

    def test_the_list_of_commands_fits_a_screen(self):
        lines = self.l3ctl("--help").out.splitlines()
        self.assertEqual([line for line in lines if len(line) > 115], [])


if __name__ == "__main__":
    unittest.main()
