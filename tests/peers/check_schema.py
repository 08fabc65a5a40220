#!/usr/bin/env python3
"""Holds docs/motion-list.schema.json against lists: sound ones validate, faulty ones do not.

    check_schema.py SCHEMA LIST...
"""
import json
import pathlib
import sys

try:
    import jsonschema
except ImportError:
    sys.exit("check_schema: the validator is missing; ./dev test installs it, or: apt-get install python3-jsonschema")

HERE = pathlib.Path(__file__).parent
schema_file, *samples = sys.argv[1:]
schema = json.loads(pathlib.Path(schema_file).read_text(encoding="utf-8"))
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)
sound = (HERE / "sound_list.json").read_text(encoding="utf-8")
faults = json.loads((HERE / "list_faults.json").read_text(encoding="utf-8"))
faulty = [sound.replace(fault["from"], fault["to"], 1) for fault in faults
          if " error " in fault["place"] and not fault.get("beyond_schema")]

wrong = []
for name in samples:
    with open(name, encoding="utf-8") as file:
        wrong += [f"{name}: {error.message}" for error in validator.iter_errors(json.load(file))]
wrong += [f"the sound list: {error.message}" for error in validator.iter_errors(json.loads(sound))]
wrong += [f"validates: {text}" for text in faulty if validator.is_valid(json.loads(text))]
print(f"{len(samples) + 1} sound lists, {len(faulty)} faulty ones")
if not samples or not faulty:
    wrong.append("nothing was compared")
sys.exit("\n".join(wrong) or 0)
