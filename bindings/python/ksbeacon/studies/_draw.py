"""Pictures and tables of a page, as texts of HTML and SVG."""

from __future__ import annotations

import math
from collections.abc import Iterable, Sequence
from html import escape
from typing import Any

WIDTH = 420
_LABEL = 120
_ROW = 24
_END = 70
#: Metres in a degree of latitude.
_DEGREE = 111_195


def number(value: float, digits: int = 0) -> str:
    return "–" if math.isnan(value) else f"{value:,.{digits}f}"


def percent(share: float) -> str:
    return number(100 * share, 1) + " %"


def table(head: Sequence[str], rows: Iterable[Sequence[Any]]) -> str:
    def line(cells: Sequence[Any], tag: str) -> str:
        return "<tr>" + "".join(f"<{tag}>{escape(str(cell))}</{tag}>" for cell in cells) + "</tr>"

    body = "".join(line(row, "td") for row in rows)
    return f'<div class="wide"><table>{line(head, "th")}{body}</table></div>'


def _svg(height: float, content: str, name: str) -> str:
    label = escape(name)
    return f'<svg viewBox="0 0 {WIDTH} {height:.0f}" role="img" aria-label="{label}">{content}</svg>'


def _text(x: float, y: float, words: str, kind: str = "", anchor: str = "start") -> str:
    return f'<text x="{x:.1f}" y="{y:.1f}" class="{kind}" text-anchor="{anchor}">{escape(words)}</text>'


def _shortened(words: str) -> str:
    return words if len(words) <= 18 else words[:17] + "…"


def bars(name: str, rows: Sequence[tuple[str, float, float, str]]) -> str:
    """Rows of label, value, a pale value behind it, and what stands at the end."""
    most = max((max(row[1], row[2]) for row in rows), default=0) or 1
    scale = (WIDTH - _LABEL - _END) / most
    drawn = ""
    for i, (label, value, behind, words) in enumerate(rows):
        y = i * _ROW
        drawn += _text(0, y + 16, _shortened(label))
        for kind, width, inset in (("soft", behind * scale, 3), ("bar", value * scale, 7)):
            drawn += f'<rect class="{kind}" x="{_LABEL}" y="{y + inset}" '
            drawn += f'width="{width:.1f}" height="{_ROW - 2 * inset}"/>'
        drawn += _text(_LABEL + max(value, behind) * scale + 6, y + 16, words, "dim")
    return _svg(max(1, len(rows)) * _ROW, drawn, name)


def intervals(name: str, rows: Sequence[tuple[str, float, float, float]]) -> str:
    """Rows of label, value, and what it lies between; around 0."""
    most = max((max(abs(low), abs(high)) for _, _, low, high in rows), default=0) or 1
    middle = (WIDTH + _LABEL) / 2
    scale = (WIDTH - middle - 8) / most
    bottom = len(rows) * _ROW
    drawn = f'<path class="axis" d="M{middle} 0V{bottom}"/>'
    for i, (label, value, low, high) in enumerate(rows):
        y = i * _ROW + _ROW / 2
        drawn += _text(0, y + 4, _shortened(label))
        drawn += f'<path class="mark" d="M{middle + low * scale:.1f} {y}H{middle + high * scale:.1f}"/>'
        drawn += f'<circle class="bar" cx="{middle + value * scale:.1f}" cy="{y}" r="4"/>'
    return _svg(max(1, bottom), drawn, name)


def site_map(name: str, zones: Sequence[dict[str, Any]], places: Sequence[dict[str, Any]]) -> str:
    """Zones with a "share" from 0 to 1, and the places and ways of the visitors; north is up.

    Shows the beacons where there are several; what lies further out is cut off.
    """
    beacons = [zone["place"] for zone in zones if not zone["circle"]]
    points = beacons if len(beacons) > 1 else [each["place"] for each in [*zones, *places]]
    if not points:
        return ""
    south, north = (pick(lat for lat, _ in points) for pick in (min, max))
    west, east = (pick(lon for _, lon in points) for pick in (min, max))
    shrink = math.cos(math.radians((south + north) / 2))
    margin = 70
    wide = max((east - west) * shrink * _DEGREE, (north - south) * _DEGREE / 1.2, 20)
    scale = (WIDTH - 2 * margin) / wide

    def at(place: Sequence[float]) -> tuple[float, float]:
        x = margin + (place[1] - west) * shrink * _DEGREE * scale
        return x, margin + (north - place[0]) * _DEGREE * scale

    by_name = {place["name"]: at(place["place"]) for place in places}
    drawn = ""
    for place in places:
        x, y = at(place["place"])
        for way in place["ways"]:
            drawn += f'<path class="axis" d="M{x:.1f} {y:.1f}L{by_name[way][0]:.1f} {by_name[way][1]:.1f}"/>'
    for zone in zones:
        x, y = at(zone["place"])
        radius = zone["radius"] * scale if zone["circle"] else 3 + 14 * math.sqrt(zone["share"])
        drawn += f'<circle class="zone" cx="{x:.1f}" cy="{y:.1f}" r="{max(2, radius):.1f}"/>'
    for place in places:
        x, y = at(place["place"])
        drawn += f'<circle class="place" cx="{x:.1f}" cy="{y:.1f}" r="2.5"/>'
    drawn += _labels([(*at(zone["place"]), f'{zone["content"]} {percent(zone["share"])}') for zone in zones])
    return _svg(2 * margin + (north - south) * _DEGREE * scale, drawn, name)


def _labels(wanted: Iterable[tuple[float, float, str]]) -> str:
    """Each beside its point, moved down while it would cover another."""
    taken: list[tuple[float, float, float]] = []
    drawn = ""
    for x, y, words in sorted(wanted, key=lambda each: each[1]):
        wide = 6.5 * len(words)
        left = min(x + 8, WIDTH - wide)
        while any(
            left < right and start < left + wide and abs(y - height) < 14
            for start, right, height in taken
        ):
            y += 14
        taken.append((left, left + wide, y))
        drawn += _text(left, y + 4, words)
    return drawn
