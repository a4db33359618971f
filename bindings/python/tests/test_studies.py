"""Studies: one table whoever computes it, and mistakes told before anything runs."""

import dataclasses
import json
import os
import shutil
import signal
import subprocess
import sys
from pathlib import Path

import pandas as pd
import pytest

import ksbeacon
from ksbeacon import studies
from ksbeacon.studies import _batch, _engine

EXAMPLES = Path(__file__).parents[3] / "examples"
VISITORS = EXAMPLES / "scenarios/visitors.json"
COUNT = 30


@pytest.fixture(scope="module")
def made():
    return ksbeacon.study(VISITORS, COUNT, workers=0)


@pytest.fixture
def own(tmp_path):
    """A copy of the example that a test may change."""
    shutil.copytree(EXAMPLES / "portal", tmp_path / "portal")
    (tmp_path / "scenarios").mkdir()
    return Path(shutil.copy(VISITORS, tmp_path / "scenarios"))


def test_counts_add_up(made):
    table, summary = made.table, made.summary
    assert summary.visitors == COUNT and table["visitor"].max() <= COUNT
    by_content = table.groupby("content", observed=True)
    assert by_content["shown"].sum().to_dict() == summary.contents["shown"].to_dict()
    assert (summary.repeats.sum(axis="columns") == COUNT).all()
    assert summary.noise.sum() == COUNT and summary.noise[1:].sum() == made.hours["visitor"].nunique()
    assert made.hours["notifications"].sum() == summary.hours["notifications"].sum() > 0
    # The portal would be told of each firing.
    told = summary.statistics.set_index("event")["count"]
    assert told[told.index.str.endswith("/notification")].sum() == table["fired"].sum()
    # A circle's content comes soon after its entry, a dwelling one after its two minutes.
    latency = by_content["latency"].median()
    assert latency["square"] < 30 and 120 <= latency["audio"] < 180


def test_a_visitor_of_the_table_walks_alone(made):
    rows = made.table[made.table["visitor"] == 7].set_index("content")
    walk = ksbeacon.Scenario(VISITORS).run(visitor=7)
    assert [rows.loc[content, "fired"] for content in sorted(rows.index)] == [
        sum(event.content == content for event in walk.triggers) for content in sorted(rows.index)
    ]


def test_killed_workers_change_nothing(made, monkeypatch):
    monkeypatch.setattr(_engine, "BATCH", 4)
    with _engine.client(2, None) as client:
        doomed = list(client.run(os.getpid).values())

        def kill(done):
            if doomed and done >= 4:
                os.kill(doomed.pop(), signal.SIGKILL)

        again = ksbeacon.study(VISITORS, COUNT, scheduler=client, progress=kill)
        assert not doomed
        pd.testing.assert_frame_equal(again.table, made.table)
        pd.testing.assert_frame_equal(again.hours, made.hours)
        pd.testing.assert_frame_equal(again.summary.contents, made.summary.contents)
        client.wait_for_workers(1)
        other = dataclasses.replace(made.job, version="0.9.0")
        with pytest.raises(studies.WorkerError, match=r"worker tcp.* has version .* the study 0.9.0"):
            next(_engine.run_on(client, other, 1, 1))


def test_workers_refuse_what_others_would_not_compute(own):
    job, _ = _batch.job_for(str(own), None, None, None)
    assert len(_batch.run_batch(job, 1, 1).contacts)
    documents = own.parents[1] / "portal/beacons.json"
    documents.write_text(documents.read_text() + "\n")
    with pytest.raises(studies.WorkerError, match="other documents"):
        _batch.run_batch(job, 1, 1)
    own.unlink()
    with pytest.raises(studies.WorkerError, match="must be shared"):
        _batch.run_batch(job, 1, 1)


@pytest.mark.parametrize(
    ("member", "value", "message"),
    [
        (("places", 0, "ways", 0, "to"), "entrence", r'ways\[0\].to: .* did you mean "entrance"'),
        (("visits", 1, "days"), 9, r"visits\[1\].days: .* got 9"),
        (("phones", 4, "disabledCategories"), ["8"], r'phones\[4\].disabledCategories: .* got "8"'),
        (("visitor",), 3, 'did you mean "visitors"'),
        ((), None, 'expected a "population"'),
    ],
)
def test_mistakes_come_first(own, member, value, message):
    scenario = json.loads(own.read_text())
    place = scenario["population"]
    for name in member[:-1]:
        place = place[name]
    if member:
        place[member[-1]] = value
    else:
        del scenario["population"]
    own.write_text(json.dumps(scenario))
    with pytest.raises(ksbeacon.InputError, match=message):
        ksbeacon.study(own, COUNT, workers=0, progress=lambda done: pytest.fail("it ran"))


def test_comparison_is_paired_by_visitor(own, made, tmp_path):
    other = tmp_path / "quiet"
    shutil.copytree(own.parents[1] / "portal", other)
    circles = json.loads((other / "geofences.json").read_text())
    circles[0]["content"] |= {"id": "<script>", "title": "<script>"}
    (other / "geofences.json").write_text(json.dumps(circles))
    found = studies.paired(made, ksbeacon.study(VISITORS, COUNT, documents=other, workers=0))
    table = found.table.set_index(["measure", "content"])
    square, renamed = table.loc["reached", "square"], table.loc["reached", "<script>"]
    share = (made.table.query("content == 'square'")["shown"] > 0).sum() / COUNT
    assert square["difference"] == pytest.approx(-share) and renamed["b"] == pytest.approx(share)
    # Of a share, the variance is known.
    wide = 1.96 * (share * (1 - share) / (COUNT - 1)) ** 0.5
    assert square["high"] - square["difference"] == pytest.approx(wide, rel=0.001)
    untouched = table.loc["shown", "welcome"]
    assert untouched["a"] > 0 and untouched["low"] == untouched["high"] == 0
    found.report(tmp_path / "page.html")
    page = (tmp_path / "page.html").read_text()
    assert "<script" not in page and "&lt;script&gt;" in page and "default-src 'none'" in page


def test_command_writes_rows_as_they_come(made, own, tmp_path):
    line = [sys.executable, "-m", "ksbeacon", "study", str(own), "--workers", "0"]
    rows, page = tmp_path / "rows.csv", tmp_path / "study.html"
    said = subprocess.run(
        [*line, "--visitors", "5", "--first", "3", "--rows", rows, "--report", page],
        capture_output=True, text=True, check=True,
    )  # fmt: skip
    written = pd.read_csv(rows, dtype={"content": "category"})
    part = made.table[made.table["visitor"].between(3, 7)]
    assert written["visitor"].tolist() == part["visitor"].tolist()
    assert written["shown"].tolist() == part["shown"].tolist()
    assert "welcome" in said.stdout and "5" in page.read_text()
    wrong = subprocess.run([*line, "--documents", "nowhere"], capture_output=True, text=True)
    assert wrong.returncode != 0 and "nowhere" in wrong.stderr and "Traceback" not in wrong.stderr
