#!/usr/bin/env python3
"""Writes the scenarios of a simulated day among 200 beacons.

usage: day.py FOLDER [HOURS]

FOLDER gets the portal's documents and two scenarios, `still.json` and `walking.json`: a visitor who
stands in the middle of a hall with a beacon every 10 metres, and one who walks up and down in it.
"""

import json
import pathlib
import sys

COLUMNS, ROWS, DISTANCE = 20, 10, 10
UUID = "4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B"


def beacon(number):
    """The portal's zone and the scenario's radio of beacon `number`."""
    zone = {"id": f"b-{number}", "location": {"id": "hall"}, "uuid": UUID, "major": 1,
            "minor": number + 1, "name": f"Place {number}",
            "content": {"type": "HTML", "id": number, "name": f"Content {number}",
                        "message": f"About place {number}", "proximity": "NEAR",
                        "notifyOn": "ENTER", "notifyAfterXEvents": 1,
                        "repeatDelaySeconds": 3600, "pageUrl": f"https://shop.example/{number}"}}
    radio = {"name": f"place-{number}", "uuid": UUID, "major": 1, "minor": number + 1, "noise": 2,
             "at": {"east": number % COLUMNS * DISTANCE, "north": number // COLUMNS * DISTANCE}}
    return zone, radio


def walk(kind, hours):
    east, north = (COLUMNS - 1) * DISTANCE, (ROWS - 1) * DISTANCE
    if kind == "still":
        return {"from": {"east": east / 2, "north": north / 2}, "steps": [{"pause": hours * 3600}]}
    # A row takes 150 seconds at the usual speed.
    steps = []
    for row in range(int(hours * 3600 / 150)):
        steps.append({"to": {"east": east * ((row + 1) % 2), "north": row % ROWS * DISTANCE}})
    return {"from": {"east": 0, "north": 0}, "steps": steps}


def main():
    folder = pathlib.Path(sys.argv[1])
    hours = float(sys.argv[2]) if len(sys.argv) > 2 else 24
    portal = folder / "portal"
    portal.mkdir(parents=True, exist_ok=True)
    zones, radios = zip(*(beacon(number) for number in range(COLUMNS * ROWS)))
    documents = {"beacons": zones, "geofences": [], "categories": [],
                 "locations": [{"id": "hall", "name": "Hall", "latitude": 45.07,
                                "longitude": 7.686, "refreshIntervalSeconds": 3600}]}
    for name, document in documents.items():
        (portal / f"{name}.json").write_text(json.dumps(document))
    for kind in ("still", "walking"):
        scenario = {"title": f"A day among {len(radios)} beacons, {kind}",
                    "start": "2026-05-04T00:00:00Z", "until": hours * 3600,
                    "portal": {"documents": "portal"},
                    "origin": {"latitude": 45.07, "longitude": 7.686}, "beacons": radios,
                    "walk": walk(kind, hours)}
        (folder / f"{kind}.json").write_text(json.dumps(scenario))


main()
