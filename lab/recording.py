#!/usr/bin/env python3
"""Records a session at the gateway as a moving picture: lab/gateway lab/recording.py >docs/recording.svg"""

import html
import os
import pathlib
import pty
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).parent.parent

# What is done before the picture starts, and what is seen.
BEFORE = ["l3ctl init", "l3ctl wan update wan3", "l3ctl firewall on"]
SEEN = [
    "l3ctl mac-filter add 02:00:00:00:01:20 active=20:30-24:00",
    "l3ctl mac-filter on",
    "l3ctl explain --from lan --to wan --protocol tcp --source 192.168.1.20 --destination 203.0.113.2"
    " --destination-port 443 --mac 02:00:00:00:01:20 --time 21:00",
    "l3ctl check",
    "iptables -D forward_ext_mac 1",
    "l3ctl check",
    "l3ctl mac-filter delete 02:00:00:00:01:20",
]

WIDTH, LINE, FONT = 100, 19, 14
CHARACTER = 8.43
SGR = re.compile(r"\x1b\[([0-9;]*)m")
COLOURS = {"31": "#ff7b72", "32": "#7ee787", "33": "#e3b341", "34": "#79c0ff", "35": "#d2a8ff", "36": "#76e3ea",
           "1": "#ffffff", "2": "#8b949e"}


def on_terminal(command: str) -> str:
    """What a command writes when a person looks at it."""
    ours, theirs = pty.openpty()
    running = subprocess.Popen(["bash", "-c", command], cwd=ROOT, stdin=subprocess.DEVNULL, stdout=theirs,
                               stderr=theirs, env={**os.environ, "TERM": "xterm-256color", "COLUMNS": str(WIDTH)})
    os.close(theirs)
    written = b""
    while True:
        try:
            some = os.read(ours, 4096)
        except OSError:
            break
        if not some:
            break
        written += some
    running.wait()
    os.close(ours)
    return written.decode().replace("\r\n", "\n")


def folded(text: str) -> list[str]:
    """Lines of at most WIDTH characters, colours not counted."""
    lines = []
    for line in text.splitlines():
        while len(SGR.sub("", line)) > WIDTH:
            cut = line.rfind(" ", 0, WIDTH)
            lines.append(line[:cut] + (" \\" if line.startswith("$ ") else ""))
            line = "    " + line[cut + 1 :]
        lines.append(line)
    return lines


def spans(line: str) -> str:
    parts, colour = [], ""
    for number, piece in enumerate(SGR.split(line)):
        if number % 2:
            colour = next((COLOURS[code] for code in piece.split(";") if code in COLOURS), "")
        elif piece:
            fill = f' fill="{colour}"' if colour else ""
            parts.append(f"<tspan{fill}>{html.escape(piece)}</tspan>")
    return "".join(parts)


def picture(lines: list[tuple[float, str]]) -> str:
    """Each line appears at its time; the whole starts again some seconds after the last."""
    last = lines[-1][0] + 6
    height = LINE * (len(lines) + 1)
    rows, rules = [], []
    for number, (when, line) in enumerate(lines):
        rules.append(f"@keyframes a{number}{{0%,{100 * when / last:.2f}%{{opacity:0}}"
                     f"{100 * when / last + 0.01:.2f}%,100%{{opacity:1}}}}"
                     f".a{number}{{animation:a{number} {last:.1f}s infinite}}")
        rows.append(f'<text class="a{number}" x="12" y="{LINE * (number + 1)}" xml:space="preserve">'
                    f"{spans(line)}</text>")
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH * CHARACTER + 24:.0f}" height="{height}" '
            f'font-family="monospace" font-size="{FONT}" fill="#c9d1d9">\n<style>{"".join(rules)}</style>\n'
            f'<rect width="100%" height="100%" rx="6" fill="#0d1117"/>\n' + "\n".join(rows) + "\n</svg>\n")


def main() -> None:
    for command in BEFORE:
        subprocess.run(["bash", "-c", command], cwd=ROOT, check=True, capture_output=True)
    lines, now = [], 0.5
    for command in SEEN:
        for line in folded("$ " + command):
            lines.append((now, f"\x1b[1m{line}\x1b[0m"))
        now += 0.8
        for line in folded(on_terminal(command)):
            lines.append((now, line))
        lines.append((now, ""))
        now += 2.2
    sys.stdout.write(picture(lines))


if __name__ == "__main__":
    main()
