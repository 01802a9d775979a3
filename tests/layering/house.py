"""The rules of what a newcomer sees of the house, and the functions that check a tree.

Sizes and names of files, circles between rooms, decoders without a fuzzer, and what the documents
say of rooms and files. Each check returns a list of readable violations; an empty list is a clean
tree.
"""

import os
import re

import layering

MOST_LINES = 350
MOST_HEADER_LINES = 200

# A module's room in the drawing and in the table of rooms.
MODULE = "service/modules/NAME"

LABEL = re.compile(r"\[\s*([\w/]+)\s*\]")
CODE = re.compile(r"`([^`]+)`")
LINK = re.compile(r"\]\(([^)#:]+)\)")

# Which neighbours (rows down, columns right) a character of the drawing joins.
UP, DOWN, LEFT, RIGHT = (-1, 0), (1, 0), (0, -1), (0, 1)
JOINS = {
    "|": (UP, DOWN),
    "-": (LEFT, RIGHT),
    "+": (UP, DOWN, LEFT, RIGHT),
    "v": (UP,),
    "<": (RIGHT,),
    ">": (LEFT,),
}
# A field that a row of parameters writes, and a use of a field.
BOUND = re.compile(r"&[A-Z]\w*::([a-z]\w*)\b")
USED = re.compile(r"(?:[\w)\]]\.|->)([a-z]\w*)\b")
# What a header declares that makes something of bytes from outside.
DECODER = re.compile(r"^Decoded<.*> (\w+)\(Bytes ", re.M)
HEADS = {"v": DOWN, "<": LEFT, ">": RIGHT}
# Where two lines cross and have nothing to do with each other.
CROSSING = ")"


def product_files(root):
    """Every source file of the product below root, examples left out."""
    return [
        path
        for path in layering.source_files(root)
        if not layering.is_test(path) and layering.room_of(path) is not None
    ]


def read(root, path):
    with open(os.path.join(root, path), encoding="utf-8") as file:
        return file.read()


def check_sizes(root):
    """Violations of the size of the product's files."""
    found = []
    for path in product_files(root):
        lines = read(root, path).count("\n")
        most = MOST_HEADER_LINES if path.endswith((".h", ".hpp")) else MOST_LINES
        if lines > most:
            found.append(f"{path}: {lines} lines, more than {most}")
    return found


def check_names(root):
    """Product files that look like tests."""
    return [
        f"{path}: is no test"
        for path in product_files(root)
        if os.path.basename(path).startswith("test_")
    ]


def check_parameters(root):
    """Parameters of a module's tests whose values nothing in the module reads, by their fields."""
    modules = {}
    for path in product_files(root):
        if path.startswith("service/modules/"):
            modules.setdefault(layering.room_of(path), []).append(read(root, path))
    return [
        f"{room}: nothing reads the parameter in {field}"
        for room, texts in sorted(modules.items())
        for field in sorted(
            set(BOUND.findall("".join(texts))) - set(USED.findall("".join(texts)))
        )
    ]


def check_decoders(root):
    """Decoders of a module that no fuzzer which includes their header calls."""
    sources = layering.source_files(root)
    fuzzers = [read(root, path) for path in sources if path.endswith("_fuzzer.cpp")]
    found = []
    for path in product_files(root):
        if not path.startswith("service/modules/") or not path.endswith(".h"):
            continue
        texts = [text for text in fuzzers if f'#include "{path}"' in text]
        found += [
            f"{path}: no fuzzer calls {decoder}"
            for decoder in DECODER.findall(read(root, path))
            if not any(re.search(rf"\b{decoder}\(", text) for text in texts)
        ]
    return found


def reach(graph, start):
    """What `start` reaches in graph (name -> names), itself only by a circle."""
    seen = set()
    pending = list(graph.get(start, ()))
    while pending:
        name = pending.pop()
        if name not in seen:
            seen.add(name)
            pending += graph.get(name, ())
    return seen


def check_circles(rooms):
    """Violations in a table of rooms: rooms that may include each other."""
    return [f"{room}: lies on a circle" for room in sorted(rooms) if room in reach(rooms, room)]


def labels_of(rows):
    """(row, column) of each character of a room's box -> the room."""
    boxes = {}
    for row, text in enumerate(rows):
        for match in LABEL.finditer(text):
            for column in range(match.start(), match.end()):
                boxes[row, column] = match.group(1)
    return boxes


def lines_of(rows, boxes):
    """The lines of the drawing, each a set of (row, column) that hang together."""
    cells = {
        (row, column): JOINS[character]
        for row, text in enumerate(rows)
        for column, character in enumerate(text)
        if (row, column) not in boxes and character in JOINS
    }
    crossings = {
        (row, column)
        for row, text in enumerate(rows)
        for column, character in enumerate(text)
        if (row, column) not in boxes and character == CROSSING
    }
    while cells:
        start, joins = cells.popitem()
        line, pending = {start}, [(start, joins)]
        while pending:
            (row, column), joins = pending.pop()
            for down, right in joins:
                place = (row + down, column + right)
                while place in crossings:
                    place = (place[0] + down, place[1] + right)
                if (-down, -right) in cells.get(place, ()):
                    line.add(place)
                    pending.append((place, cells.pop(place)))
        yield line


def arrows(drawing):
    """The graph that a drawing shows: room -> the rooms that its arrows point at.

    A line leads from every box that it leaves downwards to every box that a head of it points at.
    """
    rows = drawing.splitlines()
    boxes = labels_of(rows)
    graph = {room: set() for room in boxes.values()}
    for line in lines_of(rows, boxes):
        heads = {place: HEADS.get(rows[place[0]][place[1]]) for place in line}
        sources = {boxes[row - 1, column] for row, column in line if (row - 1, column) in boxes}
        targets = {
            boxes.get((row + head[0], column + head[1]))
            for (row, column), head in heads.items()
            if head
        }
        for source in sources:
            graph[source] |= targets
    return graph


def drawing_of(text):
    """The drawing in a document: its first block that has a room's box and an arrow."""
    for block in re.findall(r"^```\n(.*?)^```", text, re.M | re.S):
        if "[frontend]" in block:
            return block
    return ""


def check_drawing(drawing, rooms):
    """Violations of a drawing: a room includes what its arrows reach, a module what they touch."""
    graph = arrows(drawing)
    names = {MODULE if room == "service/modules/*" else room: room for room in rooms}
    found = [f"{room}: is no room" for room in sorted(set(graph) - set(names))]
    for name, room in names.items():
        shown = graph.get(name, set()) if name == MODULE else reach(graph, name)
        if name not in graph:
            found.append(f"{name}: is not drawn")
        elif shown != set(rooms[room]):
            found.append(f"{name}: drawn {sorted(map(str, shown))}, is {sorted(rooms[room])}")
    return found


def section_of(text, title):
    """The text below the heading of that title, up to the next of any level."""
    match = re.search(rf"^#+ {re.escape(title)}\n(.*?)(?=^#|\Z)", text, re.M | re.S)
    return match.group(1) if match else ""


def rows_of(text):
    """The cells of each row of the tables in a document, without heads."""
    rows = [
        [cell.strip() for cell in line.strip().strip("|").split("|")]
        for line in text.splitlines()
        if line.startswith("|")
    ]
    heads = {index for index, row in enumerate(rows) if set(row[0]) <= {"-", ":"}}
    heads |= {index - 1 for index in heads}
    return [row for index, row in enumerate(rows) if index not in heads]


def decisions_of(text):
    """The rows of the table of decisions, without those that head a part of it."""
    rows = rows_of(section_of(text, "Where is it decided"))
    return [row for row in rows if not row[0].startswith("**")]


def check_decisions(root, text):
    """Violations in the table of decisions: each row ends with the one file that is there."""
    found = []
    for row in decisions_of(text):
        paths = CODE.findall(row[-1])
        if len(paths) != 1:
            found.append(f"{row[0]}: names {len(paths)} files")
        elif not os.path.isfile(os.path.join(root, paths[0])):
            found.append(f"{row[0]}: there is no {paths[0]}")
    return found


def home_of(root, path):
    """The folder whose README.md has the row of a product file: its own, or the room's."""
    folder = os.path.dirname(path)
    room = layering.room_of(path)
    while folder != room and not os.path.isfile(os.path.join(root, folder, "README.md")):
        folder = os.path.dirname(folder)
    return folder


def check_room_tables(root):
    """Violations in the rooms' tables of files: each product file has one row, and no other has."""
    wanted = {}
    for path in product_files(root):
        home = home_of(root, path)
        stem = os.path.splitext(os.path.relpath(path, home))[0]
        wanted.setdefault(home, set()).add(stem)
    found = []
    for home, stems in sorted(wanted.items()):
        readme = os.path.join(home, "README.md")
        if not os.path.isfile(os.path.join(root, readme)):
            found.append(f"{readme}: is missing")
            continue
        named = [
            name
            for row in rows_of(section_of(read(root, readme), "Files"))
            for name in CODE.findall(row[0])
        ]
        found += [f"{readme}: no row of {stem}" for stem in sorted(stems - set(named))]
        found += [f"{readme}: {name} is no file" for name in sorted(set(named) - stems)]
        found += [f"{readme}: {name} twice" for name in sorted(set(named)) if named.count(name) > 1]
    return found


def documents(root):
    """Every document below root, from the root."""
    for folder, folders, names in os.walk(root):
        folders[:] = [name for name in folders if not name.startswith(".") and name != "build"]
        for name in names:
            if name.endswith(".md"):
                yield os.path.relpath(os.path.join(folder, name), root)


def is_there(root, path):
    return any(os.path.exists(os.path.join(root, path + suffix)) for suffix in ("", ".h", ".cpp"))


def check_paths(root):
    """Links of documents, and paths in them from the root of the tree, that lead to nothing."""
    tops = {name for name in os.listdir(root) if os.path.isdir(os.path.join(root, name))} - {"build"}
    found = []
    for document in sorted(documents(root)):
        text = read(root, document)
        paths = [os.path.join(os.path.dirname(document), link) for link in LINK.findall(text)]
        paths += [
            code
            for code in CODE.findall(text)
            if re.fullmatch(r"[a-z0-9_./]+/[a-z0-9_.]*", code)
            and (code.split("/")[0] in tops or code.endswith((".cpp", ".h", ".py")))
        ]
        found += [f"{document}: there is no {path}" for path in paths if not is_there(root, path)]
    return found
