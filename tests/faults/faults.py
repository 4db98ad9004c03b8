"""Makes the program's allocations and system calls fail, one in each run, and compares the run with
a run without a fault. Three outcomes are allowed: the same result, a reported error with its
status, and an abort with a reason on standard error. Every other outcome is printed with the
command that repeats it.
"""

import argparse
import collections
import concurrent.futures
import io
import os
import pathlib
import plistlib
import random
import re
import signal
import subprocess
import sys
import tempfile
import time

from support.ipsw import BOARD, CHIP, ipsw
from support.messages import messages
from support.scenario import ECID, device

PROGRAM = os.environ["KORVRESTORE"]
PRELOADED = os.environ["FAIL_ALLOCATION_LIBRARY"]
PATIENCE = 30  # seconds; the longest run without a fault takes 1
TARGET = ["--ecid", ECID, "--detect-timeout", "2"]
ERRORS = {  # system calls and what they can return
    "openat": "ENOENT EMFILE ENOMEM",
    "read": "EIO EINTR",
    "write": "ENOSPC EAGAIN EINTR",
    "writev": "EAGAIN EINTR EIO",
    "mmap": "ENOMEM",
    "clone3": "EAGAIN",
    "mkdir": "ENOSPC EACCES",
    "epoll_create1": "EMFILE",
    "timerfd_create": "EMFILE",
    "eventfd2": "EMFILE",
    "epoll_ctl": "ENOMEM",
    "flock": "EINTR ENOLCK",
    "newfstatat": "EACCES",
    "fcntl": "EBADF",
    "close": "EIO",
}
Outcome = collections.namedtuple("Outcome", "status messages whole stderr left")


def cases() -> dict:
    """Command lines; $d is the folder of the run."""
    restore = ["--restore-timeout", "5", *TARGET]
    plist = ["--restore-plist", "$d/options", *TARGET]
    return {
        "list": ["--list-devices", "--detect-timeout", "0"],
        "info": ["--device-info", *TARGET],
        "exit": ["--exit-recovery", *TARGET],
        "stay": ["--no-exit-recovery", *TARGET, "--amr-logfile", "$d/log"],
        "restore": ["--restore", "$d/good.ipsw", *restore],
        "bad": ["--restore", "$d/bad.ipsw", *restore],
        "pipe": ["--restore", "$d/good.ipsw", *restore, "--output-pipe", "9"],
        "xml": plist,
        "binary": plist,
        "openstep": plist,
        "refused": ["--foo"],
        "missing": ["--device-info", "--ecid", "1" * 16, "--detect-timeout", "0"],
    }


def prepare(case, folder) -> None:
    good = ipsw()
    (folder / "good.ipsw").write_bytes(good)
    (folder / "bad.ipsw").write_bytes(good[: len(good) // 2])
    phone = device(ChipID=CHIP, BoardID=BOARD, RestoreSeconds=0)
    devices = [] if case == "list" else [phone]  # the list would end before they arrive
    (folder / "scenario").write_bytes(plistlib.dumps({"Devices": devices}))
    paths = {"RestoreBundlePath": "good.ipsw", "PersonalizedRestoreBundlePath": "personal"}
    options = {key: f"{folder}/{name}" for key, name in paths.items()}
    if case == "openstep":
        text = "".join(f'"{key}" = "{value}"; ' for key, value in options.items())
        (folder / "options").write_text("{" + text + "}")
    else:
        kind = plistlib.FMT_BINARY if case == "binary" else plistlib.FMT_XML
        (folder / "options").write_bytes(plistlib.dumps(options, fmt=kind))
    (folder / "tmp").mkdir()


def run(case, fault, counting=None) -> Outcome:
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        prepare(case, folder)
        words = [word.replace("$d", name) for word in cases()[case]]
        environment = os.environ | {
            "TMPDIR": f"{name}/tmp",
            "MOBILEDEVICE_SCENARIO": f"{name}/scenario",
        }
        prefix = []
        if fault and fault[0] == "allocation":
            prefix = ["env", f"LD_PRELOAD={PRELOADED}", f"FAIL_ALLOCATION={fault[1]} {fault[2]}"]
            prefix += [f"COUNT_ALLOCATIONS={counting}"] if counting else []
        elif fault:
            call, number, error = fault
            inject = [f"--inject={call}:error={error}:when={number}"] if number else []
            prefix = ["strace", "-f", "-qq", "-o", counting or f"{name}/trace", *inject]
        line = [*prefix, PROGRAM, *words]
        line = ["bash", "-c", 'exec "$@" 9>"$0"', f"{name}/pipe", *line]
        try:
            done = subprocess.run(line, capture_output=True, env=environment, timeout=PATIENCE)
        except subprocess.TimeoutExpired:
            return Outcome("hangs", [], True, "", [])
        status = done.returncode
        sent = (folder / "pipe").read_bytes() if case == "pipe" else done.stdout
        stderr = done.stderr.decode(errors="replace")
        trace = folder / "trace"
        if trace.exists() and "INJECTED" in trace.read_text().partition("set_tid_address(")[0]:
            return Outcome("loading", [], True, "", [])  # before the program's own code
        left = sorted(os.listdir(folder / "tmp"))
        try:
            return Outcome(status, [*messages(io.BytesIO(sent).read)], True, stderr, left)
        except Exception:
            return Outcome(status, [], False, stderr, left)


def verdict(case, fault, good, now) -> str:
    """The class of an allowed outcome, or "WRONG: " and the reason."""
    if now.status == "hangs":
        return "WRONG: hangs"
    if now.status == "loading":
        return "fails in the dynamic loader"
    if now.status == -signal.SIGABRT:
        return "aborts with a reason" if now.stderr else "WRONG: aborts without a reason"
    if now.status == 127 and "while loading shared libraries" in now.stderr:
        return "fails in the dynamic loader"
    if not 0 <= now.status <= 8:
        return f"WRONG: status {now.status}"
    if now.left:
        return f"WRONG: leaves {now.left}"
    ignored = case != "pipe" and fault[0] == "write" and fault[2] == "ENOSPC"
    if ignored and now.status == good.status:
        return "output isn't written"
    if not now.whole:
        return "WRONG: half a message"
    if (now.status, now.messages) == (good.status, good.messages):
        return "same"
    errors = [value for kind, value in now.messages if kind == "InternalError"]
    if errors:
        code = errors[-1]["Code"]
        if code == 7 or now.status != (code if 0 <= code <= 8 else 1):
            return f"WRONG: status {now.status} after code {code}"
        return "reports an error"
    last = now.messages[-1][1] if now.messages else None
    if now.status == 0 and isinstance(last, dict) and "Error" in last:
        return "reports a failed restore"
    return f"WRONG: status {now.status}, {len(now.messages)} of {len(good.messages)} messages"


def places(case) -> list:
    with tempfile.NamedTemporaryFile() as count, tempfile.NamedTemporaryFile() as trace:
        run(case, ("allocation", 0, "once"), count.name)
        run(case, ("trace", 0, ""), trace.name)
        total = int(pathlib.Path(count.name).read_text())
        calls = collections.Counter(
            re.findall(r"(?m)^\d+ +(\w+)\(", pathlib.Path(trace.name).read_text())
        )
    faults = [("allocation", n, mode) for n in range(1, total + 1) for mode in ("once", "on")]
    for call, errors in ERRORS.items():
        for n in range(1, calls[call] + 1):
            faults += [(call, n, error) for error in errors.split()]
    return [(case, fault) for fault in faults]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument(
        "seconds",
        nargs="?",
        type=float,
        help="test random places for this time; default: all places",
    )
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(10**6))
    parser.add_argument("--only", help="CASE:KIND:NUMBER:HOW, as printed")
    options = parser.parse_args()
    chosen = [case for case in cases() if not options.only or options.only.startswith(case + ":")]
    good = {case: run(case, None) for case in chosen}
    if options.only:
        case, kind, number, how = options.only.split(":")
        todo = [(case, (kind, int(number), how))]
    else:
        todo = [place for case in chosen for place in places(case)]
    print(f"{len(todo)} places, seed {options.seed}", flush=True)
    random.Random(options.seed).shuffle(todo)
    end = time.monotonic() + (options.seconds or 1e9)
    classes = collections.Counter()

    def try_out(place):
        case, fault = place
        if time.monotonic() > end:
            return
        now = run(case, fault)
        result = verdict(case, fault, good[case], now)
        classes[result.partition(" ")[0] if result.startswith("WRONG") else result] += 1
        if result.startswith("WRONG") or options.only:
            print(
                f"{result}: scripts/faults --only {case}:{fault[0]}:{fault[1]}:{fault[2]}",
                flush=True,
            )
        if options.only:
            print(now)

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        list(pool.map(try_out, todo))
    for name, number in classes.most_common():
        print(f"{number:7} {name}")
    return 1 if classes["WRONG:"] else 0


if __name__ == "__main__":
    sys.exit(main())
