#!/usr/bin/env python3
"""Walks example scenarios while the system fails underneath, and judges what is left.

usage: tests/Faults/walks.py WHAT COMMAND [--short|--long] [--seed N] [--only KIND]

Prints what was promised, tried and found; the exit code is 1 when a promise was broken.
"""

import argparse
import collections
import concurrent.futures
import contextlib
import json
import os
import pathlib
import random
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

from device import ROOT, Device, build_shim
from disk import Disk, read_log
from network import Proxy, portal

WALKS = ["demo", "restart"]
REMOVALS = {"unlink", "remove", "unlinkat", "rmdir", "opendir", "openat"}
CHANGES = ["create", "write", "fsync", "rename", "unlink", "remove", "mkdir", "fchmod", "flock", "utimensat"]
# The system's main loop and allocator end the process on their own when they get no memory, thread
# or descriptor; they say so.
ENDED_BELOW = ("GLib-ERROR", "GLib-CRITICAL", "failed to allocate", "Creating pipes for GWakeup", "Cannot create pipe")

# Interrupting each wait for ever leaves no way on, and a portal that accepts nobody costs each
# request its whole time limit.
ENDLESS = {("poll", "always"), ("accept", "always")}

Strike = collections.namedtuple("Strike", "scenario kind nth mode")


class Judge:
    """Clean walks to measure by, and what a struck walk must leave."""

    def __init__(self, work, command, shim):
        self.work, self.command, self.shim = work, command, shim
        self.clean = {}

    def reference(self, scenario):
        """The state after a clean walk, the counts of the calls of a second one, and its result."""
        device = Device(self.work / f"clean-{scenario}", self.command, self.shim)
        first = device.walk(scenario, 600)
        if first.code != 0:
            sys.exit(f"walks: {scenario} fails without any fault: {first.errors}")
        earlier = self.work / f"earlier-{scenario}"
        shutil.copytree(device.state, earlier)
        counts = self.work / f"counts-{scenario}"
        second = device.walk(scenario, 600, counts=counts)
        records = counts.read_bytes()
        tallies = {records[i:i + 24].rstrip(b"\0").decode(): struct.unpack("Q", records[i + 24:i + 32])[0]
                   for i in range(0, len(records), 32)}
        self.clean[scenario] = (earlier, second, tallies, set(device.kept()))
        return tallies

    def limit(self, scenario):
        return 120 + 40 * self.clean[scenario][1].seconds

    def device(self, scenario):
        base = pathlib.Path(tempfile.mkdtemp(dir=self.work))
        device = Device(base, self.command, self.shim)
        shutil.copytree(self.clean[scenario][0], device.state)
        return device

    def strike(self, strike):
        """The breaches of one struck walk, and whether something below ended the process."""
        device = self.device(strike.scenario)
        counts = device.base / "counts"
        struck = device.walk(strike.scenario, self.limit(strike.scenario), counts=counts, call=strike.kind,
                             nth=strike.nth, mode=strike.mode)
        breaches, below = [], False
        if struck.code is None:
            breaches.append("hangs")
        elif struck.code < 0 and strike.mode != "kill":
            below = any(text in struck.errors for text in ENDED_BELOW) or strike.kind == "memory"
            if not below:
                breaches.append(f"ended by signal {-struck.code}: {struck.errors.strip()[-200:]}")
        elif strike.mode != "kill" and struck.code not in (0, 1, 2, 3):
            breaches.append(f"exit code {struck.code}")
        ended = struck.code is not None and struck.code >= 0
        if ended and strike.kind not in REMOVALS and device.litter():
            breaches.append(f"leaves {device.litter()}")
        breaches += self.heals(device, strike.scenario)
        shutil.rmtree(device.base)
        return breaches, below

    def heals(self, device, scenario):
        """What is wrong with a clean walk after the fault."""
        breaches = self.damage(device, scenario)
        after = device.walk(scenario, self.limit(scenario))
        reference = self.clean[scenario]
        if after.code not in (0, 1):
            breaches.append(f"afterwards exit code {after.code}: {after.errors.strip()[-200:]}")
        if after.code == 0 and after.errors:
            breaches.append(f"afterwards complains: {after.errors.strip()[-200:]}")
        if after.code == 1 and "expected:" not in after.errors:
            breaches.append(f"afterwards fails: {after.errors.strip()[-200:]}")
        if device.litter():
            breaches.append(f"afterwards {device.litter()} is still there")
        if set(device.kept()) != reference[3]:
            breaches.append(f"afterwards other files: {set(device.kept()) ^ reference[3]}")
        return breaches

    def damage(self, device, scenario):
        """What of the device's archives is lost, or can be read no more."""
        breaches = []
        files = device.kept()
        for file in self.clean[scenario][0].rglob("*.dat"):
            name = str(file.relative_to(self.clean[scenario][0]))
            if "Temporary" in name or files.get(name) == file.read_bytes():
                continue
            if name not in files:
                breaches.append(f"{name} is lost")
                continue
            seen = subprocess.run([self.command, "inspect", device.state / name], capture_output=True)
            if seen.returncode != 0:
                breaches.append(f"{name} is torn: {seen.stderr.decode(errors='replace').strip()}")
        return breaches


def chosen_walks(arguments):
    return WALKS[1:] if arguments.short else WALKS


def sampled(count, size, chance):
    """The first, the last and a few in between; all of them when there are not more."""
    if count <= size:
        return range(1, count + 1)
    if size == 1:
        return [chance.randint(1, count)]
    return sorted({1, count} | set(chance.sample(range(2, count), size - 2)))


def strikes_for(arguments, judge, modes, kinds=None):
    chance = random.Random(arguments.seed)
    scenarios = chosen_walks(arguments)
    if arguments.long:
        scenarios = sorted(p.stem for p in (ROOT / "examples/scenarios").glob("*.json"))
    strikes = []
    for scenario in scenarios:
        tallies = judge.reference(scenario)
        for kind, count in tallies.items():
            if arguments.only not in (None, kind) or (kinds and kind not in kinds) or count == 0:
                continue
            for mode in modes:
                if (kind, mode) in ENDLESS:
                    continue
                # The long form strikes at every call of two walks, and memory and the rest at a part.
                every = arguments.long and scenario in WALKS
                size = arguments.sample or (400 if every else 1 if arguments.short else 3)
                strikes += [Strike(scenario, kind, nth, mode) for nth in sampled(count, size, chance)]
    return strikes


def strike_all(judge, strikes, jobs):
    breaches, ended = [], 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for strike, (found, below) in zip(strikes, pool.map(judge.strike, strikes)):
            ended += below
            for each in found:
                breaches.append(f"{strike.scenario}, {strike.kind} {strike.nth} {strike.mode}: {each}")
                print(f"  broken: {breaches[-1]}", flush=True)
    return breaches, ended


def faults(arguments, judge):
    strikes = strikes_for(arguments, judge, ["once", "always"])
    breaches, ended = strike_all(judge, strikes, arguments.jobs)
    kinds = len({each.kind for each in strikes})
    return (f"{len(strikes)} walks with a failing call of {kinds} kinds, once and for ever; "
            f"{ended} ended by the system's libraries with their message"), breaches


def kills(arguments, judge):
    strikes = strikes_for(arguments, judge, ["kill"], CHANGES)
    breaches, _ = strike_all(judge, strikes, arguments.jobs)
    return f"{len(strikes)} walks killed at a call that changes files", breaches


def power(arguments, judge):
    breaches, cuts, opened = [], 0, 0
    more = ["outage", "geofences", "background"] if arguments.long else []
    for scenario in chosen_walks(arguments) + more:
        judge.reference(scenario)
        device = judge.device(scenario)
        earlier = judge.clean[scenario][0]
        log = device.base / "log"
        device.walk(scenario, judge.limit(scenario), log=log, folder=device.state)
        changes = read_log(log)
        whole = {}
        states = {}
        for unsynced in ("nothing", "half", "all"):
            disk = Disk(earlier, device.state, unsynced)
            for cut in range(len(changes) + 1):
                if cut > 0:
                    disk.apply(*changes[cut - 1])
                for path, content in disk.files.items():
                    whole.setdefault(path, set()).add(content)
                cuts += 1
                states[json.dumps(sorted((p, hash(c)) for p, c in disk.seen().items()
                                         if not p.endswith(".tmp")))] = (dict(disk.seen()), set(disk.folders), cut)
                # A file that is replaced by renaming holds an earlier or a later content.
                for path, content in disk.seen().items():
                    appended = path.endswith((".tmp", ".lock", ".journal")) or "/Temporary/" in path
                    if not appended and content not in whole[path]:
                        breaches.append(f"{scenario}, cut {cut}: {path} is torn")
        breaches += lost_after(scenario, changes, earlier, device)
        # Each distinct disk is opened; the short form takes a part of them.
        chance = random.Random(arguments.seed)
        kept = list(states.values())
        chosen = kept if arguments.long else chance.sample(kept, min(len(kept), 15 if arguments.short else 60))
        opened += len(chosen)
        with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
            for found in pool.map(lambda state: reopened(judge, scenario, device.state, *state), chosen):
                breaches += found
    for breach in breaches:
        print(f"  broken: {breach}")
    return f"{cuts} cuts after each change of a walk, {opened} disks opened", breaches


def lost_after(scenario, changes, earlier, device):
    """Files that the finished walk left, and that a disk without any unsynced change lacks."""
    lasting = Disk(earlier, device.state, "nothing")
    waiting = []
    for change in changes:
        name, path, _, _ = change
        if name in ("rename", "unlink", "remove", "mkdir", "create"):
            waiting.append(change)
            continue
        lasting.apply(*change)
        if name == "fsync":
            ready = [each for each in waiting if os.path.dirname(each[2] or each[1]) == path or each[1] == path]
            for each in ready:
                lasting.apply(*each)
            waiting = [each for each in waiting if each not in ready]
    breaches = []
    for name, content in device.kept().items():
        if name.endswith(".dat") and lasting.seen().get(str(device.state / name)) != content:
            breaches.append(f"{scenario}: {name} was reported as written and is not on the disk")
    return breaches


def reopened(judge, scenario, state, files, folders, cut):
    base = pathlib.Path(tempfile.mkdtemp(dir=judge.work))
    device = Device(base, judge.command, judge.shim)
    for folder in folders:
        (device.state / os.path.relpath(folder, state)).mkdir(parents=True, exist_ok=True)
    for path, content in files.items():
        file = device.state / os.path.relpath(path, state)
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content)
    breaches = [f"{scenario}, disk after change {cut}: {each}" for each in judge.heals(device, scenario)]
    shutil.rmtree(base)
    return breaches


def network(arguments, judge):
    chance = random.Random(arguments.seed)
    breaches, tried = [], 0
    judge.reference("demo")
    with portal(arguments.command) as port:

        def walk(how, at, always):
            """A walk with the fault and one without, on one device; what is wrong, the bytes of its replies."""
            device = Device(pathlib.Path(tempfile.mkdtemp(dir=judge.work)), arguments.command, judge.shim)
            found, proxy = [], None
            for fault in (how, None):
                proxy = Proxy(port, fault, at, always)
                result = device.walk("demo", judge.limit("demo"), ["--portal", proxy.url])
                proxy.stop()
                missed = result.code == 1 and "expected:" in result.errors
                if not (result.code == 0 or missed or (fault and result.code in (1, 3))):
                    found.append(f"code {result.code} {'with the fault' if fault else 'afterwards'}: "
                                 f"{result.errors.strip()[-200:]}")
                if device.litter():
                    found.append(f"leaves {device.litter()}")
            shutil.rmtree(device.base)
            return found, proxy.passed

        _, size = walk(None, 0, False)
        plan = [(how, at, always) for how in ("cut", "garble", "junk", "stall") for always in (False, True)
                for at in sampled(size - 1, arguments.sample or (150 if arguments.long else 1 if arguments.short else 4), chance)
                if (how, always) != ("stall", True)]
        # They wait most of the time.
        with concurrent.futures.ThreadPoolExecutor(4 * arguments.jobs) as pool:
            for (how, at, always), (found, _) in zip(plan, pool.map(lambda each: walk(*each), plan)):
                tried += 1
                breaches += [f"{how} at byte {at} {'and ever after' if always else 'once'}: {each}" for each in found]
    for breach in breaches:
        print(f"  broken: {breach}")
    return f"{tried} walks through a proxy that cuts, garbles, inserts or stalls", breaches


def serve(judge, device, port, number, seconds=None, **faults):
    """Runs the service, ends it by the signal `number` after so many seconds or once the library runs.

    Its exit code and what it wrote."""
    password = device.base / "password"
    password.write_text("demo\n")
    password.chmod(0o600)
    runtime = device.base / "runtime"
    runtime.mkdir(mode=0o700, exist_ok=True)
    environment = dict(os.environ, TMPDIR=str(device.temporary), XDG_RUNTIME_DIR=str(runtime),
                       DBUS_SYSTEM_BUS_ADDRESS="unix:path=/none", DBUS_SESSION_BUS_ADDRESS="unix:path=/none")
    if faults:
        environment.update({"KS_FAULT_" + name.upper(): str(value) for name, value in faults.items()})
        environment["LD_PRELOAD"] = str(judge.shim)
    process = subprocess.Popen(
        [judge.command, "run", "--portal", f"http://127.0.0.1:{port}/app", "--user", "demo", "--password-file",
         password, "--no-notifications", "--state", device.state], env=environment, stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    watch = threading.Timer(600, process.kill)
    watch.start()
    if seconds is None:
        for line in process.stdout:
            if "the library runs" in line:
                break
    else:
        time.sleep(seconds)
    process.send_signal(number)
    text = process.communicate()[0]
    watch.cancel()
    return process.returncode, text


def services(arguments, judge):
    """A running service, killed at random or with a clock that leaps ten years: the next start is clean."""
    chance = random.Random(arguments.seed)
    tries = 200 if arguments.long else 2 if arguments.short else 8
    breaches = []
    with portal(judge.command) as port:
        plan = [("kill", chance.uniform(0.02, 1.5)) for _ in range(tries)]
        plan += [(mode, chance.randint(1, 30)) for _ in range(tries) for mode in ("once", "always")]
        for how, moment in plan:
            device = Device(pathlib.Path(tempfile.mkdtemp(dir=judge.work)), judge.command, judge.shim)
            if how == "kill":
                serve(judge, device, port, signal.SIGKILL, moment)
            else:
                code, text = serve(judge, device, port, signal.SIGTERM, counts=device.base / "counts",
                                   call="clock", nth=moment, mode=how)
                if code != 0:
                    breaches.append(f"a clock that leaps {how} at its reading {moment}: code {code}: {text[-200:]}")
            code, text = serve(judge, device, port, signal.SIGTERM)
            if code != 0 or "damaged" in text:
                breaches.append(f"start after {how} {moment}: code {code}: {text[-200:]}")
            if device.litter():
                breaches.append(f"{how} {moment} leaves {device.litter()}")
            shutil.rmtree(device.base)
    for breach in breaches:
        print(f"  broken: {breach}")
    return f"{tries} random kills and {2 * tries} leaps of the clock by ten years, each with a start afterwards", breaches


def listener(arguments, judge):
    """Half-sent requests of strangers, more than the portal has descriptors for."""
    half = 60 if arguments.short else 300
    breaches, waiting = [], []
    with portal(arguments.command, ["prlimit", "--nofile=64"]) as port:
        for _ in range(half):
            with contextlib.suppress(OSError):
                waiting.append(socket.create_connection(("127.0.0.1", port), timeout=1))
                waiting[-1].sendall(b"GET /app/contents/categories HTTP/1.1\r\nHost: loc")
        device = Device(pathlib.Path(tempfile.mkdtemp(dir=judge.work)), arguments.command, judge.shim)
        url = f"http://127.0.0.1:{port}/app"
        result = device.walk("demo", 300, ["--portal", url])
        if result.code != 0:
            breaches.append(f"a walk in spite of them: {result.errors.strip()[-200:]}")
        for each in waiting:
            each.close()
    for breach in breaches:
        print(f"  broken: {breach}")
    return f"{half} half-sent requests to a portal with 64 descriptors, a walk amid them", breaches


CHECKS = {"faults": faults, "kills": kills, "power": power, "network": network, "listener": listener,
          "services": services}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", choices=list(CHECKS))
    parser.add_argument("command")
    parser.add_argument("--short", action="store_true", help="one walk, one call of each kind")
    parser.add_argument("--long", action="store_true", help="all scenarios, every call of two of them")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", help="one kind of call")
    parser.add_argument("--sample", type=int, help="calls of each kind")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    arguments = parser.parse_args()
    arguments.command = str(pathlib.Path(arguments.command).resolve())
    with tempfile.TemporaryDirectory(prefix="ks-walks-") as work:
        work = pathlib.Path(work)
        judge = Judge(work, arguments.command, build_shim(work))
        tried, breaches = CHECKS[arguments.what](arguments, judge)
    print(f"{tried}: {len(breaches)} broken")
    sys.exit(1 if breaches else 0)


if __name__ == "__main__":
    main()
