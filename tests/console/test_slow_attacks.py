"""slowhttptest against the console: while its connections send or read slowly, clients of other addresses are served."""
import subprocess
import time
import unittest

from console import Client, ConsoleTest, until

# Headers, bodies, ranges, and answers that are read slowly.
ATTACKS = {"headers": ("-H",), "bodies": ("-B", "-s", "4096"), "ranges": ("-R",), "reading": ("-X", "-w", "1", "-y", "2", "-n", "1", "-z", "1", "-k", "3")}
SECONDS = 25


class SlowAttacks(ConsoleTest):
    def attack(self, *options):
        return subprocess.Popen(["slowhttptest", *options, "-c", "200", "-r", "100", "-i", "2", "-l", str(SECONDS), "-p", "3",
                                 "-u", "https://127.0.0.1:8443/"], stdout=subprocess.DEVNULL, cwd="/tmp")  # fmt: skip

    def test_others_are_served(self):
        client = Client(source="127.0.0.2")
        client.log_in()
        for name, options in ATTACKS.items():
            with self.subTest(name), self.attack(*options) as attack:
                times = []
                while attack.poll() is None:
                    begun = time.monotonic()
                    self.assertEqual(client.get("status").status, 200)
                    times.append(time.monotonic() - begun)
                    time.sleep(0.2)
                print(f"slow {name}: {len(times)} answers, the slowest after {max(times):.2f} s")
                # It ends when all of its connections have been ended.
                self.assertGreater(len(times), 5)
                self.assertLess(max(times), 3)
            self.assertTrue(until(lambda: self.client.get("/").status == 200))
        self.assertIsNone(self.server.process.poll())


if __name__ == "__main__":
    unittest.main()
