"""The console of ./run --console: its address, its password, its traffic, and its end. It opens a port of this machine's
loopback, which is what it is for, so it runs outside the sandbox.   lab_console.py"""
import json
import os
import re
import signal
import socket
import subprocess
import unittest
from pathlib import Path

from console import PASSWORD, Client, until

ROOT = Path(__file__).resolve().parents[2]


class Lab(unittest.TestCase):
    def test_from_the_first_line_to_ctrl_c(self):
        with socket.create_server(("127.0.0.1", 0)) as one:
            port = one.getsockname()[1]
        lab = subprocess.Popen([ROOT / "lab/console", "--port", str(port)], stdout=subprocess.PIPE, text=True, start_new_session=True)
        self.addCleanup(lab.kill)
        self.assertIn(f"https://127.0.0.1:{port}", lab.stdout.readline())
        first = re.search(r"log-in: ([a-z2-9-]{24})$", lab.stdout.readline().strip()).group(1)
        client = Client(port=port)
        self.assertEqual(client.log_in(first).status, 201)
        self.assertEqual(client.send("PUT", "password", {"current": first, "new": PASSWORD}).status, 204)
        self.assertTrue(client.get("settings").json["mac_filter"]["devices"])
        self.assertEqual(client.get("status").json["internet_wan"], "wan3")

        def is_counted():
            rules = [rule for table in client.get("rules").json["tables"] for chain in table["chains"] for rule in chain["rules"]]
            return any(rule["packets"] and rule["target"] == "DROP" for rule in rules)

        self.assertTrue(until(is_counted))
        self.assertTrue(json.loads(client.get("health").data)["findings"])
        os.killpg(lab.pid, signal.SIGINT)
        lab.wait(timeout=60)
        self.assertIn(lab.returncode, (0, -signal.SIGINT, 130))
        self.assertTrue(until(lambda: subprocess.run(["pgrep", "--session", str(lab.pid)], stdout=subprocess.DEVNULL).returncode == 1))
        with self.assertRaises(ConnectionRefusedError):
            client.get("session")
        lab.stdout.close()


if __name__ == "__main__":
    unittest.main()
