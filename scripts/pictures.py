#!/usr/bin/env python3
"""Takes the pictures of the report page: desk and phone, light and dark, one day and two.

usage: scripts/pictures.py KSBEACON FOLDER
"""

import pathlib
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(SOURCE / "tests/Tools"))

from browser import Browser  # noqa: E402

FORMS = {"desk": (1400, 900), "phone": (390, 844)}


def main(command, folder):
    folder.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as name, Browser() as browser:
        scratch = pathlib.Path(name)
        recording = scratch / "tour.ksrec"
        pages = {"day": scratch / "day.html", "days": scratch / "days.html"}
        tour = SOURCE / "examples/scenarios/tour.json"
        subprocess.run([command, "simulate", tour, "--report", pages["day"], "--record", recording],
                       check=True, stdout=subprocess.DEVNULL)
        subprocess.run([command, "replay", recording, "--documents", SOURCE / "examples/kiosk-portal",
                        "--compare", "--report", pages["days"]], check=True, stdout=subprocess.DEVNULL)
        for page, file in pages.items():
            for form, (width, height) in FORMS.items():
                for shade in ("light", "dark"):
                    browser.open(f"{file.as_uri()}#at=300", width, height, shade == "dark")
                    browser.picture(folder / f"{page}-{form}-{shade}.png")
        browser.open(f"{pages['day'].as_uri()}#at=300", *FORMS["desk"])
        browser.value("document.querySelector('.events .refusal').click()")
        browser.settle()
        browser.picture(folder / "why.png")


main(sys.argv[1], pathlib.Path(sys.argv[2]))
