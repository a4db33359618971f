"""Holds each example scenario, and the timeline that it gives, against their schemas in docs.

usage: check_schemas.py KSBEACON SOURCE
"""

import json
import pathlib
import subprocess
import sys

from jsonschema import Draft202012Validator


def validator(path):
    schema = json.loads(path.read_text())
    Draft202012Validator.check_schema(schema)
    return Draft202012Validator(schema)


def lines_by_kind(schema):
    """One validator per kind, so that a line is held against its own few shapes only."""
    kinds = {}
    for shape in schema["oneOf"]:
        kinds.setdefault(shape["title"], []).append(shape)
    return {
        kind: Draft202012Validator({"$defs": schema["$defs"], "type": "object", "oneOf": shapes})
        for kind, shapes in kinds.items()
    }


def main():
    command, source = sys.argv[1], pathlib.Path(sys.argv[2])
    scenario = validator(source / "docs/scenario.schema.json")
    shapes = lines_by_kind(validator(source / "docs/timeline.schema.json").schema)
    portal = validator(source / "docs/portal.schema.json").schema["$defs"]
    faults, kinds = [], set()
    for file in sorted((source / "examples").glob("*portal/*.json")):
        document = Draft202012Validator({**portal[file.stem], "$defs": portal})
        faults += [f"{file.name}: {e.message}" for e in document.iter_errors(json.loads(file.read_text()))]
    for file in sorted((source / "examples/scenarios").glob("*.json")):
        content = json.loads(file.read_text())
        faults += [f"{file.name}: {e.message}" for e in scenario.iter_errors(content)]
        line = [command, "simulate", file, "--json", "--log"]
        line += ["--visitor", "1"] if "population" in content else []
        told = subprocess.run(line, capture_output=True, text=True)
        known = set()
        for line in told.stdout.splitlines():
            event = json.loads(line)
            kinds.add(event["kind"])
            # Lines of the same words and numbers apart from the moment are held once.
            rest = json.dumps({**event, "at": 0})
            if event["kind"] == "ranging" and len(event["beacons"]) == 1 and len(known) > 500:
                continue
            if rest in known:
                continue
            known.add(rest)
            faults += [f"{file.name}: {line}: {e.message}" for e in shapes[event["kind"]].iter_errors(event)]
    # A breach is a fault of the library itself.
    missing = set(shapes) - kinds - {"breach"}
    print("\n".join(faults[:20] + [f"no example tells of {kind}" for kind in sorted(missing)]))
    return 1 if faults or missing else 0


sys.exit(main())
