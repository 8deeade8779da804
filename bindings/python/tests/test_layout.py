"""The structs, numbers and functions of the package are those of velmo.h."""

import ctypes
import os
import re
import subprocess
from pathlib import Path

import pytest

from velmo import Status, _library

HEADER = os.environ["VELMO_HEADER"]
DECLARATIONS = re.sub(r"//.*", "", Path(HEADER).read_text())
STRUCTS = {
    "velmo_error": _library.ErrorStruct,
    "velmo_task": _library.TaskStruct,
    "velmo_settings": _library.SettingsStruct,
    "velmo_endpoint": _library.EndpointStruct,
    "velmo_task_name": _library.TaskNameStruct,
    "velmo_job": _library.JobStruct,
}
NUMBERS = {
    "VELMO_NAME_SIZE": _library.NAME_SIZE,
    "VELMO_NO_LIMIT": _library.NO_LIMIT,
    "VELMO_DURABLE": _library.DURABLE,
    "INT_MAX": _library.INT_MAX,
} | {f"VELMO_{status.name}": status.value for status in Status}


def fields_of(struct: type[ctypes.Structure]) -> list[str]:
    return [field[0] for field in struct._fields_]


def functions() -> list[tuple[str, str, str]]:
    """The result, the name and the arguments of each."""
    pattern = r"^VELMO_(?:API|CALL) ([^()]*?)(\w+)\(([^)]*)\);"
    return re.findall(pattern, DECLARATIONS, re.MULTILINE)


def expressions() -> dict[str, int]:
    """Expressions of C, and the value that the package takes each for."""
    values = dict(NUMBERS)
    for name, struct in STRUCTS.items():
        values[f"sizeof({name})"] = ctypes.sizeof(struct)
        for field in fields_of(struct):
            descriptor = getattr(struct, field)
            values[f"offsetof({name}, {field})"] = descriptor.offset
            values[f"sizeof((({name}*)0)->{field})"] = descriptor.size
    return values


@pytest.fixture(scope="module")
def compiled(tmp_path_factory: pytest.TempPathFactory) -> dict[str, int]:
    """What the compiler says of each expression."""
    directory = tmp_path_factory.mktemp("layout")
    lines = [f'  printf("%lld\\n", (long long)({expression}));' for expression in expressions()]
    source = directory / "layout.c"
    source.write_text(
        "\n".join(
            [
                "#include <limits.h>",
                "#include <stddef.h>",
                "#include <stdio.h>",
                f'#include "{HEADER}"',
                "int main(void) {",
                *lines,
                "}\n",
            ]
        )
    )
    program = directory / "layout"
    compiler = os.environ["VELMO_C_COMPILER"]
    subprocess.run([compiler, "-x", "c", "-std=c99", "-o", program, source], check=True)
    # A preloaded library is for this process only.
    environment = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
    output = subprocess.run([program], stdout=subprocess.PIPE, check=True, env=environment).stdout
    return dict(zip(expressions(), map(int, output.split()), strict=True))


def test_sizes_offsets_and_numbers_are_those_of_the_compiler(compiled: dict[str, int]) -> None:
    assert compiled == expressions()


def test_every_struct_of_the_header_is_known() -> None:
    declared = re.findall(r"typedef struct (\w+) \{", DECLARATIONS)
    assert sorted(declared) == sorted(STRUCTS)


@pytest.mark.parametrize("name", STRUCTS)
def test_every_field_of_the_header_is_known(name: str) -> None:
    match = re.search(rf"typedef struct {name} \{{(.*?)\}} {name};", DECLARATIONS, re.DOTALL)
    assert match is not None
    declarations = re.sub(r"\[[^]]*\]", "", match[1])
    assert re.findall(r"(\w+)\s*[,;]", declarations) == fields_of(STRUCTS[name])


def test_every_status_of_the_header_is_known() -> None:
    declared = re.findall(r"VELMO_(\w+) = \d+", DECLARATIONS)
    assert declared == [status.name for status in Status]


def test_every_function_of_the_header_is_known_with_its_arguments() -> None:
    counts = {
        name: 0 if arguments == "void" else arguments.count(",") + 1
        for _, name, arguments in functions()
    }
    known = _library.PROTOTYPES.items()
    assert counts == {name: len(arguments) for name, (_, arguments) in known}


def test_every_function_returns_what_the_header_declares() -> None:
    results = {
        "velmo_status": ctypes.c_int,
        "int": ctypes.c_int,
        "size_t": ctypes.c_size_t,
        "const char*": ctypes.c_char_p,
        "void": None,
    }
    for result, name, _ in functions():
        assert _library.PROTOTYPES[name][0] is results[result.strip()], name
