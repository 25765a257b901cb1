"""The collection as a whole: what its documents say is what its code takes, and what the schema says."""

import json
import re
import subprocess
import unittest

import controller
import gateways

HERE = controller.ROOT / "fleet/ansible"
SCHEMA = json.loads((controller.ROOT / "schema/settings.schema.json").read_text(encoding="utf-8"))
MODULES = sorted(path.stem for path in (HERE / "plugins/modules").glob("*.py"))


def schema_node(node):
    if "$ref" in node:
        return {**SCHEMA["$defs"][node["$ref"].rpartition("/")[2]], **{key: node[key] for key in node if key != "$ref"}}
    return node


class Collection(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        (gateways.PLACE / "home").mkdir(parents=True)
        controller.link_collection()
        cls.documents = {name.rpartition(".")[2]: told["doc"] for name, told in json.loads(cls.run_tool(
            "ansible-doc", "--json", *(f"l3_advance.gateway.{module}" for module in MODULES)).stdout).items()}  # fmt: skip
        cls.options = json.loads(cls.run_tool(HERE / "options", controller.COLLECTIONS, *MODULES).stdout)

    @staticmethod
    def run_tool(*command, check=True, **more):
        done = subprocess.run([str(word) for word in command], env=controller.environment(), capture_output=True, text=True,
                              check=False, **more)  # fmt: skip
        if check and done.returncode != 0:
            raise AssertionError(f"{command}: {done.stdout}{done.stderr}")
        return done

    def test_there_is_a_document_for_every_action(self):
        self.assertEqual(MODULES, sorted(path.stem for path in (HERE / "plugins/action").glob("*.py")))
        self.assertEqual(MODULES, sorted(self.documents))

    def test_documents_and_code_name_the_same_options(self):
        def plain(options, below):
            return {name: {
                "type": one.get("type", "str"), "required": one.get("required", False), "choices": one.get("choices"),
                "default": one.get("default"), "elements": one.get("elements"),
                "below": plain(one.get(below) or {}, below)} for name, one in options.items()}  # fmt: skip

        for module in MODULES:
            documented = plain(self.documents[module].get("options") or {}, "suboptions")
            self.assertEqual(documented, plain(self.options[module], "options"), module)

    def test_options_are_those_of_the_schema(self):
        def compare(spec, node, path):
            node = schema_node(node)
            if "oneOf" in node:
                self.assertEqual(spec["type"], "raw", path)
            elif "enum" in node:
                self.assertEqual(spec["choices"], node["enum"], path)
            elif node["type"] == "array":
                self.assertEqual(spec["type"], "list", path)
                items = schema_node(node["items"])
                if "properties" in items:
                    compare({"type": spec["elements"], "options": spec["options"]}, items, path + "[]")
            elif node["type"] == "object":
                self.assertEqual((spec["type"], set(spec["options"])), ("dict", set(node["properties"])), path)
                required = {name for name, one in spec["options"].items() if one.get("required")}
                self.assertEqual(required, set(node.get("required", [])), path)
                for name, member in node["properties"].items():
                    compare(spec["options"][name], member, f"{path}.{name}")
            else:
                kinds = {"bool": "boolean", "str": "string", "int": "integer"}
                self.assertEqual(kinds[spec["type"]], node["type"], path)

        compare(self.options["settings"]["config"], SCHEMA, "config")
        self.assertEqual(self.options["settings"]["sections"]["choices"], list(SCHEMA["properties"]))

    def test_what_is_generated_is_up_to_date(self):
        self.run_tool(HERE / "update", "--check")

    def test_every_option_is_explained(self):
        def walk(options):
            for name, one in options.items():
                self.assertTrue(one["description"], name)
                walk(one.get("suboptions") or {})

        for module, document in self.documents.items():
            walk(document.get("options") or {})
            self.assertGreater(len(document["short_description"]), 20, module)

    def test_the_rollout_knows_the_version(self):
        version = re.search(r"project\(l3_advance VERSION (\d+)", (controller.ROOT / "CMakeLists.txt").read_text(encoding="utf-8"))
        defaults = (HERE / "roles/rollout/defaults/main.yml").read_text(encoding="utf-8")
        self.assertIn(f'rollout_versions: ["{version[1]}"]', defaults)

    def test_yamllint(self):
        self.run_tool("yamllint", "--strict", "-c", controller.ROOT / "fleet/.yamllint", controller.ROOT / "fleet")

    def test_ansible_lint(self):
        place = controller.COLLECTIONS / "ansible_collections/l3_advance/gateway"
        done = self.run_tool("ansible-lint", "--offline", "--nocolor", "playbooks", "roles", check=False, cwd=place)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_the_licence_is_that_of_this_directory_alone(self):
        own = (HERE / "LICENSE").read_text(encoding="utf-8")
        self.assertIn("GNU GENERAL PUBLIC LICENSE", own)
        for path in [*HERE.rglob("*.py"), HERE / "options", HERE / "update"]:
            self.assertIn("GNU General Public License v3.0 or later", path.read_text(encoding="utf-8"), path)
        for path in (controller.ROOT / "tests/fleet").glob("*.py"):
            self.assertNotRegex(path.read_text(encoding="utf-8"), r"(?m)^\s*(import|from) ansible", path)


if __name__ == "__main__":
    unittest.main()
