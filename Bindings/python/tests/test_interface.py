"""The table of C functions and the names of codes are those of the library's sources."""

from __future__ import annotations

import ctypes
import re

from conftest import REPOSITORY

import quindalim
from quindalim import enums
from quindalim.c_functions import FUNCTIONS, ExtraRisksInfo
from quindalim.codes import CODE_NAMES

HEADER = re.sub(r"/\*.*?\*/", "", (REPOSITORY / "Units/QuindalIM/include/QuindalIM.h").read_text(), flags=re.S)
C_TYPES = {"int8_t": "i8", "int32_t": "i32", "int64_t": "i64", "double": "f64", "intptr_t": "handle", "bool": "bool"}
C_TYPES["ExtraRisksInfo"] = "info"
C_TYPES |= {name: C_TYPES[kind] for kind, name in re.findall(r"typedef (\w+) (\w+);", HEADER)}


def declared_parameter(text: str) -> tuple[str, str, bool]:
    kind, name = " ".join(text.split()).rsplit(" ", 1)
    if kind == "const char*":
        return name, "text", False
    if kind == "char*":
        return name, "text", True
    return name, C_TYPES[kind.rstrip("*")], kind.endswith("*")


def test_the_table_says_what_the_header_declares() -> None:
    declared = {}
    for result, name, text in re.findall(r"QUINDAL_API (const char\*|int32_t) (\w+)\(([^)]*)\);", HEADER):
        parameters = [] if text == "void" else [declared_parameter(part) for part in text.split(",")]
        declared[name] = (parameters, result == "const char*")
    assert len(declared) == 50
    assert {
        name: ([(part.name, part.type, part.is_written) for part in function.parameters], function.returns_text)
        for name, function in FUNCTIONS.items()
    } == declared


def test_the_packed_structure_has_68_bytes() -> None:
    assert ctypes.sizeof(ExtraRisksInfo) == 68


def test_enumerations_have_the_values_of_the_header() -> None:
    declared = {name: int(value) for name, value in re.findall(r"QUINDAL_(\w+) = (\d+)", HEADER)}
    prefixes = {"MspType": "MSP", "AccountLevel": "ACCOUNT_HIERARCHY"}
    renamed = {"ACCOUNT_HIERARCHY_ACCOUNT": "ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT"}
    renamed["ACCOUNT_HIERARCHY_FIRM"] = "ACCOUNT_HIERARCHY_BROKER"
    seen = set()
    for kind in vars(enums).values():
        if isinstance(kind, type) and kind.__module__ == enums.__name__:
            prefix = prefixes.get(kind.__name__, re.sub(r"(?<!^)(?=[A-Z])", "_", kind.__name__).upper())
            for word, member in kind.__members__.items():  # type: ignore[attr-defined]
                name = renamed.get(f"{prefix}_{word}", f"{prefix}_{word}")
                assert declared[name] == int(member), name
                seen.add(name)
    assert {name for name in declared if name not in seen and not name.startswith("RISK_TYPE_")} == set()


def test_names_and_texts_of_codes_are_those_of_the_librarys_table() -> None:
    table = (REPOSITORY / "Units/kv7base/include/kv7errors.def").read_text()
    rows = {int(code): (name, text) for code, name, text in re.findall(r'KV7_ERROR\((\d+), (\w+), "(.*)"\)', table)}
    common = (REPOSITORY / "Units/kv7base/include/kv7errors.h").read_text()
    platform = "".join(file.read_text() for file in (REPOSITORY / "Platform/Z9Sys/include").glob("*.h"))
    names = {int(code): name for name, code in re.findall(r"Z9ERR (Z9ERR_COMMON_\w+) = (\d+);", common)}
    names |= {int(code, 16): name for name, code in re.findall(r"#define (Z9ERR_\w+) (0x[0-9A-F]+)u", platform)}
    names |= {code: name for code, (name, _) in rows.items()}
    assert {code: names[code] for code in CODE_NAMES} == CODE_NAMES
    told = {code: text for code, (_, text) in rows.items() if code in CODE_NAMES and text}
    assert len(told) > 80
    assert {code: quindalim.error_text(code) for code in told} == told


def test_codes_are_those_that_the_header_has_constants_for() -> None:
    constants = {int(code): name for name, code in re.findall(r"CODE\(QUINDAL_(\w+), (\d+),", HEADER)}
    assert constants.pop(0) == "OK"
    assert constants == {code: re.sub("^Z9ERR_(QUINDAL_IM_)?", "ERR_", name) for code, name in CODE_NAMES.items()}


def test_every_code_of_the_documentation_has_a_name() -> None:
    pages = "".join(file.read_text() for file in (REPOSITORY / "docs/api").glob("*.md"))
    codes = {int(code) for row in re.findall(r"^\| (\d[\d, ]*)\|", pages, flags=re.M) for code in row.split(",")}
    assert len(codes) > 40
    assert codes - CODE_NAMES.keys() == set()
