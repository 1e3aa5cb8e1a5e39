"""Progress lines: how much of a command is done, its speed, and the remaining time."""

from __future__ import annotations

import sys
import time
from typing import Optional, TextIO


class Progress:
    """Prints a line every few seconds at most, and one at the end.

        progress = Progress("prepare", total=5000, unit="photographs")
        progress.update(done)
        progress.finish()

    total  None if it is unknown.
    done   units completed by a previous run that this one continues; they don't count as speed.
    """

    def __init__(
        self, command: str, total: Optional[int], unit: str, done: int = 0, interval: float = 5.0,
        stream: Optional[TextIO] = None,
    ) -> None:  # fmt: skip
        self._command, self._total, self._unit = command, total, unit
        self._interval, self._stream = interval, stream or sys.stderr
        self._first = self._done = done
        self._start = self._last = time.monotonic()

    def update(self, done: int, note: str = "") -> None:
        """done is the number of completed units; note is appended to the line."""
        self._done = done
        if time.monotonic() - self._last >= self._interval:
            self.print(note)

    def print(self, note: str = "") -> None:
        """Prints the line now."""
        self._last = time.monotonic()
        seconds = max(self._last - self._start, 1e-9)
        speed = (self._done - self._first) / seconds
        text = f"{self._command}: {self._done}"
        if self._total is not None:
            text += f" of {self._total}"
        text += f" {self._unit}, {speed:.3g} a second"
        if self._total is not None and speed > 0 and self._done < self._total:
            text += f", {_duration((self._total - self._done) / speed)} left"
        print(text + (f", {note}" if note else ""), file=self._stream, flush=True)

    def finish(self, note: str = "") -> None:
        self.print(note)


def _duration(seconds: float) -> str:
    if seconds < 90:
        return f"{seconds:.0f} s"
    if seconds < 5400:
        return f"{seconds / 60:.0f} min"
    return f"{seconds / 3600:.1f} h"
