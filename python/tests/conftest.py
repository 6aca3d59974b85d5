"""Randomness that tells how to repeat itself; every test starts with logging off."""

import hypothesis
import pytest

hypothesis.settings.register_profile("default", deadline=None, max_examples=150, print_blob=True)
hypothesis.settings.load_profile("default")


@pytest.fixture(autouse=True)
def logging_is_off_afterwards():
    import qfcore

    yield
    qfcore._qfcore.call("fipref", "LoggingMode", "Off")
