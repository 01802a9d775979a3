"""This house is one that a newcomer finds a way in, and each rule of house.py fires when broken."""

import os

import house
import layering
import pytest

ROOT = os.environ["TARVEX_SOURCE_DIR"]


def write(root, files):
    for path, text in files.items():
        place = root / path
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_text(text)
    return str(root)


def clean(violations):
    assert not violations, "\n".join(violations)


def architecture():
    return house.read(ROOT, "ARCHITECTURE.md")


def test_no_file_is_too_long():
    assert "frontend/cli.h" in house.product_files(ROOT)
    clean(house.check_sizes(ROOT))


def test_no_product_file_looks_like_a_test():
    clean(house.check_names(ROOT))


def test_each_parameter_of_a_test_is_read_by_its_module():
    clean(house.check_parameters(ROOT))


def test_each_decoder_is_called_by_a_fuzzer():
    clean(house.check_decoders(ROOT))


def test_no_room_lies_on_a_circle():
    clean(house.check_circles(layering.ROOMS))


def test_the_drawing_of_the_rooms_is_true():
    clean(house.check_drawing(house.drawing_of(architecture()), layering.ROOMS))


def test_every_decision_names_a_file_that_is_there():
    text = architecture()
    assert len(house.decisions_of(text)) >= 20
    clean(house.check_decisions(ROOT, text))


def test_every_product_file_has_one_row_in_its_rooms_table():
    clean(house.check_room_tables(ROOT))


def test_every_path_in_a_document_leads_somewhere():
    assert "ARCHITECTURE.md" in house.documents(ROOT)
    clean(house.check_paths(ROOT))


# ---- The rules on made-up trees -----------------------------------------------------------------

TOO_LONG = [
    ("os/a.cpp", 351),
    ("os/a.h", 201),
    ("service/modules/one/a.cpp", 351),
    ("service/sdk/module_test_support.h", 201),
]
LONG_ENOUGH = [
    ("os/a.cpp", 350),
    ("os/a.h", 200),
    ("os/a_test.cpp", 351),
    ("tests/support/a.h", 201),
    ("service/modules/one/disk_test_support.h", 201),
]


@pytest.mark.parametrize("path,lines", TOO_LONG)
def test_long_file_is_found(tmp_path, path, lines):
    assert house.check_sizes(write(tmp_path, {path: "\n" * lines})) != []


@pytest.mark.parametrize("path,lines", LONG_ENOUGH)
def test_other_file_may_be_as_long_as_that(tmp_path, path, lines):
    assert house.check_sizes(write(tmp_path, {path: "\n" * lines})) == []


def test_product_file_with_the_name_of_a_test_is_found(tmp_path):
    root = write(tmp_path, {"os/test_a.h": "", "tests/support/test_a.h": "", "os/contest_a.h": ""})
    assert house.check_names(root) == ["os/test_a.h: is no test"]


@pytest.mark.parametrize("use,found", [("", 1), ("Run(values.slowMs);", 0), ("{.slowMs = 1}", 1)])
def test_parameter_that_nothing_reads_is_found(tmp_path, use, found):
    row = 'sdk::Number{"slow_ms", 0, 9, &SlowValues::slowMs};\n'
    tree = {"service/modules/one/a.cpp": row + use, "service/modules/two/b.cpp": "v.slowMs;"}
    assert len(house.check_parameters(write(tmp_path, tree))) == found


@pytest.mark.parametrize(
    "fuzzer,found",
    [
        ('#include "service/modules/one/a.h"\nDecodeIt(bytes)', []),
        ('#include "service/modules/one/a.h"\nDecodeItAll(bytes)', ["DecodeIt"]),
        ('#include "service/modules/two/a.h"\nDecodeIt(bytes)', ["DecodeIt"]),
    ],
)
def test_decoder_that_no_fuzzer_calls_is_found(tmp_path, fuzzer, found):
    header = "// Pure.\nDecoded<std::vector<One>> DecodeIt(Bytes bytes);\nint Other(Bytes bytes);\n"
    tree = {"service/modules/one/a.h": header, "fuzz/one_fuzzer.cpp": fuzzer}
    assert house.check_decoders(write(tmp_path, tree)) == [
        f"service/modules/one/a.h: no fuzzer calls {name}" for name in found
    ]


def test_rooms_on_a_circle_are_found():
    rooms = {"a": ("b",), "b": ("c",), "c": ("a",), "d": ("a",)}
    assert house.check_circles(rooms) == [f"{room}: lies on a circle" for room in "abc"]


ROOMS = {
    "frontend": ("tools", "system", "os"),
    "tools": ("system", "os"),
    "system": ("os",),
    "os": (),
    "service/sdk": ("os",),
    "service/modules/*": ("service/sdk", "system"),
}
DRAWING = """
 [frontend]
     |             [service/modules/NAME]
     v                |         |
  [tools]             |         v
     |                |   [service/sdk]
     +-->[system]<----+         |
             |                  |
             v                  v
 [              os                 ]
"""


def test_drawing_is_read():
    assert house.arrows(DRAWING) == {
        "frontend": {"tools"},
        "tools": {"system"},
        "system": {"os"},
        "os": set(),
        "service/sdk": {"os"},
        "service/modules/NAME": {"service/sdk", "system"},
    }
    assert house.check_drawing(DRAWING, ROOMS) == []


def test_lines_cross_where_the_drawing_says_so():
    rows = [" [left]  [right]", "   |        |", "   +--------)--->[far]", "            v", " [below     ]"]
    graph = house.arrows("\n".join(rows))
    assert graph["left"] == {"far"} and graph["right"] == {"below"}


@pytest.mark.parametrize(
    "true,drawn",
    [
        ("     v   ", "     |   "),  # no head
        ("   [service/sdk]", "                "),  # no box
        ("<----+", "     |"),  # an arrow too few
        ("     +-->[system]", "  [extra][system]"),  # a box too many
        ("  [tools]             |", "  [tools]<------------+"),  # an arrow too many
    ],
)
def test_drawing_that_is_not_true_is_found(true, drawn):
    assert DRAWING.count(true) >= 1
    assert house.check_drawing(DRAWING.replace(true, drawn, 1), ROOMS) != []


DECISIONS = """
## Where is it decided

| Question | File |
|---|---|
| **Part** | |
| what is here | `os/a.cpp` |
"""


@pytest.mark.parametrize("cell", ["`os/b.cpp`", "os/a.cpp", "`os`", "`os/a.cpp`, `os/a.cpp`"])
def test_decision_without_its_one_file_is_found(tmp_path, cell):
    root = write(tmp_path, {"os/a.cpp": ""})
    assert house.check_decisions(root, DECISIONS) == []
    assert len(house.check_decisions(root, DECISIONS.replace("`os/a.cpp`", cell))) == 1


README = """
# Room

| Not a file | `b` |
|---|---|

## Files

| File | What |
|---|---|
| `a`, `sub/c` | what |

## More

| `d` | is no row |
|---|---|
"""
TABLE_TREE = {
    "tools/a.h": "",
    "tools/a.cpp": "",
    "tools/a_test.cpp": "",
    "tools/sub/c.h": "",
    "tools/README.md": README,
}


def test_table_of_files_is_read(tmp_path):
    assert house.check_room_tables(write(tmp_path, TABLE_TREE)) == []


@pytest.mark.parametrize(
    "changes,violation",
    [
        ({"tools/b.h": ""}, "tools/README.md: no row of b"),
        ({"tools/README.md": README.replace("`a`, ", "")}, "tools/README.md: no row of a"),
        ({"tools/README.md": README.replace("`a`", "`a`, `a`")}, "tools/README.md: a twice"),
        ({"tools/README.md": README.replace("`a`", "`a`, `x`")}, "tools/README.md: x is no file"),
        ({"os/a.h": ""}, "os/README.md: is missing"),
    ],
)
def test_table_that_is_not_true_is_found(tmp_path, changes, violation):
    assert house.check_room_tables(write(tmp_path, TABLE_TREE | changes)) == [violation]


def test_folder_with_a_table_of_its_own_is_left_out_of_its_rooms(tmp_path):
    own = "## Files\n\n| File | What |\n|---|---|\n| `c` | what |\n"
    files = TABLE_TREE | {
        "tools/README.md": README.replace(", `sub/c`", ""),
        "tools/sub/README.md": own,
    }
    assert house.check_room_tables(write(tmp_path, files)) == []


def test_path_in_a_document_that_leads_nowhere_is_found(tmp_path):
    text = "`os/a` [a](a.h) `os/a.h` `os/` [b](b.h) `os/b.h` `os/NAME.h` `etc/b` `odd/b.h` `os` [c](http://c)"
    root = write(tmp_path, {"os/a.h": "", "os/README.md": text})
    assert house.check_paths(root) == [
        "os/README.md: there is no os/b.h",
        "os/README.md: there is no os/b.h",
        "os/README.md: there is no odd/b.h",
    ]
