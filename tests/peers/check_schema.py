#!/usr/bin/env python3
"""Holds docs/motion-list.schema.json against lists: sound ones validate, faulty ones do not.

    check_schema.py FAULTY_LISTS SCHEMA LIST...
"""
import json
import subprocess
import sys

try:
    import jsonschema
except ImportError:
    sys.exit("check_schema: the validator is missing; ./dev test installs it, or: apt-get install python3-jsonschema")

program, schema_file, *samples = sys.argv[1:]
with open(schema_file, encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)
lists = json.loads(subprocess.run([program], check=True, capture_output=True).stdout)

wrong = []
for name in samples:
    with open(name, encoding="utf-8") as file:
        wrong += [f"{name}: {error.message}" for error in validator.iter_errors(json.load(file))]
wrong += [f"the sound list: {error.message}" for error in validator.iter_errors(json.loads(lists["good"]))]
wrong += [f"validates: {text}" for text in lists["faulty"] if validator.is_valid(json.loads(text))]
print(f"{len(samples) + 1} sound lists, {len(lists['faulty'])} faulty ones")
if not samples or not lists["faulty"]:
    wrong.append("nothing was compared")
sys.exit("\n".join(wrong) or 0)
