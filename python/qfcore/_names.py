"""Enumerations of the system as enumerations of Python."""

from __future__ import annotations

import enum

from . import _qfcore


class Enumeration(enum.StrEnum):
    """A text of a fixed set: `RoundMode.FLOOR == "floor"`; texts are read in any case, `"full_precision"` as well."""

    @classmethod
    def _missing_(cls, value: object) -> Enumeration | None:
        wanted = _essence(value)
        return next((member for member in cls if _essence(member.value) == wanted), None)

    def __repr__(self) -> str:
        return f"{type(self).__name__}.{self.name}"


def _essence(text: object) -> str:
    return "".join(c for c in str(text).lower() if c.isalnum())


enumerations: dict[str, type[Enumeration]] = _qfcore.make_enumerations(Enumeration)
