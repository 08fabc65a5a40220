"""A shell in which the commands of one page are typed, one behind the other, and what stands behind them."""
import os
import select
import shlex
import signal
import subprocess
import time

from commands import difference

WORK = "/tmp/work"
OUTPUT = "/tmp/output"
SERVICE_LOG = "/tmp/service.log"
LONGEST = 60  # seconds that one command may take

FUNCTIONS = f"""
set -m
start_service() {{
    (cd / && exec vela_flight) >>{SERVICE_LOG} 2>&1 &
    the_service=$!
    for _ in $(seq 200); do
        # Its second address comes last, so ask that one: 5 is that nobody is there.
        vela nfz read --offset 0 --length 1 >/dev/null 2>&1
        [ $? -ne 5 ] && return
        sleep 0.02
    done
    return 1
}}
# As it was before any upgrade.
restart_service() {{
    kill $the_service && wait $the_service
    mount -o remount,rw /tmp/NFZ && rm -f /tmp/NFZ/nfz.bin && start_service
}}
start_aircraft() {{
    touch /tmp/EMMC/AFQT_ENABLE.txt
    mkdir -p /tmp/SD0/factory_test/afqt /tmp/blackbox/log/afqt
    vela fc --fly --noise --seed 5 >/tmp/fc.log 2>&1 &
    start_service
}}
"""


class PageShell:
    def __init__(self, checkout, build, scale):
        os.makedirs(WORK)
        os.symlink(f"{checkout}/examples", f"{WORK}/examples")
        subprocess.run(["cp", f"{checkout}/packaging/vela.json", "/usr/local/tarn/"], check=True)
        path = ":".join(f"{build}/{folder}" for folder in ("cli", "src"))
        self.environment = dict(os.environ, PATH=f"{path}:{os.environ['PATH']}", HOME="/tmp/home",
                                TARN_TIME_SCALE=str(scale), LC_ALL="C.UTF-8")
        self.bash = subprocess.Popen(["bash", "--norc"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, cwd=WORK, text=True,
                                     stderr=subprocess.DEVNULL, env=self.environment)
        self.type(FUNCTIONS)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.type("kill $(jobs -p)")
        self.bash.stdin.close()
        self.bash.wait(10)

    def write(self, name, text):
        with open(f"{WORK}/{name}", "w", encoding="utf-8") as file:
            file.write(text)

    def prepare(self, page):
        for commands in ("start_aircraft" if page.aircraft else "", page.prepare):
            code, output = self.type(commands)
            if code != 0:
                raise SystemExit(f"the page could not be prepared, {code}: {commands}\n{output}{self.service_log()}")

    def type(self, text):
        """Exit code and output. Whoever started something in the background looks whether it runs before going on."""
        self.bash.stdin.write(f"eval {shlex.quote(text)} >{OUTPUT} 2>&1 </dev/null; echo $?\n")
        self.bash.stdin.flush()
        if not select.select([self.bash.stdout], [], [], LONGEST)[0]:
            return None, f"it did not end within {LONGEST} s"
        code = int(self.bash.stdout.readline())
        with open(OUTPUT, encoding="utf-8", errors="replace") as output:
            return code, output.read()

    def run(self, command, step):
        """What is wrong, or None."""
        if step.before:
            code, output = self.type(step.before)
            if code != 0:
                return f"before it, {step.before} ended with {code}:\n{output}"
        text = command.text
        for old, new in step.instead.items():
            text = text.replace(old, new)
        code, output = self.until_stopped(text, step) if step.stop else self.type(text)
        if " & " in text or text.endswith("&"):
            time.sleep(0.3)
        if code != step.code:
            return f"ended with {code}, not with {step.code}:\n{output}"
        return difference(command.output, output, step.stop or step.gaps) if command.output else None

    def until_stopped(self, text, step):
        process = subprocess.Popen(shlex.split(text), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, cwd=WORK,
                                   env=self.environment)
        time.sleep(0.5)
        code, said = self.type(step.meanwhile)
        time.sleep(0.3)
        process.send_signal(signal.SIGINT)
        try:
            output = process.communicate(timeout=10)[0]
        except subprocess.TimeoutExpired:
            process.kill()
            return None, "Ctrl-C did not end it:\n" + process.communicate()[0]
        if code != 0:
            return None, f"meanwhile, {step.meanwhile} ended with {code}:\n{said}\n{output}"
        return process.returncode, output

    @staticmethod
    def service_log():
        if not os.path.exists(SERVICE_LOG):
            return ""
        with open(SERVICE_LOG, encoding="utf-8", errors="replace") as log:
            return "the service's last lines:\n" + "".join(log.readlines()[-10:])
