"""Classes that are no arrays: how they print, copy and travel."""

from __future__ import annotations

import ast
import functools
from typing import Any

from . import _qfcore


def _call_of(text: str) -> tuple[list[Any], dict[str, Any]]:
    """Arguments and keywords of the call that an object prints as in scripts, such as `fimath('RoundMode', 'floor')`."""
    text = text.replace("true", "True").replace("false", "False")
    if "(" not in text:
        return [], {}
    call = ast.parse(text.replace("[", "[").strip(), mode="eval").body
    assert isinstance(call, ast.Call)
    values = [_literal(argument) for argument in call.args]
    first = next((i for i, value in enumerate(values) if isinstance(value, str)), len(values))
    pairs = values[first:]
    if not set(pairs[::2]) <= set(_spellings()) or len(pairs) % 2 == 1:
        return values, {}
    return values[:first], dict(zip(pairs[::2], pairs[1::2]))


def _literal(node: ast.expr) -> Any:
    return ast.literal_eval(node)


@functools.cache
def _spellings() -> dict[str, str]:
    """Python's names of properties by the host's."""
    return {row["host_name"]: row["name"] for table in _qfcore.tables().values() for row in table["properties"]}


def made_by(obj: Any) -> str:
    """The call that makes `obj` again."""
    if isinstance(obj, classes["fimath"]):
        values, pairs = [], _set(classes["fimath"](), _state(obj)[1])
    else:
        values, pairs = _call_of(_script_text(obj))
    arguments = [repr(value) for value in values]
    arguments += [f"{_spellings().get(name, name)}={value!r}" for name, value in pairs.items()]
    return f"{type(obj).__name__}({', '.join(arguments)})"


def restore(name: str, state: Any) -> Any:
    """An object of class `name` from what `saved` keeps of it."""
    obj = classes[name](*state[0])
    _set(obj, state[1])
    return obj


def saved(obj: Any) -> tuple[str, Any]:
    """The name of an object's class, and plain values that it can be made of again."""
    return type(obj).__name__, _state(obj)


def _state(obj: Any) -> tuple[list[Any], dict[str, Any]]:
    if isinstance(obj, classes["fimath"]):
        # What settings print leaves out those that do not matter now.
        rows = _qfcore.tables()["fimath"]["properties"]
        return [], {row["name"]: _plain(getattr(obj, row["name"])) for row in rows if not row["is_hidden"]}
    values, pairs = _call_of(_script_text(obj))
    return values, {_spellings()[name]: value for name, value in pairs.items()}


def _plain(value: Any) -> Any:
    return str(value) if isinstance(value, str) else value


def _set(obj: Any, properties: dict[str, Any]) -> dict[str, Any]:
    """Sets the properties that differ; those that follow from others no longer do then. Returns what it has set."""
    changed = {}
    for name, value in properties.items():
        if getattr(obj, name) != value:
            setattr(obj, name, value)
            changed[name] = value
    return changed


def _script_text(obj: Any) -> str:
    import re

    # In scripts the numbers of a vector have blanks between them.
    return re.sub(r"\[([^\]]*)\]", lambda m: "[" + ", ".join(m[1].split()) + "]", obj.tostring())


class Common:
    """What Python asks of every object of the system."""

    __slots__ = ()

    def __repr__(self) -> str:
        if hasattr(type(self), "tostring"):
            return made_by(self)
        return f"<{type(self).__name__}>"

    def __copy__(self) -> Any:
        return self.copy()  # type: ignore[attr-defined]

    def __deepcopy__(self, memo: dict[int, Any]) -> Any:
        return self.copy()  # type: ignore[attr-defined]

    def __reduce__(self) -> Any:
        if not hasattr(type(self), "tostring"):
            raise TypeError(f"cannot pickle '{type(self).__name__}' objects")
        return restore, saved(self)


classes: dict[str, Any] = {}


def _shown(name: str) -> Any:
    """A class of the package below what the tables make, its bases shown alike."""
    if name not in classes:
        made = _qfcore.classes[name]
        content = {"__slots__": (), "__module__": "qfcore", "__doc__": made.__doc__}
        classes[name] = type(name, (Common, made), content)
        _qfcore.show_as(classes[name])
    return classes[name]


for _name in _qfcore.classes:
    if _name != "fi":
        _shown(_name)
