"""The 25 patches, which are the inputs of the nets. Element p of a list belongs to patch p.

The numbers are those of the library's own table. A test compares the resulting patches with the
library's, pixel by pixel.
"""

from __future__ import annotations

from typing import Dict, List, NamedTuple, Tuple

NETS = 25
ROWS = 2  # a net reads the patch and its mirror image
ROW_OUTPUTS = 160
NET_OUTPUTS = ROWS * ROW_OUTPUTS
JOINED = NETS * NET_OUTPUTS  # 8000
PROJECTED = 500
SLOTS = 25
UPPER_ANCHOR, LOWER_ANCHOR = 6, 8  # slots


class Patch(NamedTuple):
    side: int  # pixels of the square sample
    span: int  # length of the reference length in the frame, in pixels
    offset: float  # the sample is centred this many spans below its landmark
    column_margin: int  # columns that are blanked at the left and at the right
    row_margin: int  # rows that are blanked at the top and at the bottom
    center: int  # slot at the centre of the direct sample
    mirror: int  # slot at the centre of the mirrored sample
    planes: int  # 3 (red, green, blue) or 1 (gray)


PATCHES: List[Patch] = [
    Patch(55, 12, 0, 4, 0, 6, 6, 3),
    Patch(55, 18, 0, 4, 0, 6, 6, 3),
    Patch(47, 33, 0, 0, 0, 2, 5, 3),
    Patch(47, 18, 0, 0, 0, 10, 11, 1),
    Patch(47, 27, 0.3333, 0, 0, 6, 6, 3),
    Patch(47, 33, 0, 0, 0, 9, 9, 1),
    Patch(47, 33, 0, 0, 0, 18, 19, 1),
    Patch(47, 30, 0, 0, 0, 13, 12, 3),
    Patch(47, 33, 0, 0, 0, 0, 1, 1),
    Patch(47, 30, 0, 0, 0, 10, 11, 1),
    Patch(47, 12, 0, 0, 3, 15, 15, 3),
    Patch(47, 33, 0, 0, 0, 15, 15, 1),
    Patch(47, 15, 0.3333, 0, 6, 6, 6, 1),
    Patch(47, 30, 0, 0, 0, 13, 12, 3),
    Patch(47, 15, -1, 0, 3, 6, 6, 1),
    Patch(47, 24, 0, 0, 0, 15, 15, 1),
    Patch(47, 18, 0, 0, 0, 14, 14, 3),
    Patch(47, 30, 0, 0, 0, 3, 4, 1),
    Patch(47, 33, 0, 0, 0, 7, 7, 3),
    Patch(47, 21, 0.3333, 0, 0, 6, 6, 1),
    Patch(47, 33, 0, 0, 0, 0, 1, 3),
    Patch(47, 18, 0, 0, 0, 22, 23, 1),
    Patch(47, 33, 0, 0, 0, 10, 11, 3),
    Patch(47, 18, 0, 0, 0, 15, 15, 1),
    Patch(47, 33, 0, 0, 0, 3, 4, 3),
]


def _shapes() -> Dict[Tuple[int, int], List[int]]:
    shapes: Dict[Tuple[int, int], List[int]] = {}
    for index, patch in enumerate(PATCHES):
        shapes.setdefault((patch.side, patch.planes), []).append(index)
    return shapes


GROUPS: List[List[int]] = list(_shapes().values())
"""Patches of one shape, whose nets run as one: 2 of 55 pixels, 10 of 47 in colour, 13 in gray."""
