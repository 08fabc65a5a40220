#!/usr/bin/env python3
"""Whatever is in a capture, Wireshark's dissector must say of it what the tool says: names, values, problems."""
import collections
import json
import math
import os
import re
import struct
import subprocess
import sys
import xml.etree.ElementTree as xml

VELA, SERVICE, CHECKOUT, FOLDER, EVERY_MESSAGE = sys.argv[1:6]
HERE = os.path.dirname(os.path.abspath(__file__))
ROUTES = f"{CHECKOUT}/packaging/vela.json"


def check(holds, what):
    if not holds:
        sys.exit(f"broken: {what}")


def records(path):
    command = [VELA, "bus", "watch", "--file", path, "--both", "--json", "--route", ROUTES]
    run = subprocess.run(command, capture_output=True, text=True, check=True)
    return [json.loads(line) for line in run.stdout.splitlines()]


def dissected(path):
    """Of each packet its fields as pairs of short name and element, and what the experts say."""
    command = ["tshark", "-r", path, "-2", "-X", "lua_script:vela.lua", "-T", "pdml"]
    run = subprocess.run(command, capture_output=True, text=True)
    check(run.returncode == 0 and "Lua" not in run.stderr, f"tshark: {run.stderr}")
    for packet in xml.fromstring(run.stdout).iter("packet"):
        fields = [(one.get("name").removeprefix("vela."), one) for one in packet.iter("field")
                  if one.get("name").startswith("vela.")]
        yield fields, [one.get("show") for one in packet.iter("field") if one.get("name") == "_ws.expert.message"]


def number(element):
    return int(element.get("show"), 0)


def same_value(value, element):
    """Text as it is shown; bytes and floats by their bytes, as what is shown of them is shortened."""
    if isinstance(value, str):
        return value in (element.get("show"), element.get("value"))
    if isinstance(value, int):
        return value == number(element)
    raw = bytes.fromhex(element.get("value"))
    shown = struct.unpack("<f" if len(raw) == 4 else "<d", raw)[0]
    return value == shown or (value is None and not math.isfinite(shown))


def same_field(name, said, elements):
    meaning = said["meaning"] if isinstance(said, dict) else None
    values = said["value"] if isinstance(said, dict) else said
    values = values if isinstance(values, list) else [values]
    if len(values) != len(elements) or not all(map(same_value, values, elements)):
        return False
    shown = elements[0].get("showname") if elements else ""
    if meaning:
        return shown.endswith(f"{name}: {meaning} ({values[0]})")
    named = re.search(r": (.*) \(-?\d+\)$", shown)
    return named is None or named[1] == "Unknown"


def same_head(said, fields):
    head = dict(fields)
    numbers = {"from": int(said["from"], 16), "to": int(said["to"], 16), "set": said["set"], "id": said["id"],
               "seq_id": said["seq_id"], "attrib": said["attrib"], "direction": int(said["direction"] == "received"),
               "attrib.reply": int(said["reply"]), "msg_len": len(said["payload"]) // 2}
    wrong = [name for name, value in numbers.items() if number(head[name]) != value]
    for end in ("from", "to"):
        name = said[f"{end}_name"].replace(said[end], "Unknown")
        wrong += [end] if not head[end].get("showname").endswith(f": {name} ({said[end]})") else []
    return not wrong and head["message"].get("show") == said["name"]


def difference(said, fields, experts):
    if not same_head(said, fields):
        return "the head"
    if experts != ([said["problem"]] if "problem" in said else []):
        return f"the problem: {experts}"
    found = collections.OrderedDict()
    for name, element in fields:
        if name.startswith(said["name"] + "."):
            found.setdefault(name.removeprefix(said["name"] + "."), []).append(element)
    # Nothing up to the end of the payload is no field there.
    wanted = {name: value for name, value in said.get("fields", {}).items() if name in found or value not in ("", [])}
    if list(found) != list(wanted):
        return f"the fields {list(found)}"
    wrong = [name for name, value in wanted.items() if not same_field(name, value, found[name])]
    return f"the values of {wrong}: {[[one.attrib for one in found[name]] for name in wrong]}" if wrong else None


def compare(path):
    said, shown = records(path), list(dissected(path))
    check(len(said) == len(shown), f"{path}: {len(said)} copies, {len(shown)} packets")
    for place, (one, packet) in enumerate(zip(said, shown), 1):
        what = difference(one, *packet)
        check(what is None, f"{path}: packet {place}: another opinion on {what}\n{one}")
    return collections.Counter(one["name"] for one in said)


def replies_belong_to_requests(path):
    """The frames that the dissector joins are those of one exchange."""
    joined, said = 0, records(path)
    for place, (fields, _) in enumerate(dissected(path)):
        links = {name: int(element.get("show")) - 1 for name, element in fields if name in ("request_in", "reply_in")}
        for name, other in links.items():
            ask, answer = (said[other], said[place]) if name == "request_in" else (said[place], said[other])
            check(answer["reply"] and not ask["reply"] and ask["seq_id"] == answer["seq_id"] and
                  (ask["from"], ask["to"]) == (answer["to"], answer["from"]), f"packet {place + 1} and {other + 1}")
            joined += 1
    check(joined > 60, f"{joined} links")


os.makedirs(FOLDER, exist_ok=True)
os.chdir(FOLDER)
subprocess.run([f"{CHECKOUT}/tests/support/aircraft_fs", "--writable", FOLDER, "python3", f"{HERE}/record_stories.py", VELA,
                SERVICE, CHECKOUT, FOLDER], check=True)
subprocess.run([EVERY_MESSAGE, "every.pcapng"], check=True)
subprocess.run([VELA, "bus", "dissector", "--route", ROUTES, "-o", "vela.lua"], check=True)
every, upgrade, flight = compare("every.pcapng"), compare("upgrade.pcapng"), compare("flight.pcapng")
replies_belong_to_requests("upgrade.pcapng")
check(upgrade["upgrade_data_ack"] > 40 and flight["bag_push"] > 100 and flight["sticks"] + flight["pro_sticks"] > 100,
      f"what was recorded: {upgrade} {flight}")
print(f"{every.total() + upgrade.total() + flight.total()} packets, {len(every)} kinds of messages")
