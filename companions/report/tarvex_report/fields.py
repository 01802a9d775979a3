"""Reads values of a JSON document, and says where one is missing or of another kind."""

import math
from typing import Any

from .faults import ReportFault
from .texts import clean

Json = Any


class Fields:
    """One object of a document; `where` is the way to it, for what is said of its faults."""

    def __init__(self, value: Json, where: str):
        if not isinstance(value, dict):
            raise ReportFault(f"{where} is no object")
        self.value = value
        self.where = where

    def _get(self, name: str) -> Json:
        if name not in self.value:
            raise ReportFault(f"{self.where} has no \"{name}\"")
        return self.value[name]

    def _wrong(self, name: str, wanted: str) -> ReportFault:
        return ReportFault(f"\"{name}\" of {self.where} is no {wanted}")

    def text(self, name: str) -> str:
        value = self._get(name)
        if not isinstance(value, str):
            raise self._wrong(name, "text")
        return clean(value)

    def text_or(self, name: str, otherwise: str) -> str:
        """For what may be unknown, or blank."""
        text = self.maybe_text(name)
        return text if text is not None and text.strip() else otherwise

    def maybe_text(self, name: str) -> str | None:
        return None if self._get(name) is None else self.text(name)

    def number(self, name: str) -> float:
        return number_of(self._get(name), f"\"{name}\" of {self.where}")

    def maybe_number(self, name: str) -> float | None:
        return None if self._get(name) is None else self.number(name)

    def flag(self, name: str) -> bool:
        value = self._get(name)
        if not isinstance(value, bool):
            raise self._wrong(name, "boolean")
        return value

    def items(self, name: str) -> list[Json]:
        value = self._get(name)
        if not isinstance(value, list):
            raise self._wrong(name, "list")
        return value

    def texts(self, name: str) -> tuple[str, ...]:
        if not all(isinstance(value, str) for value in self.items(name)):
            raise self._wrong(name, "list of texts")
        return tuple(map(clean, self.items(name)))

    def objects(self, name: str) -> list["Fields"]:
        return [
            Fields(value, f"{name}[{index}] of {self.where}")
            for index, value in enumerate(self.items(name))
        ]

    def words(self, name: str) -> dict[str, str]:
        """An object whose values are texts."""
        inner = Fields(self._get(name), f"\"{name}\" of {self.where}")
        return {clean(key): inner.text(key) for key in inner.value}


def number_of(value: Json, where: str) -> float:
    """A finite number; none of the booleans, which Python takes for numbers."""
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise ReportFault(f"{where} is no number")
    try:
        number = float(value)
    except OverflowError:
        raise ReportFault(f"{where} is too large") from None
    if not math.isfinite(number):
        raise ReportFault(f"{where} is no finite number")
    return number
