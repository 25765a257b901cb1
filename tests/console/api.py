"""console/openapi.yaml as a judge: whether a response of the console is one that it describes."""
import gzip
import json
import re
from pathlib import Path

import jsonschema
import yaml

ROOT = Path(__file__).resolve().parents[2]
PATH = ROOT / "console/openapi.yaml"
# By their places, which references are relative to, and not by their "$id", a URN.
SCHEMAS = {path.as_uri(): {key: value for key, value in json.loads(path.read_text()).items() if key != "$id"}
           for path in (ROOT / "schema").glob("*.json")}
API = yaml.safe_load(PATH.read_text())


def local(reference):
    at = API
    for step in reference.removeprefix("#/").split("/"):
        at = at[step]
    return at


def resolved(part):
    return local(part["$ref"]) if "$ref" in part else part


def faults(part, value):
    """What a value has that a schema does not allow, as texts."""
    if part.get("$ref", "").startswith("../"):
        place = (PATH.parent / part["$ref"]).resolve().as_uri()
        schema = SCHEMAS[place]
    else:
        place = PATH.as_uri()
        schema = {**part, "components": API["components"]}
    resolver = jsonschema.RefResolver(place, schema, store=SCHEMAS)
    validator = jsonschema.Draft202012Validator(schema, resolver=resolver)
    return [f"{error.json_path}: {error.message}" for error in validator.iter_errors(value)]


def operation_of(method, path):
    """The description of a route, found by the path of a request."""
    path = path.split("?")[0]
    for pattern, operations in API["paths"].items():
        if re.fullmatch(re.sub(r"\{\w+\}", "[^/]+", pattern), path) and method.lower() in operations:
            return operations[method.lower()]
    return None


def faults_of_response(method, path, response):
    """What a response has that the description does not, as texts."""
    operation = operation_of(method, path)
    kind = response.headers["Content-Type"]
    if operation is None:
        described = local("#/components/responses/problem")
    elif str(response.status) in operation["responses"]:
        described = resolved(operation["responses"][str(response.status)])
    elif response.status >= 400:
        described = resolved(operation["responses"].get("default", {"$ref": "#/components/responses/problem"}))
    else:
        return [f"{response.status} is not described"]
    content = described.get("content", {})
    if not content:
        return [f"a body of {kind}"] if response.data else []
    media = kind.split(";")[0]
    if media not in content:
        return [f"{kind} is not described"]
    is_json = media.endswith("json")
    data = gzip.decompress(response.data) if response.headers["Content-Encoding"] == "gzip" else response.data
    return faults(content[media]["schema"], json.loads(data) if is_json else data.decode())
