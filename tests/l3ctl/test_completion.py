"""Completion of command lines, in the shells themselves."""
import json
import re
import subprocess
import unittest
from pathlib import Path

from gateway import L3CTL, Gateway

INSTALLED = Path(__file__).resolve().parents[2] / "packaging/completion"

BASH = """
source /dev/stdin
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_l3ctl
printf '%s\n' "${COMPREPLY[@]}"
"""

# What the completion system of an interactive zsh supplies.
ZSH = """
_describe() { print -l -- "${(@P)@[-1]}" }
_files() { print FILES }
words=("$@") CURRENT=$#
set --
source /dev/stdin
"""


class Completion(Gateway):
    def complete(self, shell, *words):
        """What the shell offers for the last of the words."""
        script = self.l3ctl("completion", shell)
        self.assertEqual((script.status, script.err), (0, ""))
        return self.complete_by(script.out, shell, *words)

    def complete_by(self, script, shell, *words):
        driver = ["bash", "-c", BASH, "bash"] if shell == "bash" else ["zsh", "-f", "-c", ZSH, "zsh"]
        done = subprocess.run([*driver, *words], input=script, capture_output=True, text=True, timeout=60,
                              check=True, env={"PATH": f"/usr/bin:/bin:{Path(L3CTL).parent}"})
        self.assertEqual(done.stderr, "")
        return done.stdout.split("\n")[:-1]

    def test_the_installed_files_offer_the_same(self):
        for shell in ("bash", "zsh"):
            installed = (INSTALLED / f"l3ctl.{shell}").read_text()
            for words in (["l3ctl", ""], ["l3ctl", "url-filter", ""], ["l3ctl", "reset", "--y"]):
                self.assertEqual(self.complete_by(installed, shell, *words), self.complete(shell, *words), words)
        self.assertEqual(installed.splitlines()[0], "#compdef l3ctl")

    def commands_in_help(self):
        listed = self.l3ctl("--help").out.split("Subcommands:\n")[1].split("\n\n")[0]
        return re.findall(r"^  (\S+)", listed, re.MULTILINE)

    def test_bash_offers_every_command(self):
        self.assertEqual(self.complete("bash", "l3ctl", ""), self.commands_in_help())

    def test_bash_offers_the_verbs_of_a_command_and_what_fits_of_them(self):
        self.assertEqual(self.complete("bash", "l3ctl", "url-filter", ""),
                         ["list", "add", "delete", "set", "mode", "on", "off", "clear", "reset"])
        self.assertEqual(self.complete("bash", "l3ctl", "--json", "access", "telnet", "a"), ["allow"])
        self.assertEqual(self.complete("bash", "l3ctl", "record", "read", "ct"), ["ct-timeout"])

    def test_bash_offers_options_the_programs_own_included(self):
        self.assertEqual(self.complete("bash", "l3ctl", "reset", "--y"), ["--yes"])
        self.assertEqual(self.complete("bash", "l3ctl", "mac-filter", "--js"), ["--json"])

    def test_bash_leaves_the_rest_to_file_names(self):
        self.assertEqual(self.complete("bash", "l3ctl", "apply", "exam"), [""])
        self.assertIn("complete -o default -F _l3ctl l3ctl", self.l3ctl("completion", "bash").out)

    def test_zsh_offers_every_command_with_its_help(self):
        offered = self.complete("zsh", "l3ctl", "")
        self.assertEqual([line.partition(":")[0] for line in offered], self.commands_in_help())
        self.assertIn("acl:Who may reach the gateway's own services", offered)

    def test_zsh_offers_verbs_options_and_files(self):
        self.assertEqual([line.partition(":")[0] for line in self.complete("zsh", "l3ctl", "wan", "")],
                         ["show", "update", "clear"])
        self.assertIn("--yes", [line.partition(":")[0] for line in self.complete("zsh", "l3ctl", "reset", "-")])
        self.assertEqual(self.complete("zsh", "l3ctl", "apply", ""), ["FILES"])

    def test_both_shells_offer_the_values_that_are_known(self):
        sections = ["time_zone", *json.loads(self.l3ctl("export").out)]
        for words, values in ((["level", ""], ["off", "low", "high"]), (["level", "h"], ["high"]),
                              (["completion", ""], ["bash", "zsh"]), (["show", ""], sections),
                              (["--json", "show", "url_filter", "route"], ["route_qos"]),
                              (["export", "--section", ""], sections),
                              (["apply", "x.json", "--section", "mac_"], ["mac_filter"]),
                              (["explain", "--from", ""], ["lan", "wan", "other"]),
                              (["explain", "--from", "lan", "--to", ""], ["gateway", "lan", "wan", "other"]),
                              (["explain", "--protocol", "u"], ["udp"])):
            self.assertEqual(self.complete("bash", "l3ctl", *words), values, words)
            # zsh itself picks those that fit.
            offered = self.complete("zsh", "l3ctl", *words)
            self.assertEqual([value for value in offered if value.startswith(words[-1])], values, words)

    def test_what_is_offered_is_what_the_parser_takes(self):
        self.store()
        for word in self.complete("bash", "l3ctl", "show", ""):
            self.assertEqual(self.l3ctl("show", word).status, 0, word)
        for option in ("--from", "--to", "--protocol"):
            for word in self.complete("bash", "l3ctl", "explain", option, ""):
                self.assertNotIn(f"{option}: ", self.l3ctl("explain", option, word).err)
            self.assertIn(f"{option}: ", self.l3ctl("explain", "--from=lan", "--to=wan", "--protocol=tcp", option, "no").err)

    def test_another_shell_is_refused(self):
        outcome = self.l3ctl("completion", "fish")
        self.assertEqual((outcome.status, outcome.out), (2, ""))
        self.assertIn("SHELL", outcome.err)


if __name__ == "__main__":
    unittest.main()
