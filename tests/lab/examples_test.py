"""Every example in the documents, the manual page and the help is run, and every command they name exists."""

import functools
import os
import pathlib
import re
import subprocess

from l3lab import device
from lab_case import LabCase

ROOT = pathlib.Path(__file__).parent.parent.parent
DOCUMENTS = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")])
FENCED = re.compile(r"^```(?:sh|console)?\n(.*?)^```", re.MULTILINE | re.DOTALL)
LITERAL = re.compile(r"^\.Bd -literal.*?\n(.*?)^\.Ed", re.MULTILINE | re.DOTALL)


def commands_in(block: str) -> list[str]:
    """The lines of a block that run l3ctl, continuation lines joined."""
    joined = block.replace("\\\n", " ")
    return [line.removeprefix("$ ") for line in joined.splitlines() if re.match(r"(\$ )?l3ctl ", line)]


def examples(text: str, block: re.Pattern) -> list[list[str]]:
    found = [commands_in(match.group(1)) for match in block.finditer(text)]
    return [commands for commands in found if commands]


@functools.cache
def help_of(*command: str) -> str:
    return device.l3ctl(*command, "--help").stdout


@functools.cache
def verbs(*command: str) -> tuple[str, ...]:
    listed = re.search(r"^Subcommands:\n(.*?)(\n\n|\Z)", help_of(*command), re.MULTILINE | re.DOTALL)
    return tuple(re.findall(r"^  ([a-z0-9-]+)", listed.group(1), re.MULTILINE)) if listed else ()


def all_commands(*command: str) -> list[tuple[str, ...]]:
    return [command, *(path for verb in verbs(*command) for path in all_commands(*command, verb))]


class Examples(LabCase):
    def run_all(self, commands: list[str]) -> None:
        """As someone types them, one after the other, in the folder that the tree was cloned into."""
        for command in commands:
            if command.startswith("l3ctl init"):
                device.cut_power()  # A start finds an empty packet filter.
            done = subprocess.run(["bash", "-c", command], cwd=ROOT, capture_output=True, text=True, errors="replace",
                                  env={**os.environ, "HOME": "/tmp"},
                                  stdin=subprocess.DEVNULL)
            self.assertEqual(done.returncode, 0, f"{command}\n{done.stdout}{done.stderr}")

    def test_the_documents(self):
        count = 0
        for document in DOCUMENTS:
            for commands in examples(document.read_text(encoding="utf-8"), FENCED):
                with self.subTest(document=document.name, first=commands[0]):
                    self.run_all(commands)
                    count += len(commands)
        self.assertGreater(count, 8)

    def test_the_manual_page(self):
        page = (ROOT / "man" / "l3ctl.8").read_text(encoding="utf-8").replace("\\e", "\\")
        found = examples(page, LITERAL)
        self.assertNotEqual(found, [])
        for commands in found:
            self.run_all(commands)

    def test_the_help(self):
        count = 0
        for command in all_commands():
            after = help_of(*command).partition("Example:\n")[2] or help_of(*command).partition("Examples:\n")[2]
            commands = commands_in("\n".join(line.strip() for line in after.partition("\n\n")[0].splitlines()))
            with self.subTest(command=command):
                self.run_all(commands)
                count += len(commands)
        self.assertGreater(count, 5)

    def test_every_command_that_a_document_names_exists(self):
        count = 0
        for document in DOCUMENTS:
            for named in re.findall(r"`l3ctl ([^`]*)`", document.read_text(encoding="utf-8")):
                path: tuple[str, ...] = ()
                for word in named.split():
                    if word not in verbs(*path):
                        break
                    path = (*path, word)
                with self.subTest(document=document.name, command=named):
                    self.assertTrue(path or named.startswith(("-", "FILTER")), f"l3ctl {named}")
                    count += 1
        self.assertGreater(count, 8)
