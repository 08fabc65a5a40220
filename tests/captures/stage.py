"""What both stories need: the service, the tool, and recordings, in the private aircraft file system."""
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import time

VELA, SERVICE, CHECKOUT, FOLDER = sys.argv[1:5]
DATABASE = "/tmp/NFZ/nfz.bin"
RECORDING_TRIES = 8

os.makedirs(FOLDER, exist_ok=True)
os.chdir(FOLDER)
shutil.copy(f"{CHECKOUT}/packaging/vela.json", "/usr/local/tarn/")


def check(holds, what):
    if not holds:
        sys.exit(f"broken: {what}")


def vela(*arguments, code=0):
    """The tool's standard output; it must end with that code."""
    run = subprocess.run([VELA, *arguments], capture_output=True, text=True, timeout=60)
    check(run.returncode == code, f"vela {' '.join(arguments)} ended with {run.returncode}: {run.stdout}{run.stderr}")
    return run.stdout


def vela_json(*arguments, code=0):
    return json.loads(vela(*arguments, "--json", code=code))


def records(path):
    """Every copy in a capture, as the tool decodes it."""
    return [json.loads(line) for line in vela("bus", "watch", "--file", path, "--both", "--json").splitlines()]


class Running:
    """A program that runs inside the block and is interrupted at its end."""

    def __init__(self, *command, scale=None, folder="."):
        environment = dict(os.environ, **({"TARN_TIME_SCALE": scale} if scale else {}))
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                        env=environment, cwd=folder)

    def end(self, number=signal.SIGINT):
        self.process.send_signal(number)
        output = self.process.communicate()[0]
        return self.process.returncode, output

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.end(signal.SIGKILL)


def is_there(address):
    with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as peer:
        return peer.connect_ex(f"/run/tarn/{address}.sock") == 0


class Service(Running):
    def __init__(self, scale=None):
        super().__init__(SERVICE, scale=scale, folder="/")
        for _ in range(100):
            # Its second address comes up last.
            if is_there("1106"):
                return
            time.sleep(0.05)
        sys.exit("broken: the service does not answer")


class Recording(Running):
    """`facts` is what the tool said at the end."""

    def __init__(self, path, *options, scale=None):
        super().__init__(VELA, "bus", "record", path, "--json", *options, scale=scale)
        time.sleep(0.4)  # endpoints look for a tap every 100 ms

    def stop(self):
        code, output = self.end()
        check(code == 0, f"record ended with {code}: {output}")
        self.facts = json.loads(output)


def fresh_aircraft():
    """No database, as the service leaves the file system read-only."""
    subprocess.run(["mount", "-o", "remount,rw", "/tmp/NFZ"], check=True)
    if os.path.exists(DATABASE):
        os.remove(DATABASE)


def recorded(path, action, prepare=fresh_aircraft):
    """Records what `action` does with a service of its own, again until the tap has lost nothing: a busy machine."""
    for _ in range(RECORDING_TRIES):
        prepare()
        with Service(), Recording(path) as recording:
            result = action()
            recording.stop()
        if recording.facts["lost"] == 0:
            return result
    sys.exit(f"broken: the tap loses copies each time: {recording.facts}")


def record_upgrade(path):
    """One block at a time: kernels without a longer queue keep ten copies only."""
    vela("nfz", "make", "-o", "new.bin", "--version", "2.0.0.1", "--size", "20k")
    recorded(path, lambda: vela("nfz", "send", "new.bin", "--rate", "8k"))
