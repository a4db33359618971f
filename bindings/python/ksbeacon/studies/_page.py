"""The page of a study: pictures, and the numbers beside each."""

from __future__ import annotations

import base64
import hashlib
from html import escape
from pathlib import Path
from typing import TYPE_CHECKING

import pandas as pd

from ksbeacon.studies import _draw
from ksbeacon.studies._batch import LATE, RULES
from ksbeacon.studies._draw import number, percent
from ksbeacon.studies._summary import LATENCY_EDGES, MOST

if TYPE_CHECKING:
    from ksbeacon.studies._compare import Comparison
    from ksbeacon.studies._study import Study

_CSS = Path(__file__).with_name("page.css")


def _section(title: str, words: str, picture: str, numbers: str) -> str:
    return (
        f"<section><h2>{escape(title)}</h2><p>{escape(words)}</p>"
        f'<div class="pair"><div>{picture}</div><div>{numbers}</div></div></section>'
    )


def _reach(study: Study) -> str:
    contents, visitors = study.summary.contents, study.visitors
    rows = [
        (str(name), row["reached"] / visitors, row["present"] / visitors, percent(row["reached"] / visitors))
        for name, row in contents.iterrows()
    ]
    numbers = [
        (name, number(row["present"]), number(row["reached"]), percent(row["reached"] / visitors),
         number(row["shown"]))
        for name, row in contents.iterrows()
    ]  # fmt: skip
    return _section(
        "Reach",
        "Visitors who saw a content (dark), and who were in one of its zones (pale): inside a circle or "
        "within 4 m of a beacon, 0.5 m where the content asks for it. Beacons are heard from further away.",
        _draw.bars("reach of each content", rows),
        _draw.table(["content", "were there", "saw it", "of all", "times shown"], numbers),
    )


def _repeats(study: Study) -> str:
    repeats = study.summary.repeats
    seen = {name: row[1:].sum() for name, row in repeats.iterrows()}
    rows = [
        (str(name), row[2:].sum() / max(1, seen[name]), 0.0, percent(row[2:].sum() / max(1, seen[name])))
        for name, row in repeats.iterrows()
    ]
    numbers = [
        (name, *(number(row[times]) for times in (1, 2, 3)), number(row[4:].sum()))
        for name, row in repeats.iterrows()
    ]
    return _section(
        "Repeats",
        "Of the visitors who saw a content, the share that saw it more than once.",
        _draw.bars("repeats of each content", rows),
        _draw.table(["content", "once", "twice", "3 times", "more"], numbers),
    )


def _latency(study: Study) -> str:
    latency = study.summary.latency
    total = latency.to_numpy().sum() or 1
    edges = [*LATENCY_EDGES[:-1], None]
    names = [
        f"{low:.0f} to {high:.0f} s" if high else f"{low:.0f} s and more"
        for low, high in zip(edges, edges[1:])
    ]
    sums = latency.sum()
    rows = [(name, count / total, 0.0, percent(count / total)) for name, count in zip(names, sums)]
    numbers = [
        (name, number(row.sum()), *(number(count) for count in row)) for name, row in latency.iterrows()
    ]
    return _section(
        "From entering to the notification",
        "A visitor's first notification of a content, counted from entering its zone; from leaving it for "
        f"contents of an exit; dwelling times included. Above {LATE:.0f} s it is late.",
        _draw.bars("time from entering to the notification", rows),
        _draw.table(["content", "visitors", *(f"{low:.0f} s" for low in LATENCY_EDGES[:-1])], numbers),
    )


def _noise(study: Study) -> str:
    visitors = study.visitors
    names = [*(str(times) for times in range(MOST)), f"{MOST} and more"]
    shares = [(name, count / visitors, count) for name, count in zip(names, study.summary.noise)]
    return _section(
        "Noise",
        "Notifications of one person, over all visits.",
        _draw.bars("notifications of one person", [(name, s, 0.0, percent(s)) for name, s, _ in shares]),
        _draw.table(
            ["notifications", "persons", "of all"],
            [(name, number(count), percent(share)) for name, share, count in shares],
        ),
    )


def _hours(study: Study) -> str:
    hours = study.summary.hours
    zone = study.population["timeZone"]
    local = pd.DatetimeIndex(hours.index).tz_localize("UTC").tz_convert(zone)
    by_hour = hours.groupby(local.hour).sum()
    rows = [
        (f"{hour}:00", float(row["notifications"]), 0.0, number(row["notifications"]))
        for hour, row in by_hour.iterrows()
    ]
    numbers = [
        (name, number(count), number(row["persons"]), number(count / max(1, row["persons"]), 2))
        for (name, count, _, _), (_, row) in zip(rows, by_hour.iterrows())
    ]
    return _section(
        "Hours",
        f"Notifications by the hour of the day in {zone}, all days together.",
        _draw.bars("notifications by hour", rows),
        _draw.table(["hour", "notifications", "persons", "per person"], numbers),
    )


def _refusals(study: Study) -> str:
    contents = study.summary.contents
    columns = [f"refused_{rule}" for rule in RULES]
    sums = contents[columns].sum()
    rows = [(rule, float(sums[name]), 0.0, number(sums[name])) for rule, name in zip(RULES, columns)]
    numbers = [
        (name, *(number(row[column]) for column in columns)) for name, row in contents.iterrows()
    ]
    return _section(
        "Refusals",
        "Events that did not fire their content, by the rule that held it back.",
        _draw.bars("refusals by rule", rows),
        _draw.table(["content", *RULES], numbers),
    )


def _places(study: Study) -> str:
    """A map for each group of places between which visitors walk."""
    places = study.population["places"]
    contents = study.summary.contents
    zones = [
        {**zone, "share": contents.loc[zone["content"], "reached"] / study.visitors}
        for zone in study.population["zones"]
    ]
    sites = _sites(places)
    nearest: dict[int, list[dict[str, object]]] = {i: [] for i in range(len(sites))}
    for zone in zones:
        distances = [
            min((p["place"][0] - zone["place"][0]) ** 2 + (p["place"][1] - zone["place"][1]) ** 2 for p in site)
            for site in sites
        ]
        nearest[distances.index(min(distances))].append(zone)
    pictures = "".join(_draw.site_map("map", nearest[i], site) for i, site in enumerate(sites))
    numbers = [
        (zone["zone"], zone["content"], number(contents.loc[zone["content"], "present"]), percent(zone["share"]))
        for zone in zones
    ]
    return _section(
        "Places",
        "Zones with the share of visitors that saw their content, and the visitors' places and ways; north is up.",
        pictures,
        _draw.table(["zone", "content", "were there", "saw it"], numbers),
    )


def _sites(places: list[dict]) -> list[list[dict]]:
    """Places that ways connect."""
    group = {place["name"]: i for i, place in enumerate(places)}
    for place in places:
        for way in place["ways"]:
            old, new = group[way], group[place["name"]]
            group = {name: new if i == old else i for name, i in group.items()}
    return [[p for p in places if group[p["name"]] == i] for i in dict.fromkeys(group.values())]


def _statistics(study: Study) -> str:
    told = study.summary.statistics
    sums = told.groupby("event")["count"].sum()
    rows = [(str(event), float(count), 0.0, number(count)) for event, count in sums.items()]
    numbers = [(event, zone, number(count)) for event, zone, count in told.itertuples(index=False)]
    return _section(
        "Statistics",
        "What the portal would count.",
        _draw.bars("statistics", rows),
        _draw.table(["event", "zone", "count"], numbers),
    )


def _comparison(comparison: Comparison) -> str:
    rows = comparison.table
    reached = [
        (row.content or "any content", row.difference, row.low, row.high)
        for row in rows[rows["measure"] == "reached"].itertuples()
    ]
    numbers = [
        (row.content or "any content", row.measure, number(row.a, 3), number(row.b, 3),
         f"{row.difference:+.3f}", f"{row.low:+.3f} to {row.high:+.3f}")
        for row in rows.itertuples()
    ]  # fmt: skip
    sides = [study.job.refinements or study.job.documents for study in (comparison.a, comparison.b)]
    if sides[0] == sides[1]:
        sides = ["first", "second"]
    return _section(
        "Difference",
        f"B ({Path(sides[1]).name}) less A ({Path(sides[0]).name}), the same visitors in both, with intervals of "
        f"{comparison.confidence:.0%} confidence. The picture shows the share of visitors reached.",
        _draw.intervals("difference in reach", reached),
        _draw.table(["content", "per visitor", "A", "B", "B − A", "between"], numbers),
    )


def _key_numbers(study: Study) -> str:
    noise = study.summary.noise
    contents = study.summary.contents
    found = [
        (number(study.visitors), "visitors"),
        (percent(1 - noise[0] / study.visitors), "saw anything"),
        (number(contents["shown"].sum() / study.visitors, 2), "notifications per visitor"),
        (percent(contents["late"].sum() / max(1, contents["reached"].sum())), "of these late"),
    ]
    return '<ul class="key">' + "".join(f"<li><b>{b}</b>{escape(w)}</li>" for b, w in found) + "</ul>"


def page(study: Study, comparison: Comparison | None = None) -> str:
    """One file without scripts; its policy allows nothing but its own style."""
    css = _CSS.read_text(encoding="utf-8")
    allowed = base64.b64encode(hashlib.sha256(css.encode()).digest()).decode()
    title = escape(study.population["title"])
    sections = [_comparison(comparison)] if comparison is not None else []
    sections += [
        part(study)
        for part in (_reach, _repeats, _latency, _noise, _hours, _refusals, _places, _statistics)
    ]
    return (
        '<!DOCTYPE html><html lang="en"><head><meta charset="utf-8">'
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
        f"style-src 'sha256-{allowed}'; base-uri 'none'; form-action 'none'\">"
        '<meta name="viewport" content="width=device-width, initial-scale=1">'
        f"<title>{title}</title><style>{css}</style></head><body><h1>{title}</h1>"
        f"<p>Seed {study.job.seed}. Library {escape(study.job.version)}.</p>"
        f"{_key_numbers(study)}{''.join(sections)}</body></html>\n"
    )
