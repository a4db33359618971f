#!/usr/bin/env python3
"""Lets every command handle a password and looks for it, in many encodings, in all that they write.

usage: tests/Faults/passwords.py COMMAND
"""

import base64
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import urllib.parse
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
USER, PASSWORD = "anna", 'Zq7/canary+Wx"9é&k'


def encodings():
    """By name: what would betray the password."""
    plain = PASSWORD.encode()
    pair = f"{USER}:{PASSWORD}".encode()
    json_text = json.dumps(PASSWORD)[1:-1].encode()
    return {
        "plain": plain, "Latin-1": PASSWORD.encode("latin-1"), "UTF-16": PASSWORD.encode("utf-16-le"),
        "UTF-16 big-endian": PASSWORD.encode("utf-16-be"), "reversed": plain[::-1],
        "JSON": json_text, "JSON in JSON": json.dumps(json_text.decode())[1:-1].encode(),
        "URL": urllib.parse.quote(PASSWORD, safe="").encode(), "form": urllib.parse.quote_plus(PASSWORD).encode(),
        "URL path": urllib.parse.quote(PASSWORD).encode(),
        "Base64": base64.b64encode(plain).rstrip(b"="), "Base64 for URLs": base64.urlsafe_b64encode(plain).rstrip(b"="),
        "credentials": base64.b64encode(pair).rstrip(b"="),
        "credentials for URLs": base64.urlsafe_b64encode(pair).rstrip(b"="),
        "hexadecimal": plain.hex().encode(), "capital hexadecimal": plain.hex().upper().encode(),
        "XML": PASSWORD.replace("&", "&amp;").replace('"', "&quot;").encode(),
    }


def unpacked(data):
    """The content, and what is compressed inside it."""
    yield data
    for start in re.finditer(rb"\x28\xb5\x2f\xfd", data):
        shown = subprocess.run(["zstd", "-dcq"], input=data[start.start():], capture_output=True)
        yield shown.stdout
    for start in re.finditer(rb"\x1f\x8b\x08", data):
        try:
            yield zlib.decompressobj(31).decompress(data[start.start():])
        except zlib.error:
            pass


def main():
    command = str(pathlib.Path(sys.argv[1]).resolve())
    with tempfile.TemporaryDirectory(prefix="ks-passwords-") as base:
        base = pathlib.Path(base)
        kept, secret, written = base / "inputs", base / "inputs/password", base / "written"
        kept.mkdir()
        written.mkdir()
        secret.write_text(PASSWORD + "\n")
        secret.chmod(0o600)
        scenario = json.loads((ROOT / "examples/scenarios/demo.json").read_text())
        scenario["portal"]["documents"] = str(ROOT / "examples/portal")
        scenario["application"].update(username=USER, password=PASSWORD)
        scenario["portal"].update(username=USER, password=PASSWORD)
        walk = kept / "walk.json"
        walk.write_text(json.dumps(scenario))
        outputs = []

        def run(*arguments, until=None):
            """Runs the command, terminates it once it wrote `until`."""
            process = subprocess.Popen([command, *map(str, arguments)], stdout=subprocess.PIPE,
                                       stderr=subprocess.STDOUT, cwd=written)
            output = b""
            while until and until not in output and (piece := process.stdout.read1()):
                output += piece
            if until:
                process.terminate()
            outputs.append((arguments[0], output + process.communicate()[0]))

        run("simulate", walk, "--log", "--verbose", "--report", written / "page.html", "--state", written / "state",
            "--record", written / "day.ksrec")
        first = outputs[0][1].decode(errors="replace")
        if "the library runs" not in first and "started" not in first:
            sys.exit(f"passwords: the walk with the password does not start:\n{first[:400]}")
        run("simulate", walk, "--json", "--log")
        run("replay", written / "day.ksrec", "--log", "--report", written / "again.html")
        run("why", written / "day.ksrec", "welcome")
        run("check", ROOT / "examples/portal")
        run("check", walk)
        for archive in sorted((written / "state").rglob("*.dat")):
            run("inspect", archive)
            run("inspect", "--json", archive)
        run("held", "--state", written / "state")
        # A portal that nobody serves: the start is tried, refused and logged.
        run("run", "--portal", "http://127.0.0.1:9/app", "--user", USER, "--password-file", secret,
            "--state", written / "run", "--json", "--record", written / "run.ksrec", until=b"tries again")
        run("doctor", "--wait", "0.1")
        run("status", "--state", written / "run")

        for name in ("day.ksrec", "run.ksrec"):
            if not any(b"/contents/" in text for text in unpacked((written / name).read_bytes())):
                sys.exit(f"passwords: {name} cannot be looked into")
        found = []
        places = outputs + [(str(p.relative_to(written)), p.read_bytes()) for p in written.rglob("*") if p.is_file()]
        for name, data in places:
            for text in unpacked(data):
                found += [f"{name}: {encoding}" for encoding, bytes_ in encodings().items() if bytes_ in text]
        for each in sorted(set(found)):
            print(f"  broken: the password is in {each}")
        print(f"{len(outputs)} commands and {len(places) - len(outputs)} files, {len(encodings())} encodings: "
              f"{len(set(found))} finds")
        sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
