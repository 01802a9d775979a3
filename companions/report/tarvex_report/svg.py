"""Pictures as SVG that may stand in any page: nothing but shapes, letters and classes.

Whatever made the picture, only the elements and attributes of these lists go through, so no script,
no style, no reference to anything and no identifier does.
"""

import re
from collections.abc import Mapping
from xml.etree import ElementTree

from markupsafe import Markup

ELEMENTS = frozenset(["svg", "g", "path", "rect", "text", "circle"])
ATTRIBUTES = frozenset(
    ["class", "d", "x", "y", "width", "height", "cx", "cy", "r", "rx", "ry", "transform", "viewBox"]
)
# Where nothing of it is seen.
EMPTY_GROUPS = frozenset(["tooltip", "text-overlay", "tooltip-overlay"])
LONG_NUMBER = re.compile(r"-?\d+\.\d+")


def _shorter(value: str) -> str:
    """Tenths of a pixel are enough."""
    return LONG_NUMBER.sub(lambda number: f"{float(number[0]):.1f}".removesuffix(".0"), value)


def _local(name: object) -> str:
    """An element's name without its namespace; empty for comments and instructions."""
    return name.rpartition("}")[2] if isinstance(name, str) else ""


def _tidied(source: ElementTree.Element) -> ElementTree.Element | None:
    name = _local(source.tag)
    if name not in ELEMENTS or EMPTY_GROUPS.intersection(source.get("class", "").split()):
        return None
    attributes = {
        key: _shorter(value) if key != "class" else value.strip()
        for key, value in source.attrib.items()
        if key in ATTRIBUTES and value.strip()
    }
    made = ElementTree.Element(name, attributes)
    if name == "text":
        made.text = source.text
    made.extend(child for child in map(_tidied, source) if child is not None)
    return None if name == "g" and len(made) == 0 else made


def picture(source: ElementTree.Element, classes: str, words: str) -> Markup:
    """The picture for a page, with the words for who does not see it."""
    made = _tidied(source)
    if made is None:
        raise ValueError("no picture")
    made.set("class", classes)
    made.set("role", "img")
    made.set("aria-label", words)
    return Markup(ElementTree.tostring(made, encoding="unicode"))


def shape(parent: ElementTree.Element, name: str, values: Mapping[str, float | str]) -> ElementTree.Element:
    return ElementTree.SubElement(parent, name, {key: str(value) for key, value in values.items()})
