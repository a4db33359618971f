"""A campaign's test, where campaign people write them: python3 -m pytest test_campaign.py"""

from pathlib import Path

import ksbeacon

DEMO = Path(__file__).parents[1] / "scenarios" / "demo.json"


def test_demo_campaign():
    walk = ksbeacon.Scenario(DEMO).run()
    assert walk.passed, walk.failures
    assert "welcome" in [event.content for event in walk.triggers]
    assert len(walk.notifications) <= 5, "nobody is annoyed"
