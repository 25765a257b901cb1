"""The description and the server say the same."""
import os
import re
import subprocess
import unittest

import api

METHODS = ("get", "put", "post", "delete", "patch", "head", "options")


def described():
    for path, operations in api.API["paths"].items():
        for method, operation in operations.items():
            yield method, path, operation


class OpenApi(unittest.TestCase):
    def test_the_same_routes_in_both_directions(self):
        known = set(subprocess.run([os.environ["L3_CONSOLE"], "--routes"], capture_output=True, text=True, check=True).stdout.splitlines())
        self.assertEqual({f"{method.upper()} {path}" for method, path, _ in described()}, known)
        self.assertGreater(len(known), 15)

    def test_the_same_codes_in_both_directions(self):
        words = set()
        for path in (api.ROOT / "console/server").glob("*.?pp"):
            text = path.read_text()
            words |= set(re.findall(r"problem(?:_for_now)?\(\s*\d+,\s*\"([a-z0-9_]+)\"", text))
            words |= set(re.findall(r"\{\d{3}, \"([a-z0-9_]+)\"\}", text))
            words |= set(re.findall(r"urn:l3-advance:problem:([a-z0-9_]+)", text))
        self.assertEqual(words, set(api.local("#/components/schemas/problem")["properties"]["code"]["enum"]))

    def test_examples_are_what_their_schemas_want(self):
        count = 0
        for method, path, operation in described():
            self.assertIn("summary", operation)
            bodies = [api.resolved(operation["requestBody"])] if "requestBody" in operation else []
            bodies += [api.resolved(response) for response in operation["responses"].values()]
            for body in bodies:
                for media in body.get("content", {}).values():
                    examples = [example["value"] for example in media.get("examples", {}).values()]
                    for example in examples + ([media["example"]] if "example" in media else []):
                        count += 1
                        self.assertEqual(api.faults(media["schema"], example), [], (method, path))
            for parameter in map(api.resolved, operation.get("parameters", [])):
                count += 1
                self.assertEqual(api.faults(parameter["schema"], parameter["example"]), [], (method, path))
        self.assertGreater(count, 40)

    def test_the_judge_finds_faults(self):
        problem = {"type": "urn:l3-advance:problem:log_in", "status": 401, "code": "log_in", "detail": "x"}
        schema = api.local("#/components/schemas/problem")
        self.assertEqual(api.faults(schema, problem), [])
        for wrong in ({**problem, "code": "other"}, {**problem, "more": 1}, {**problem, "status": 200}, {"code": "log_in"}):
            self.assertNotEqual(api.faults(schema, wrong), [])
        status = api.API["paths"]["/api/v1/status"]["get"]["responses"]["200"]["content"]["application/json"]["schema"]
        self.assertNotEqual(api.faults(status, {}), [])


if __name__ == "__main__":
    unittest.main()
