"""The shared library and its declarations, read from the C header itself."""

from __future__ import annotations

import json
import os
import re
from collections.abc import Callable
from pathlib import Path
from typing import Any

from cffi import FFI

from ksbeacon._errors import ERRORS, Error

_HEADER = Path(__file__).with_name("ksbeacon.h")


def _declarations(header: str) -> str:
    """The header as cffi takes it: without directives, export marks and what C++ needs."""
    text = re.sub(r"#ifdef __cplusplus.*?#endif", "", header, flags=re.DOTALL)
    text = re.sub(r"^\s*#.*$", "", text, flags=re.MULTILINE)
    return text.replace("KS_API ", "")


ffi = FFI()
ffi.cdef(_declarations(_HEADER.read_text(encoding="utf-8")))
# Any: cffi makes the functions while the program runs.
lib: Any = ffi.dlopen(os.environ.get("KSBEACON_LIBRARY", "libksbeacon.so.1"))


def version() -> str:
    """The version of the loaded library: "1.0.0"."""
    return ffi.string(lib.ks_version()).decode()


def check(status: int) -> None:
    """Raises the exception that belongs to a status of the C interface."""
    if status != lib.KS_OK:
        text = ffi.string(lib.ks_last_error()).decode(errors="replace")
        raise ERRORS.get(status, Error)(text)


def text_or_none(pointer: Any) -> str | None:
    return None if pointer == ffi.NULL else ffi.string(pointer).decode(errors="replace")


def told(ask: Callable[[Any], object]) -> dict[str, Any]:
    """What a function answers through a callback that takes JSON."""
    answers: list[str] = []

    @ffi.callback("void(void *, const char *)")
    def answer(_: Any, text: Any) -> None:
        answers.append(text_or_none(text) or "{}")

    ask(answer)
    return json.loads(answers[0])


class Structure:
    """A C structure with its size set, and the texts that it points to."""

    def __init__(self, kind: str, **members: object) -> None:
        self.pointer = ffi.new(f"{kind} *")
        self.pointer.size = ffi.sizeof(kind)
        self._kept: list[Any] = []
        for name, value in members.items():
            if isinstance(value, (str, os.PathLike)):
                value = ffi.new("char[]", os.fspath(value).encode())
                self._kept.append(value)
            if value is not None:
                setattr(self.pointer, name, value)
