"""Rows of runs in a file, one transaction each: what is in it survives everything that the program does not."""

from __future__ import annotations

import hashlib
import json
import os
import sqlite3
import types
from typing import Any, Callable, Mapping

Point = Mapping[str, Any]


def key_of(point: Point) -> str:
    """The name of a point: the same for the same values, in whatever order."""
    return json.dumps({name: _plain(name, value) for name, value in point.items()}, sort_keys=True)


def _plain(name: str, value: Any) -> Any:
    value = value.item() if hasattr(value, "item") else value
    if value is not None and not isinstance(value, (bool, int, float, str)):
        raise TypeError(f"values of '{name}' must be numbers or texts to be told apart later, not {type(value).__name__}")
    return value


def fingerprint(function: Callable[..., Any] | None) -> str:
    """Changes with the code of a function, so that runs of another one are not taken for its own."""
    function = getattr(function, "func", function)  # of a partial
    code = getattr(function, "__code__", None)
    name = getattr(function, "__qualname__", type(function).__name__)
    return f"{name} {hashlib.sha256(_content(code)).hexdigest()[:16]}" if code else name


def _content(code: types.CodeType) -> bytes:
    inner = [_content(each) if isinstance(each, types.CodeType) else repr(each).encode() for each in code.co_consts]
    return b"|".join([code.co_code, repr(code.co_names).encode(), *inner])


class Store:
    """Rows by point. A file of the same name that holds runs of other functions raises ValueError."""

    def __init__(self, path: str | os.PathLike[str] | None, study: str) -> None:
        self._file = sqlite3.connect(":memory:" if path is None else os.fspath(path), isolation_level=None)
        self._file.execute("PRAGMA journal_mode=WAL")
        self._file.execute("PRAGMA synchronous=NORMAL")
        self._file.execute("CREATE TABLE IF NOT EXISTS study (functions TEXT)")
        self._file.execute("CREATE TABLE IF NOT EXISTS runs (point TEXT PRIMARY KEY, result TEXT)")
        known = self._file.execute("SELECT functions FROM study").fetchone()
        if known is None:
            self._file.execute("INSERT INTO study VALUES (?)", (study,))
        elif known[0] != study:
            self._file.close()
            raise ValueError(f"{path} holds runs of other functions ({known[0]}, not {study}): name another store, or delete it")

    def results(self) -> dict[str, dict[str, Any]]:
        """What each run gave, by the key of its point."""
        return {key: json.loads(result) for key, result in self._file.execute("SELECT point, result FROM runs")}

    def add(self, key: str, result: dict[str, Any]) -> None:
        """Keeps a run before this returns; an earlier one of the same point gives way."""
        self._file.execute("INSERT OR REPLACE INTO runs VALUES (?, ?)", (key, json.dumps(result)))

    def close(self) -> None:
        self._file.close()
