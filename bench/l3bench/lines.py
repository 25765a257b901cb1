"""The command lines of a call, and the same rules for iptables-restore and nft."""

import pathlib
import re
import shlex
import subprocess
from typing import NamedTuple

FAMILIES = {"iptables": 4, "ip6tables": 6}
_PLAIN = re.compile(r"[\w./:,!+@%=-]+", re.ASCII)


class Edit(NamedTuple):
    """One rule edit: the words behind "iptables", without the table."""

    family: int
    words: list


def read(folder):
    """The lines that `stopwatch prepare` kept. Names hold raw bytes: one character each here."""
    text = (pathlib.Path(folder) / "lines").read_bytes().decode("latin-1")
    return text.split("\0")[:-1]


def edits(lines):
    """The rule edits among the lines; saves, and the list of kernel modules, are none."""
    found = []
    for line in lines:
        program = line.split(" ", 1)[0]
        if program in FAMILIES:
            words = shlex.split(line)[1:]
            if words[:2] == ["-t", "filter"]:
                words = words[2:]
            found.append(Edit(FAMILIES[program], words))
    return found


def saves(lines):
    """How many of the lines save a table."""
    return sum("-save -t filter >" in line for line in lines)


def _quoted(word):
    if _PLAIN.fullmatch(word):
        return word
    return '"' + word.replace("\\", "\\\\").replace('"', '\\"') + '"'


def _restore_line(words):
    if words[0] == "-N":
        return f":{words[1]} - [0:0]"
    return " ".join(_quoted(word) for word in words)


def restore_text(all_edits, family):
    """One table for `iptables-restore --noflush`; empty where the family has no edit."""
    mine = [_restore_line(edit.words) for edit in all_edits if edit.family == family]
    return "\n".join(["*filter", *mine, "COMMIT", ""]) if mine else ""


def write_restore(folder):
    """[(program, file)] that make the edits of the folder's lines in one go a family."""
    lines, made = read(folder), []
    all_edits = edits(lines)
    for program, family in FAMILIES.items():
        saved = f"{program}-restore </ztcfg/firewall{'6' if family == 6 else ''}.conf"
        path = pathlib.Path(folder) / f"restore{family}"
        if saved in lines:
            stored = pathlib.Path(folder) / "store" / saved.rsplit("/", 1)[1]
            made.append(([f"{program}-restore", str(stored)], stored))
        elif text := restore_text(all_edits, family):
            path.write_bytes(text.encode("latin-1"))
            made.append(([f"{program}-restore", "--noflush", str(path)], path))
    return made


def translate(program, path):
    """What a file for iptables-restore is in nft's words, and the rules that nft has none for."""
    tool = ["xtables-nft-multi", f"{program.removesuffix('-restore')}-restore-translate", "-f", str(path)]
    said = subprocess.run(tool, capture_output=True, check=True).stdout.decode("latin-1")
    lost = [line for line in said.splitlines() if line.startswith("# -t")]
    # With a quoted prefix of iptables-restore's own, a comment in front says nothing here.
    return "\n".join(line for line in said.splitlines() if not line.startswith("#")) + "\n", lost


def write_script(folder):
    """A shell script of the lines."""
    path = pathlib.Path(folder) / "script.sh"
    path.write_bytes("".join(line + "\n" for line in read(folder)).encode("latin-1"))
    return path


def write_nft(folder):
    """(path, reason): one file for `nft -f`, or why there is none; and beside it before.nft, which puts the state
    that the call finds into nft's own tables."""
    text = ""
    for command, path in write_restore(folder):
        if "--noflush" not in command:
            text += "flush table ip6 filter\n"
        part, lost = translate(command[0], path)
        if lost:
            return None, "nft has no match on a text in a packet"
        text += part
    made = pathlib.Path(folder) / "rules.nft"
    made.write_text(text)
    before = "flush ruleset\n"
    for program, family in FAMILIES.items():
        part, _ = translate(program, pathlib.Path(folder) / f"before{family}")
        before += part
    (pathlib.Path(folder) / "before.nft").write_text(before)
    return made, None
