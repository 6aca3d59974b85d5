"""Writes the type stub of the package from the tables of the classes and the signatures of what stands above them."""

from __future__ import annotations

import ast
import inspect
import pathlib
import sys
from typing import Any

import qfcore
from qfcore import _names, _qfcore, _table

TYPES = {"int32": "int", "double": "float", "bool": "bool", "string": "str"}
HEADER = '''# Generated from the tables of the classes.
from typing import Any, Iterable, Iterator, Mapping, Sequence, TypeAlias, overload

import enum
import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import blocks as blocks, design as design, hardware as hardware, plot as plot

__version__: str
'''


def property_type(row: dict[str, Any]) -> str:
    if row["is_enumeration"]:
        return "str"  # a member reads as a text, and any text of the enumeration may be set
    if row["type"].startswith("embedded."):
        return str(row["type"]).removeprefix("embedded.")
    return TYPES.get(row["type"], "Any")


def property_lines(row: dict[str, Any]) -> list[str]:
    kind = property_type(row)
    lines = ["    @property", f"    def {row['name']}(self) -> {kind}:", f"        {row['help']!r}"]
    if row["is_writable"]:
        lines += [f"    @{row['name']}.setter", f"    def {row['name']}(self, value: {kind}) -> None: ..."]
    return lines


def method_lines(row: dict[str, Any], result: str) -> list[str]:
    arguments = ["self"]
    if row["max_inputs"] < 0:
        arguments.append("*values: Any")
    else:
        arguments += [
            f"x{i}: Any" + (" = ..." if i >= row["min_inputs"] else "") for i in range(1, row["max_inputs"])
        ] + ["/"]
        if row["max_inputs"] == 0:
            arguments = ["self", "/"]
    if row["max_outputs"] not in (0, 1):
        arguments.append("outputs: int = ..." if row["max_inputs"] < 0 else "*, outputs: int = ...")
    kind = "None" if row["max_outputs"] == 0 else result
    return [f"    def {row['name']}({', '.join(arguments)}) -> {kind}:", f"        {row['help']!r}"]


# What a method of an array gives where the tables do not say it.
ARRAYS = {"plus", "minus", "times", "mtimes", "rdivide", "uminus", "uplus", "conj", "sign", "realabs", "bitcmp", "bitshift"}


def own_lines(shown: type) -> tuple[set[str], list[str]]:
    """Names and signatures of what a class of the package has besides rows."""
    names, lines = set(), []
    for name, member in shown.__dict__.items():
        if isinstance(member, property):
            kind = annotation(member.fget.__annotations__.get("return", "Any"))
            lines += ["    @property", f"    def {name}(self) -> {kind}: ..."]
            if member.fset:
                lines += [f"    @{name}.setter", f"    def {name}(self, value: Any) -> None: ..."]
        elif isinstance(member, (classmethod, staticmethod)) or inspect.isfunction(member):
            function = member.__func__ if isinstance(member, classmethod) else member
            if name.startswith("__array") or name.startswith("_") and not name.startswith("__"):
                continue
            if isinstance(member, classmethod):
                lines.append("    @classmethod")
            lines.append(f"    def {name}{signature(function)}: ...")
        else:
            continue
        names.add(name)
    return names, lines


def annotation(text: Any) -> str:
    kind = str(text).replace("type(0)", "int").replace("_Shape", "tuple[int, ...]")
    # A property named `int` hides the class within the body.
    return kind.replace("int", "_int") if kind.startswith(("int", "tuple[int")) else kind


def signature(function: Any) -> str:
    parts, star = [], False
    for each in inspect.signature(function).parameters.values():
        text = each.name
        if each.kind is each.VAR_POSITIONAL:
            text, star = "*" + text, True
        elif each.kind is each.VAR_KEYWORD:
            text = "**" + text
        elif each.kind is each.KEYWORD_ONLY and not star:
            parts.append("*")
            star = True
        if each.annotation is not each.empty:
            text += f": {annotation(each.annotation)}"
        if each.default is not each.empty:
            text += " = ..."
        parts.append(text)
    result = inspect.signature(function).return_annotation
    return f"({', '.join(parts)})" + ("" if result is inspect.Signature.empty else f" -> {annotation(result)}")


OPERATORS = ("add sub mul truediv floordiv mod pow matmul and or xor lshift rshift").split()


def array_lines() -> list[str]:
    lines = [
        "    @property", "    def shape(self) -> tuple[_int, ...]: ...",
        "    @property", "    def ndim(self) -> _int: ...",
        "    @property", "    def size(self) -> _int: ...",
        "    def __array__(self, dtype: Any = ...) -> NDArray[Any]: ...",
        "    def __len__(self) -> _int: ...",
        "    def __getitem__(self, key: Any) -> fi: ...",
        "    def __setitem__(self, key: Any, value: Any) -> None: ...",
        "    def __float__(self) -> float: ...",
        "    def __int__(self) -> _int: ...",
        "    def __bool__(self) -> bool: ...",
        "    __hash__: None  # type: ignore[assignment]",
    ]
    for name in OPERATORS:
        lines += [f"    def __{name}__(self, other: Any) -> fi: ...", f"    def __r{name}__(self, other: Any) -> fi: ..."]
    lines += [f"    def __{name}__(self) -> fi: ..." for name in ("neg", "pos", "abs", "invert")]
    lines += [f"    def __{name}__(self, other: Any) -> Any: ..." for name in ("lt", "le", "gt", "ge")]
    lines += [
        f"    def __{name}__(self, other: object) -> Any: ..." for name in ("eq", "ne")
    ]
    return lines


def class_lines(name: str, table: dict[str, Any]) -> list[str]:
    is_array = name == "fi"
    base = f"({table['superclass']})" if table["superclass"] else ""
    lines = ["", f"class {name}{base}:", f"    {table['help']!r}"]
    hidden, own = own_lines(getattr(qfcore, name)) if is_array else (set(), [])
    if is_array:
        hidden |= {"shape", "ndim", "size"}
    keywords = "value: ArrayLike | fi = ..., *arguments: Any, **properties: Any" if is_array else "*arguments: Any, **properties: Any"
    lines.append(f"    def __init__(self, {keywords}) -> None: ...")
    if table["superclass"] is None and not is_array:
        lines.append("    def __eq__(self, other: object) -> bool: ...")
    properties = {row["name"] for row in table["properties"]}
    for row in table["properties"]:
        if row["name"] not in hidden and not row["is_hidden"]:
            lines += property_lines(row)
    for row in table["methods"]:
        if row["name"] not in hidden | properties and not row["is_hidden"]:
            lines += method_lines(row, "fi" if is_array and row["name"] in ARRAYS else "Any")
    if is_array:
        lines = [line.replace("-> int:", "-> _int:").replace("value: int)", "value: _int)").replace(": int = ...", ": _int = ...")
                 for line in lines]
        lines += array_lines() + own
    return lines


# Modules that programs import by name, and the sources of which they show what has no underscore.
MODULES = {
    "plot.pyi": ["plot.py"],
    "blocks.pyi": ["blocks.py"],
    "hardware.pyi": ["hardware.py"],
    "design/__init__.pyi": ["_table.py", "design/observe.py", "design/ranges.py", "design/runs.py", "design/search.py"],
}
IMPORTS = """import contextlib
import os
from typing import Any, Callable, Iterable, Iterator, Mapping, Sequence, Union

import numpy as np

"""


def source_lines(node: ast.stmt, indent: str = "") -> list[str]:
    """What a statement shows to who imports its module."""
    if isinstance(node, ast.FunctionDef) and node.name != "__init__" and (not node.name.startswith("_") or indent and node.name.startswith("__")):
        decorators = [f"{indent}@{ast.unparse(each)}" for each in node.decorator_list]
        result = ast.unparse(node.returns) if node.returns else "Any"
        return [*decorators, f"{indent}def {node.name}({ast.unparse(node.args)}) -> {result}: ..."]
    if isinstance(node, ast.AnnAssign) and indent:
        return [f"{indent}{ast.unparse(node.target)}: {ast.unparse(node.annotation)}"]
    if isinstance(node, ast.Assign) and isinstance(node.value, ast.Subscript) and ast.unparse(node)[0] != "_" and not indent:
        return [ast.unparse(node)]  # another name of a type
    if isinstance(node, ast.ClassDef) and not node.name.startswith("_"):
        bases = f"({', '.join(map(ast.unparse, node.bases))})" if node.bases else ""
        body = [line for each in node.body for line in source_lines(each, "    ")]
        made = next((each for each in node.body if isinstance(each, ast.FunctionDef) and each.name == "__init__"), node)
        body += [f"    {each.target.attr}: {ast.unparse(each.annotation)}" for each in ast.walk(made)
                 if isinstance(each, ast.AnnAssign) and isinstance(each.target, ast.Attribute) and not each.target.attr.startswith("_")]
        return [f"class {node.name}{bases}:", *(body or ["    ..."])]
    return []


def write_modules(folder: pathlib.Path) -> None:
    for name, sources in MODULES.items():
        trees = [ast.parse((folder / source).read_text()) for source in sources]
        nodes = [node for tree in trees for node in tree.body]
        if name.endswith("__init__.pyi"):
            front = ast.parse((folder / name.removesuffix("i")).read_text())
            known = {alias.name for node in ast.walk(front) if isinstance(node, ast.ImportFrom) for alias in node.names} | {"Table"}
            nodes = [node for node in nodes if getattr(node, "name", None) in known or isinstance(node, ast.Assign)]
        lines = [line for node in nodes for line in source_lines(node)]
        (folder / name).write_text(IMPORTS + "\n".join(lines) + "\n")


def main(folder: str) -> None:
    write_modules(pathlib.Path(folder))
    lines = [HEADER, "_int: TypeAlias = int"]
    for name in ("Error", "FixedPointWarning"):
        base = {"Error": "ValueError", "FixedPointWarning": "UserWarning"}[name]
        lines += ["", f"class {name}({base}):", "    identifier: str"]
    for name in ("OverflowWarning", "UnderflowWarning", "DivideByZeroWarning"):
        lines += ["", f"class {name}(FixedPointWarning): ..."]
    for name, enumeration in _names.enumerations.items():
        lines += ["", f"class {name}(enum.StrEnum):"]
        lines += [f"    {member.name} = {member.value!r}" for member in enumeration]
    for name, table in _qfcore.tables().items():
        lines += class_lines(name, table)
    for shown in (_table.Table, qfcore.Report, qfcore.logging):
        base = shown.__base__
        lines += ["", f"class {shown.__name__}" + (f"({base.__name__})" if base is not object else "") + ":"]
        lines += own_lines(shown)[1]
    lines += ["", "def feature(name: str, value: Any = ...) -> Any: ..."]
    with open(f"{folder}/__init__.pyi", "w", encoding="utf-8") as stub:
        stub.write("\n".join(lines) + "\n")


main(sys.argv[1])
