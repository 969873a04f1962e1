# SPDX-License-Identifier: BSD-3-Clause
"""The byte images of a pcbin file, and the errors of the module."""

from __future__ import annotations

import numpy as np

# All numbers are little-endian, nothing is padded.

#: The file header, 68 bytes. The counts are 0 until the writer closes the file.
HEADER = np.dtype([("marker", "u1"), ("version", "u1"), ("headerSize", "<u2"), ("magic", "S8"),
                   ("fixedBytes", "u1", 4), ("frames", "<u8"), ("points", "<u8"),
                   ("reserved", "u1", 36)])

#: The header of a frame, 48 bytes: see Frame.
FRAME_HEADER = np.dtype([("format", "<u4"), ("frameIndex", "<u4"), ("timestamp", "<f8"),
                         ("rotation", "<f4", 4), ("translation", "<f4", 3), ("pointCount", "<u4")])

#: A point of a lidar frame, 24 bytes: x, y, z in metres, timestamp in seconds.
LIDAR_POINT = np.dtype([("x", "<f4"), ("y", "<f4"), ("z", "<f4"), ("intensity", "<f4"),
                        ("timestamp", "<f8")])

#: A point of a coloured frame, 40 bytes: x, y, z in the map in metres, colours and a (alpha) from 0 to
#: 255, timestamp in seconds; sweepid selects the pose in the pose file.
RGB_POINT = np.dtype([("x", "<f4"), ("y", "<f4"), ("z", "<f4"), ("r", "<f4"), ("g", "<f4"),
                      ("b", "<f4"), ("intensity", "<u2"), ("a", "<u2"), ("timestamp", "<f8"),
                      ("sweepid", "<u4")])

LIDAR_FORMAT = 6
RGB_FORMAT = 10
POINTS = {LIDAR_FORMAT: LIDAR_POINT, RGB_FORMAT: RGB_POINT}
LARGEST_BLOCK = {LIDAR_FORMAT: 4294967295, RGB_FORMAT: 4294963200}  # bytes of points in one frame


class PcbinError(ValueError):
    """A file, or the data for one, does not conform to the format.

    Attributes: path, message, and the place as far as it applies, else None: frame (counted from 0) and
    offset (in bytes, of the frame header) in a pcbin file, line (from 1) and column (from 0) in a pose file.
    """

    def __init__(self, path: str, message: str, *, frame: int | None = None, offset: int | None = None,
                 line: int | None = None, column: int | None = None) -> None:
        super().__init__(path, message)  # both arguments, so that the error can be pickled
        self.path, self.message = path, message
        self.frame, self.offset, self.line, self.column = frame, offset, line, column

    def __str__(self) -> str:
        place = {"frame": self.frame, "byte": self.offset, "line": self.line, "column": self.column}
        named = "".join(f", {name} {at}" for name, at in place.items() if at is not None)
        return f"{self.path!r}{named}: {self.message}"


class PcbinWarning(UserWarning):
    """A file, or the data for one, conforms to the format but is probably not what was meant."""


def new_header(frames: int = 0, points: int = 0) -> np.ndarray:
    return np.array((0xFF, 1, HEADER.itemsize, b"PCBIN", (1, 1, 0, 0), frames, points, 0), HEADER)
