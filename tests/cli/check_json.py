#!/usr/bin/env python3
"""Checks cosupdate's --json outputs against its JSON Schema.

usage: check_json.py SCHEMA < OUTPUTS

OUTPUTS holds one output a line, each what one run of the tool printed on
stdout. Prints every output that is not one JSON object conforming to the
schema, with the reason, and exits 1 if there is any.
"""

import json
import sys

import jsonschema


def main(schema_path):
    with open(schema_path, encoding="utf-8") as schema_file:
        schema = json.load(schema_file)
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    faults = 0
    with open(sys.stdin.fileno(), encoding="utf-8", closefd=False) as outputs:
        for number, line in enumerate(outputs, 1):
            try:
                document = json.loads(line)
            except ValueError as error:
                print(f"output {number}: not JSON ({error}): {line}")
                faults += 1
                continue
            for error in validator.iter_errors(document):
                where = "/".join(str(part) for part in error.absolute_path) or "(top)"
                print(f"output {number}: {where}: {error.message}\n  {line.strip()}")
                faults += 1
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
