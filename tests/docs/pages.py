"""What stands behind the commands of each page, how they end when not with 0, and which are left to others."""
import signal
from dataclasses import dataclass, field

from commands import blocks

# Pages and commands that are not run here, with the reason.
LEFT_OUT_PAGES = {
    "installing.md": "tests/packages/check does in a fresh Debian what it says",
}
LEFT_OUT = {
    r"\./dev\b": "builds and tests the checkout itself",
    r"\bwireshark\b": "opens a window; the tests of captures read with its terminal sister",
}


@dataclass
class Step:
    code: int = 0
    before: str = ""       # done before it
    meanwhile: str = ""    # done while it runs
    stop: bool = False     # it runs until Ctrl-C; other lines may stand between those that are shown
    gaps: bool = False     # so they may here
    instead: dict = field(default_factory=dict)  # other arguments, to be quicker


@dataclass
class Page:
    aircraft: bool = True  # service and flying flight controller run when the page begins
    scale: int = 1         # TARN_TIME_SCALE: no more than needed, time-outs become as many times shorter
    prepare: str = ""      # what the page takes for given
    files: dict = field(default_factory=dict)  # name: language of the block that holds it, the next one for each name
    also: list = field(default_factory=list)   # commands that nobody has to be told, at the end
    steps: dict = field(default_factory=dict)  # command: Step

    def files_of(self, path):
        unused = {language: iter(blocks(path, language)) for language in self.files.values()}
        return [(name, next(unused[language])) for name, language in self.files.items()]

    def step_of(self, command):
        return self.steps.get(command, Step())


A_THOUSAND_FLIGHTS = ("vela fly examples/motion-lists/steps.json --runs 1000 --jobs 2 --wind 0:6 --mass 0.9:1.1 "
                      "--gain 0.9:1.1 --svg spread.svg")
SOME_FLIGHTS = {A_THOUSAND_FLIGHTS: Step(instead={"--runs 1000": "--runs 4"})}

# Heartbeats come once a second: which of the short states they show differs.
BY_HEARTBEATS = Step(gaps=True)

# The mistake that the page shows: a flag is set by false.
FAULTY_LIST = """cat >list.json <<'END'
{
  "attribute": {"department": "", "product_phase": "", "archive_id": "", "owner": "", "creat_time": "", "motion_lis_ver": "", "drone_type": "", "motion_list_uid": 1, "motion_num": 2},
  "motion0": {"motion_id": "kHover", "para_cfg": {"duration": 2}},
  "motion1": {"motion_id": "kStep", "para_cfg": {"loop_id": 7, "amp": 2, "intervals": 3, "repeat_times": 2, "reset_flag": true}}
}
END
"""

A_SWEEP = """cat >/tmp/SD0/factory_test/afqt_motion_cfg_0.json <<'END'
{
  "attribute": {"motion_list_uid": 2, "motion_num": 3},
  "motion0": {"motion_id": "kHover", "para_cfg": {"duration": 5}},
  "motion1": {"motion_id": "kSweepChirpZ", "para_cfg": {
    "inj_loop": 4, "inj_point": 0, "start_freq": 0.5, "end_freq": 8, "amp": 2, "duration": 5}},
  "motion2": {"motion_id": "kHover", "para_cfg": {"duration": 2}}
}
END
"""

# The two machines of the page on one: the ground's bus is another folder, and both ends have keys of their own.
TWO_ROUTERS = """mkdir -p /run/tarn-links /etc/tarn-router
for name in a7 a8; do
    mkdir -p /run/tarn-links/$name
    sed "s#/run/tarn#/run/tarn-links/$name#g" /usr/local/tarn/vela.json >/run/tarn-links/$name/vela.json
done
for name in a7 ground; do vela router keys -o /etc/tarn-router/$name; done
python3 - <<'END'
import json
aircraft, ground = (json.load(open(f"{name}.json")) for name in ("aircraft", "ground"))
key = lambda name: open(f"/etc/tarn-router/{name}.pub").read().strip()
aircraft["links"]["ground"].update(peer_key=key("ground"), connect="tcp://127.0.0.1:5670")
ground["links"]["a7"]["peer_key"] = key("a7")
json.dump(aircraft, open("/etc/tarn-router/router.json", "w"))
json.dump(ground, open("/etc/tarn-router/ground.json", "w"))
END
vela nfz make -o nfz.bin --version 2.0.0.1 --size 64k
vela router run /etc/tarn-router/ground.json &
vela router run /etc/tarn-router/router.json &
aircraft_router=$!
for _ in $(seq 100); do vela version --route /run/tarn-links/a7/vela.json >/dev/null 2>&1 && break; sleep 0.05; done
vela version --route /run/tarn-links/a7/vela.json
"""

PAGES = {
    "README.md": Page(aircraft=False, steps=SOME_FLIGHTS),
    "bus.md": Page(files={"peer.py": "python"}, also=["python3 peer.py"]),
    "captures.md": Page(
        prepare="vela nfz make -o nfz.bin --version 2.0.0.1 --size 64k",
        steps={
            "vela bus record upgrade.pcapng": Step(stop=True, before="restart_service", meanwhile="vela nfz send nfz.bin"),
            "vela bus replay upgrade.pcapng": Step(before="restart_service"),
        },
    ),
    "factory-line.md": Page(aircraft=False),
    "flight-controller.md": Page(
        aircraft=False,
        files={"fc.py": "python"},
        steps={
            "python3 fc.py": Step(
                code=-signal.SIGINT, stop=True,
                meanwhile="start_service && vela nfz make -o nfz.bin --version 2.0.0.1 --size 256k && "
                          "vela nfz send nfz.bin --rate 128k && sleep 2"),
        },
    ),
    "flight-reports.md": Page(aircraft=False),
    "index.md": Page(
        aircraft=False,
        steps={
            "vela nfz send new.bin --rate 512k": Step(gaps=True),  # a bar on a terminal, lines here
            "vela nfz send old.bin": Step(code=8),
            "vela afqt start 0": BY_HEARTBEATS,
        },
    ),
    "router.md": Page(
        files={"aircraft.json": "json", "ground.json": "json"},
        prepare=TWO_ROUTERS,
        steps={
            "vela station --aircraft a7=/run/tarn-links/a7/vela.json --aircraft a8=/run/tarn-links/a8/vela.json":
                Step(stop=True),
            "vela router run /etc/tarn-router/router.json": Step(stop=True, before="kill $aircraft_router"),
        },
    ),
    "simulated-aircraft.md": Page(
        aircraft=False,
        scale=20,
        prepare="mkdir -p /tmp/SD0/factory_test && touch /tmp/EMMC/AFQT_ENABLE.txt && start_service\n" + A_SWEEP,
        steps={
            "vela fc --fly --alt 520 --wind 3 270 0.5 --noise --seed 5 --log flight.ulg":
                Step(stop=True, meanwhile="vela afqt start 0"),
        },
    ),
    "simulation.md": Page(aircraft=False, prepare="cp examples/motion-lists/steps.json .", steps=SOME_FLIGHTS),
    "tool.md": Page(
        scale=10,
        prepare="cp examples/motion-lists/hover.json /tmp/SD0/factory_test/afqt_motion_cfg_3.json\n"
                "vela nfz make -o old.bin --version 1.9.0.7 && vela nfz make -o new.bin --version 2.0.0.0 && "
                "vela nfz send new.bin\n" + FAULTY_LIST,
        steps={
            "vela afqt start 3": BY_HEARTBEATS,
            "vela afqt check list.json": Step(code=3),
            "vela nfz send old.bin --json": Step(code=8),
            "vela bus watch --peer app/phone": Step(stop=True, meanwhile="vela nfz send nfz.bin"),
        },
    ),
}


def page_named(name):
    return PAGES.get(name, Page())
