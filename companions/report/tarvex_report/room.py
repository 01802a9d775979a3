"""How much of pictures and measurements there is room for on one page, so that a browser opens it at once."""

from collections.abc import Sequence

from .figure import Figure

# Letters of the page. The rest of it grows with the number of tests alone.
FOR_RUNS = 3_500_000
FOR_COURSES = 1_000_000
OF_A_CELL = 20
OF_A_MEASUREMENT = 200


def size_of(figures: Sequence[Figure], measurements: int = 0) -> int:
    """About how many letters of the page these take."""
    pictures = sum(len(picture) for figure in figures for picture in figure.pictures)
    cells = [cell for figure in figures for row in figure.rows for cell in row]
    return pictures + sum(map(len, cells)) + OF_A_CELL * len(cells) + OF_A_MEASUREMENT * measurements


class Room:
    """Handed out to who asks, until the first does not find enough; then nobody gets any."""

    def __init__(self, letters: float):
        self._left = letters

    @property
    def is_full(self) -> bool:
        return self._left < 0

    def has(self, letters: int) -> bool:
        if not self.is_full:
            self._left -= letters
        return not self.is_full
