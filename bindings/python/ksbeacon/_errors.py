"""The C interface's errors as exceptions."""

from __future__ import annotations


class Error(Exception):
    """Anything that the library refuses; its text says what and why."""


class ArgumentError(Error, ValueError):
    """An argument that is not allowed."""


class ThreadError(Error):
    """The device belongs to another thread."""


class StateError(Error):
    """Not possible now, as a second device in one process."""


class Unavailable(Error):
    """This build or this device has no such part."""


class InputError(Error, ValueError):
    """A scenario or a document has a mistake; the text names file, line and member."""


class SystemRefusal(Error, OSError):
    """A folder, file or descriptor cannot be had."""


ERRORS: dict[int, type[Error]] = {
    1: ArgumentError,
    2: ThreadError,
    3: StateError,
    4: Unavailable,
    5: InputError,
    6: SystemRefusal,
}
