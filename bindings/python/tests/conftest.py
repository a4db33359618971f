import os

import pytest


@pytest.fixture
def command():
    """The `ksbeacon` command of the same build."""
    return os.environ["KSBEACON_COMMAND"]
