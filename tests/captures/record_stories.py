#!/usr/bin/env python3
"""Records an upgrade and a part of a factory flight, for the dissector."""
import os
import shutil
import sys

from stage import CHECKOUT, VELA, Recording, Running, Service, check, record_upgrade

SCALE = "20"
FLIGHT_COPIES = 4000


def record_flight(path):
    for folder in ("/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"):
        os.makedirs(folder)
    shutil.copy(f"{CHECKOUT}/examples/motion-lists/steps.json", "/tmp/SD0/factory_test/afqt_motion_cfg_3.json")
    open("/tmp/EMMC/AFQT_ENABLE.txt", "w").close()
    with Service(SCALE), Running(VELA, "fc", "--fly", "--noise", scale=SCALE), \
            Recording(path, "--count", str(FLIGHT_COPIES), scale=SCALE) as recording, \
            Running(VELA, "afqt", "start", "3", scale=SCALE):
        check(recording.process.wait(60) == 0, "the flight was recorded")


record_upgrade("upgrade.pcapng")
record_flight("flight.pcapng")
