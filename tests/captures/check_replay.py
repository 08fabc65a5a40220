#!/usr/bin/env python3
"""A recorded upgrade, replayed to a fresh service: the same requests on the bus, the same answers, the same file."""
import os
import subprocess

from stage import (DATABASE, Recording, Service, check, fresh_aircraft, record_upgrade, recorded, records, vela,
                   vela_json)

APP = "app/phone"


def requests(path):
    """Each with all that a record has, in the order in which they were sent."""
    keys = ("to", "set", "id", "seq_id", "attrib", "payload")
    return [tuple(one[key] for key in keys) for one in records(path)
            if one["from_name"] == APP and one["direction"] == "sent" and not one["reply"]]


def replay_gives_the_same(name, *options):
    result = recorded(f"{name}.pcapng", lambda: vela_json("bus", "replay", "upgrade.pcapng", *options))
    count = len(requests("upgrade.pcapng"))
    check(count > 20, f"{count} requests recorded")
    check(requests(f"{name}.pcapng") == requests("upgrade.pcapng"), f"{name}: other requests on the bus")
    answers = {"recorded": count, "same": count, "different": 0, "missing": 0, "unrecorded": 0}
    check(result["answers"] == answers and result["sent"] == count, f"{name}: {result}")
    with open(DATABASE, "rb") as installed, open("new.bin", "rb") as sent:
        check(installed.read() == sent.read(), f"{name}: another file is installed")
    return result["seconds"]


def pace_is_kept():
    original = replay_gives_the_same("original")
    times = [one["time_us"] for one in records("upgrade.pcapng") if one["from_name"] == APP and not one["reply"]]
    span = (max(times) - min(times)) / 1e6
    check(span * 0.95 < original < span + 1, f"{span} s were replayed in {original} s")
    quick = replay_gives_the_same("quick", "--speed", "4")
    check(quick > span / 4 * 0.95, f"four times as fast: {quick} s of {span} s")
    fresh_aircraft()
    with Service():
        fast = vela_json("bus", "replay", "upgrade.pcapng", "--fast")
        check(fast["answers"]["same"] == fast["requests"] and fast["seconds"] < span / 2, f"as fast as it goes: {fast}")


def difference_is_found():
    """The aircraft has a newer database: the first block is refused, and all that follows."""
    fresh_aircraft()
    vela("nfz", "make", "-o", "newer.bin", "--version", "3.0.0.0", "--size", "4k")
    with Service():
        vela("nfz", "send", "newer.bin")
        first = vela_json("bus", "replay", "upgrade.pcapng", "--fast", code=9)["first_difference"]
        check(first["request"]["name"] == "upgrade_data" and first["request_number"] == 3, f"first: {first}")
        check(first["recorded"]["fields"]["ret_code"] == {"value": 0, "meaning": "ok"}, f"recorded: {first}")
        check(first["now"]["fields"]["ret_code"]["meaning"] == "older than the installed one", f"now: {first}")
        vela("nfz", "send", "newer.bin")  # the end of the refused upgrade has emptied the file
        text = vela("bus", "replay", "upgrade.pcapng", "--fast", code=9)
        check("(older than the installed one)" in text and "first to differ" in text, text)
    vela("bus", "replay", "upgrade.pcapng", code=5)


def wrong_captures_are_refused():
    with open("upgrade.pcapng", "rb") as file:
        content = file.read()
    with open("cut.pcapng", "wb") as file:
        file.write(content[:-300])
    with Service():
        error = vela_json("bus", "replay", "cut.pcapng", code=3)["error"]["what"]
        check("the file is cut" in error and "at byte" in error, error)
        error = vela_json("bus", "replay", "upgrade.pcapng", "--from", "factory/desk", code=3)["error"]
        check(f"{APP} (" in error["next"], str(error))
    vela("bus", "replay", "/no/such.pcapng", code=3)
    shown = vela("bus", "watch", "--file", "cut.pcapng", "--peer", APP, "--route", "/usr/local/tarn/vela.json", code=3)
    check(len(shown.splitlines()) > 40, "what stands before the cut is shown")


def full_disk_keeps_a_whole_capture():
    os.makedirs("small")
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k", "none", "small"], check=True)
    fresh_aircraft()
    with Service(), Recording("small/full.pcapng") as recording:
        vela("nfz", "send", "new.bin")
        code, output = recording.process.wait(10), recording.process.stdout.read()
    check(code == 4 and "No space left" in output, f"a full disk ends with {code}: {output}")
    size = os.path.getsize("small/full.pcapng")
    check(12_000 < size <= 16_384 and len(records("small/full.pcapng")) > 10, f"{size} bytes are left")
    with Service():
        check(vela_json("bus", "record", "/no/folder/x", code=4)["error"]["name"] == "output", "an impossible file")


def bounds_end_a_recording():
    with Service():
        for name, options in (("count", ("--count", "1")), ("seconds", ("--seconds", "1", "--set", "0x44"))):
            with Recording(f"{name}.pcapng", *options) as recording:
                vela("version")
                check(recording.process.wait(10) == 0, f"{name} ends the recording")
        check([one["name"] for one in records("count.pcapng")] == ["get_version"], "one copy was asked for")
        check(records("seconds.pcapng") == [], "nothing of that set passes")


for command in ("record", "replay", "dissector", "watch"):
    check("Example: " in vela("bus", command, "--help"), f"the help of {command} has an example")
record_upgrade("upgrade.pcapng")
pace_is_kept()
difference_is_found()
wrong_captures_are_refused()
full_disk_keeps_a_whole_capture()
bounds_end_a_recording()
