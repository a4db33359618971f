"""A simulated device's folders, and walks with them, above the preloaded faults."""

import collections
import os
import pathlib
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
Result = collections.namedtuple("Result", "code output errors seconds")


def build_shim(folder):
    shim = folder / "faults.so"
    subprocess.run(["cc", "-std=c11", "-O1", "-Wall", "-Wextra", "-Werror", "-shared", "-fPIC", "-o", shim,
                    ROOT / "tests/Faults/faults.c", "-ldl"], check=True)
    return shim


class Device:
    """A device's folder and temporary folder, and walks with them."""

    def __init__(self, base, command, shim):
        self.base, self.command, self.shim = base, command, shim
        self.state, self.temporary = base / "state", base / "tmp"
        self.temporary.mkdir(parents=True)

    def walk(self, scenario, limit, extra=(), **faults):
        environment = dict(os.environ, TMPDIR=str(self.temporary), NO_COLOR="1")
        if faults:
            environment.update({"KS_FAULT_" + name.upper(): str(value) for name, value in faults.items()})
            environment["LD_PRELOAD"] = str(self.shim)
        begin = time.monotonic()
        file = ROOT / f"examples/scenarios/{scenario}.json"
        process = subprocess.Popen([self.command, "simulate", str(file), "--state", str(self.state), *extra],
                                   env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            output, errors = process.communicate(timeout=limit)
            code = process.returncode
        except subprocess.TimeoutExpired:
            process.kill()
            output, errors = process.communicate()
            code = None
        return Result(code, output.decode(errors="replace"), errors.decode(errors="replace"),
                      time.monotonic() - begin)

    def litter(self):
        unfinished = [p for p in self.state.rglob("*.tmp")] if self.state.exists() else []
        return [str(p.relative_to(self.base)) for p in [*self.temporary.iterdir(), *unfinished]]

    def kept(self):
        """The files that outlive a walk, but for cached documents."""
        if not self.state.exists():
            return {}
        return {str(p.relative_to(self.state)): p.read_bytes() for p in self.state.rglob("*")
                if p.is_file() and not p.name.startswith(".")
                and not {"Temporary", "com.example.simulated"} & set(p.parts)}
