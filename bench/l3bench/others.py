"""The same rules said to ufw, ferm, shorewall and firewalld, in their own configuration.

Every one of them loads its whole rule set on a change; none edits what stands. Everything here runs inside the
sandbox, where /etc is a layer that goes with it.
"""

import itertools
import os
import pathlib
import shutil
import subprocess
import time

from l3bench import lines, memory

ETC = pathlib.Path("/etc")
COMPETITORS = pathlib.Path(__file__).resolve().parents[2] / "build/competitors"
_BUS = """<busconfig><type>system</type><listen>unix:path=/run/dbus/system_bus_socket</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/>
<allow user="*"/></policy></busconfig>
"""


def lay_over(backend):
    """Lays the unpacked competitors over /usr and /etc, which are this sandbox's own from now on."""
    for folder in ("/tmp/etc/upper", "/tmp/etc/work", "/tmp/usr/sbin"):
        os.makedirs(folder)
    if backend == "nft":
        hide_legacy_tools("/tmp/usr/sbin")
    mount = ["mount", "-t", "overlay", "overlay", "-o"]
    subprocess.run([*mount, f"lowerdir=/tmp/usr:{COMPETITORS}/usr:/usr", "/usr"], check=True)
    layers = f"lowerdir={COMPETITORS}/etc:/host-etc,upperdir=/tmp/etc/upper,workdir=/tmp/etc/work,userxattr"
    subprocess.run([*mount, layers, "/etc"], check=True)
    for folder in ("/var/lib/shorewall", "/var/lock", "/var/log", "/run/dbus"):
        os.makedirs(folder, exist_ok=True)
    os.symlink("/usr/lib/ufw", "/lib/ufw")


def hide_legacy_tools(folder):
    """ferm takes iptables-legacy where it finds one that it can run."""
    for tool in lines.FAMILIES:
        for kind in ("", "-save", "-restore"):
            pathlib.Path(folder, f"{tool}-legacy{kind}").touch()


def choose_backend(backend):
    """Some of them call the tools by their path, so those links have to follow too."""
    for tool in lines.FAMILIES:
        for kind in ("", "-save", "-restore"):
            link = ETC / "alternatives" / (tool + kind)
            link.unlink(missing_ok=True)
            link.symlink_to(f"/usr/sbin/xtables-{backend}-multi")


class Rule:
    """One rule of the IP filter: TCP from a source to ports of a destination."""

    def __init__(self, words):
        value = dict(itertools.pairwise(words))
        self.source, self.destination, self.ports = value["-s"], value["-d"], value["--dport"]


def ip_rules(folder):
    return [Rule(edit.words) for edit in lines.edits(lines.read(folder)) if "-s" in edit.words]


def _run(*command):
    done = subprocess.run(command, capture_output=True, text=True, errors="replace")
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: {(done.stderr + done.stdout).strip()[-200:]}")
    return done.stdout


def ferm(folder):
    """The whole table as it is when the call is over, in ferm's words by ferm's own tool."""
    text = _run("import-ferm", f"{folder}/after4")
    text += _run("import-ferm", f"{folder}/after6").replace("domain ip {", "domain ip6 {")
    path = pathlib.Path(folder) / "rules.ferm"
    path.write_text(text)
    return ["run", "ferm", path]


class Ufw:
    name = "ufw"

    def __init__(self, _backend):
        for pattern in ("*.conf", "*.init", "iptables/*.rules"):
            for file in pathlib.Path("/usr/share/ufw").glob(pattern):
                shutil.copy(file, ETC / "ufw")
        _run("ufw", "--force", "enable")
        self._empty = (ETC / "ufw/user.rules").read_text()

    def say(self, rules):
        text = ""
        for rule in rules:
            text += (f"### tuple ### route:deny tcp {rule.ports} {rule.destination} any {rule.source} in\n"
                     f"-A ufw-user-forward -p tcp -m multiport --dports {rule.ports} -d {rule.destination}"
                     f" -s {rule.source} -j DROP\n\n")  # fmt: skip
        (ETC / "ufw/user.rules").write_text(self._empty.replace("### END RULES ###", text + "### END RULES ###"))
        return ["run", "ufw", "reload"]

    def daemon_memory(self):
        return {}

    def close(self):
        pass


class Shorewall:
    name = "shorewall"

    def __init__(self, _backend):
        self._write("zones", "fw firewall\nlan ipv4\nwan ipv4\n")
        self._write("interfaces", "?FORMAT 2\nlan br0 bridge\nwan wan3\n")
        self._write("policy", "all all ACCEPT\n")

    def _write(self, name, text):
        (ETC / "shorewall" / name).write_text(text)

    def say(self, rules):
        text = "?SECTION NEW\n"
        for rule in rules:
            text += f"DROP lan:{rule.source} wan:{rule.destination} tcp {rule.ports}\n"
        self._write("rules", text)
        return ["run", "shorewall", "-q", "restart", "-c"]

    def daemon_memory(self):
        return {}

    def close(self):
        pass


class Firewalld:
    name = "firewalld"

    def __init__(self, backend):
        pathlib.Path("/tmp/bus.conf").write_text(_BUS)
        self._bus = subprocess.Popen(["dbus-daemon", "--config-file=/tmp/bus.conf", "--nofork", "--nopidfile"])
        config = ETC / "firewalld/firewalld.conf"
        kind = {"legacy": "iptables", "nft": "nftables"}[backend]
        config.write_text(config.read_text().replace("FirewallBackend=nftables", f"FirewallBackend={kind}"))
        with open("/tmp/firewalld.log", "w", encoding="utf-8") as log:
            self._daemon = subprocess.Popen(["firewalld", "--nofork", "--nopid"], stdout=log, stderr=log)
        self._wait()

    def _wait(self):
        end = time.monotonic() + 30
        while subprocess.run(["firewall-cmd", "--state"], capture_output=True).returncode != 0:
            if time.monotonic() > end or self._daemon.poll() is not None:
                raise RuntimeError("firewalld does not come up in the sandbox")

    def say(self, rules):
        text = ""
        for rule in rules:
            text += (f'<rule family="ipv4"><source address="{rule.source}"/>'
                     f'<destination address="{rule.destination}"/>'
                     f'<port port="{rule.ports.replace(":", "-")}" protocol="tcp"/><drop/></rule>\n')  # fmt: skip
        policy = (f'<?xml version="1.0" encoding="utf-8"?>\n<policy target="CONTINUE">\n{text}'
                  '<ingress-zone name="ANY"/><egress-zone name="ANY"/></policy>\n')  # fmt: skip
        (ETC / "firewalld/policies").mkdir(exist_ok=True)
        (ETC / "firewalld/policies/bench.xml").write_text(policy)
        return ["run", "firewall-cmd", "-q", "--reload"]

    def daemon_memory(self):
        return {"daemon memory": memory.of_running(self._daemon)}

    def close(self):
        for process in (self._daemon, self._bus):
            process.terminate()
            process.wait()


MANAGERS = (Ufw, Shorewall, Firewalld)
