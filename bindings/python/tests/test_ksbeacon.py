"""The package against the library of this build, and the library against itself."""

import asyncio
import contextlib
import dataclasses
import json
import re
import subprocess
import threading
from pathlib import Path

import pytest

import ksbeacon

EXAMPLES = Path(__file__).parents[3] / "examples"
SCENARIOS = EXAMPLES / "scenarios"
ENTRANCE = bytes.fromhex("02154B8E1A605D0C4F3B9E570C1D2E3F4A5B00010001C5")


@pytest.fixture
def device(tmp_path):
    application = ksbeacon.Application("http://127.0.0.1:9/app", "demo", "demo")
    with ksbeacon.Device.embedded(application, tmp_path) as made:
        yield made


@contextlib.contextmanager
def portal(command):
    line = [command, "portal", str(EXAMPLES / "portal"), "--port", "0"]
    with subprocess.Popen(
        line, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True
    ) as process:
        try:
            yield next(re.search(r"http://\S+/app", text)[0] for text in process.stderr if "http" in text)
        finally:
            process.terminate()


def decided(lines):
    """What the engine decided and the portal answered. Replies of one moment have no order over HTTP."""
    kinds = ("trigger", "refusal", "dwelling", "notification", "statistic", "withheld", "login", "http")
    return sorted(line for line in lines if json.loads(line)["kind"] in kinds)


@pytest.mark.parametrize("path", sorted(SCENARIOS.glob("*.json")), ids=lambda path: path.stem)
def test_examples_go_the_same_way_over_http(path, command):
    walk = ksbeacon.Scenario(path).run()
    assert walk.expectations > 0 and walk.passed, walk.failures
    line = [command, "simulate", str(path), "--json"]
    over_http = subprocess.run(line, capture_output=True, text=True, check=True).stdout.splitlines()
    assert decided(event.json for event in walk.events) == decided(over_http)


def test_equal_runs_give_equal_events():
    first = [event.json for event in ksbeacon.Scenario(SCENARIOS / "demo.json").run().events]
    assert first == [e.json for e in ksbeacon.Scenario(SCENARIOS / "demo.json").run().events]


def test_mistakes_and_callers_errors_come_back(tmp_path):
    broken = tmp_path / "broken.json"
    broken.write_text('{"title": 1}')
    with pytest.raises(ksbeacon.InputError, match=r"broken.json:1: "):
        ksbeacon.Scenario(broken).run()
    with pytest.raises(ksbeacon.ArgumentError, match="noSuch"):
        ksbeacon.Scenario(SCENARIOS / "demo.json").run(refinements="noSuch")
    with pytest.raises(KeyError):
        ksbeacon.Scenario(SCENARIOS / "demo.json").run(on_event=lambda event: {}["nothing"])


def test_a_process_has_one_device_of_one_thread(device, tmp_path):
    with pytest.raises(ksbeacon.StateError, match="already"):
        ksbeacon.Scenario(SCENARIOS / "demo.json").run()
    caught = []

    def elsewhere():
        try:
            device.run_once()
        except ksbeacon.ThreadError as error:
            caught.append(error)

    thread = threading.Thread(target=elsewhere)
    thread.start()
    thread.join()
    assert caught
    with pytest.raises(ksbeacon.StateError, match="ks_start"):
        device.set_tag("shoes", "42")


def test_embedded_device_tells_why_it_does_not_start(device):
    with pytest.raises(ksbeacon.StateError, match="did not start"):
        device.start(timeout=20)
    texts = [event.text for event in device.events(0.3)]
    assert "launched" in texts
    device.set_tag("shoes", "42")
    device.advertisement("AA", bytes([2, 255]), -60)


def test_embedded_device_announces_what_it_hears(command, tmp_path):
    recording = tmp_path / "day.ksrec"
    application = ksbeacon.Application("", "demo", "demo", record=recording, without="tags")
    with portal(command) as url, ksbeacon.Device.embedded(
        dataclasses.replace(application, portal_url=url), tmp_path / "state"
    ) as device:
        device.start()
        assert device.categories()["1"][1]
        device.set_tag("language", "it")
        fired = None
        for event in device.events(30):
            device.position(45.07, 7.686, 5)
            device.manufacturer_data("AA", 0x004C, ENTRANCE, -60)
            if event.kind == ksbeacon.Kind.TRIGGER and event.zone == "b-entrance":
                fired = event
                break
        assert fired and fired.content == "welcome" and fired.entering
        assert fired.body == "The museum is open until six."
        health = device.health()
        assert health["started"] and not health["ailments"]
        device.set_consent("statistics,identifiers")
        with pytest.raises(ksbeacon.ArgumentError, match="smells"):
            device.set_consent("smells")
        device.open_content("welcome")
        texts = [event.text for event in device.events(1)]
        assert "the user opens content welcome" in texts
    assert fired in ksbeacon.replay(recording)
    assert ksbeacon.why(recording, "welcome")["fired"]
    other = ksbeacon.replay(recording, documents=EXAMPLES / "kiosk-portal")
    assert "welcome" not in [event.content for event in other]


def test_why_names_the_rule_that_held_back():
    answer = ksbeacon.Scenario(SCENARIOS / "event-counter.json").why("coffee", at=35)
    assert not answer["fired"] and "1 more event" in answer["conclusion"]
    with pytest.raises(ksbeacon.InputError):
        ksbeacon.why("nowhere.ksrec", "coffee")


def test_asyncio_gives_events_beside_other_work(device):
    async def first_text():
        ksbeacon._library.check(ksbeacon._library.lib.ks_start(device._device))
        async for event in device:
            return event.text

    assert asyncio.run(asyncio.wait_for(first_text(), 20)) == "launched"
