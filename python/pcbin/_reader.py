# SPDX-License-Identifier: BSD-3-Clause
"""Reads pcbin files."""

from __future__ import annotations

import io
import mmap
import os
import struct
import warnings
from collections.abc import Iterator
from typing import NamedTuple, overload

import numpy as np

from pcbin._format import FRAME_HEADER, HEADER, LARGEST_BLOCK, POINTS, PcbinError, PcbinWarning, new_header


class Frame(NamedTuple):
    """One frame of a pcbin file. Its arrays are read-only views of the mapped file."""

    format: int              #: LIDAR_FORMAT or RGB_FORMAT
    index: int               #: running number assigned by the writer, from 0
    timestamp: float         #: seconds; of a coloured frame, when it was written, since the Unix epoch
    rotation: np.ndarray     #: f4 (4,): quaternion w, x, y, z from frame to map; coloured frame: zero
    translation: np.ndarray  #: f4 (3,): metres in the map; coloured frame: zero
    points: np.ndarray       #: LIDAR_POINT or RGB_POINT (n,)

    @property
    def xyz(self) -> np.ndarray:
        """Coordinates in metres: f4 (n, 3), a view of points. NumPy finds points["x"].min() and the like
        several times faster than xyz.min(axis=0)."""
        return self._columns("x")

    @property
    def rgb(self) -> np.ndarray:
        """Colours of a coloured frame, 0 to 255: f4 (n, 3), a view of points."""
        return self._columns("r")

    def _columns(self, first):
        shape, strides = (len(self.points), 3), (*self.points.strides, 4)
        return np.lib.stride_tricks.as_strided(self.points[first], shape, strides)


class Reader:
    """A mapped pcbin file: iterable, and a sequence of frames (reader[i], reader[-1], len(reader)).

    The file has no index. Iterating and reader[i] read the frame headers up to the requested frame;
    len() and negative indices read all. Damage raises PcbinError when it is reached, after the frames before
    it. A file that ends within a frame is damaged. The counts in the header are not used.

    Attributes: path; header, a HEADER record, read-only.
    """

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self.path = os.fspath(path)
        with io.open(self.path, "rb") as file:
            size = os.fstat(file.fileno()).st_size
            if size < HEADER.itemsize:
                message = f"file header is cut: {size} of {HEADER.itemsize} bytes"
                raise PcbinError(self.path, message, offset=0)
            self._map = mmap.mmap(file.fileno(), size, access=mmap.ACCESS_READ)
        self.header = np.frombuffer(self._map, HEADER, 1)[0]
        if self.header.tobytes()[:9] != new_header().tobytes()[:9]:
            raise PcbinError(self.path, "not a pcbin file", offset=0)
        self._warned = False
        self._starts = [HEADER.itemsize]  # of the frames found so far, and of the one to come

    def __enter__(self) -> Reader:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Releases the reader's mapping. Frames that were read stay valid and keep theirs."""
        self._map = self.header = None

    def __iter__(self) -> Iterator[Frame]:
        number = 0
        while self._find(number):
            yield self._frame(number)
            number += 1

    def __len__(self) -> int:
        while self._find(len(self._starts) - 1):
            pass
        return len(self._starts) - 1

    @overload
    def __getitem__(self, number: int) -> Frame: ...

    @overload
    def __getitem__(self, number: slice) -> list[Frame]: ...

    def __getitem__(self, number):
        if isinstance(number, slice):
            return [self[i] for i in range(*number.indices(len(self)))]
        if number < 0:
            number += len(self)
        if number < 0 or not self._find(number):
            raise IndexError(f"{self.path!r}: no such frame")
        return self._frame(number)

    def _find(self, number):
        """Extends _starts up to frame `number`; False when the file ends before it."""
        if self._map is None:
            raise ValueError(f"{self.path!r}: reader is closed")
        while len(self._starts) <= number + 1:
            start = self._starts[-1]
            if start == len(self._map):
                self._warn_if_short()
                return False
            self._starts.append(self._end_of_frame(len(self._starts) - 1, start))
        return True

    def _warn_if_short(self):
        announced, found = int(self.header["frames"]), len(self._starts) - 1
        if found < announced and not self._warned:
            self._warned = True
            warnings.warn(f"{self.path!r}: the header announces {announced} frames, the file ends after {found}",
                          PcbinWarning, stacklevel=4)

    def _end_of_frame(self, number, start):
        def damaged(message):
            return PcbinError(self.path, message, frame=number, offset=start)

        left = len(self._map) - start
        if left < FRAME_HEADER.itemsize:
            raise damaged(f"frame header is cut: {left} of {FRAME_HEADER.itemsize} bytes")
        frame_format, = struct.unpack_from("<I", self._map, start)
        count, = struct.unpack_from("<I", self._map, start + FRAME_HEADER.fields["pointCount"][1])
        if frame_format not in POINTS:
            raise damaged(f"unknown format {frame_format}")
        block = count * POINTS[frame_format].itemsize
        if block > LARGEST_BLOCK[frame_format]:
            raise damaged(f"{count} points are more than a frame can hold")
        left -= FRAME_HEADER.itemsize
        if block > left:
            raise damaged(f"points are cut: {left} of {block} bytes")
        return start + FRAME_HEADER.itemsize + block

    def _frame(self, number):
        start = self._starts[number]
        head = np.frombuffer(self._map, FRAME_HEADER, 1, start)[0]
        points = np.frombuffer(self._map, POINTS[int(head["format"])], int(head["pointCount"]),
                               start + FRAME_HEADER.itemsize)
        return Frame(int(head["format"]), int(head["frameIndex"]), float(head["timestamp"]),
                     head["rotation"], head["translation"], points)
