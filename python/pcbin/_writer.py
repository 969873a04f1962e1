# SPDX-License-Identifier: BSD-3-Clause
"""Writes pcbin files."""

from __future__ import annotations

import contextlib
import os
import time
import warnings
from collections.abc import Mapping

import numpy as np
from numpy.typing import ArrayLike

from pcbin._encode import as_float, colours_are_small, encode, rounding
from pcbin._format import (FRAME_HEADER, LARGEST_BLOCK, LIDAR_FORMAT, POINTS, RGB_FORMAT, PcbinError, PcbinWarning,
                           new_header)
from pcbin._reader import Frame
from pcbin._target import Target

Points = np.ndarray | Mapping[str, ArrayLike]


class Writer:
    """Creates a pcbin file and appends frames to it. A context manager.

    Where no file stands at `path`, the frames appear there at once: each is passed to the operating system
    before a write method returns, so the frames of a killed program can be read. The header announces 0 frames
    until close(). Where a regular file stands, it is replaced as a whole by close() and keeps its mode; it may
    be the one that the points are read from. An exception that leaves the `with` block, or a writer that is
    never closed, leaves the old file as it was.

    A frame that could not be written (OSError, PcbinError) leaves no bytes in the file, and the writer can be
    used further. Use it from one thread at a time.

    `points` is, in every method, a structured array or a mapping of field names to arrays (n,) and
    scalars, which apply to all points. All fields of the record are required except a, which is then 0;
    others are ignored. Numbers of other types are converted. A colour, an a or a sweepid out of range, and
    a finite number that becomes infinite, raise PcbinError. The integer part of a coloured point's intensity is
    limited to 32 bits, and its low 16 bits are stored; negative values and NaN become 0.

    One PcbinWarning each per file tells of coordinates that single precision changes by more than 5 mm,
    of colours that seem to be given as 0 to 1, and of frames of both kinds.

    Attributes: path; frames and points, the counts so far.
    """

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self.path = os.fspath(path)
        self.frames = self.points = 0
        self._target = Target(self.path)
        self._end = 0
        self._format = None  # of the first frame
        self._told = set()
        try:
            self._append(new_header())
        except OSError:
            self._target.discard()
            raise

    def __enter__(self) -> Writer:
        return self

    def __exit__(self, kind: type[BaseException] | None, *_: object) -> None:
        if kind is not None and self._target.replaces:
            self._target.discard()
        else:
            self.close()

    def close(self) -> None:
        """Writes the final counts into the header, waits for the disk and closes the file."""
        if self._target.file.closed:
            return
        try:
            self._target.file.seek(0)
            self._write_all(new_header(self.frames, self.points))
            self._target.commit()
        finally:
            self._target.discard()

    def write_rgb(self, points: Points, timestamp: float | None = None) -> None:
        """Appends a coloured frame; timestamp in seconds since the Unix epoch, default now."""
        self._write_frame(RGB_FORMAT, points, time.time() if timestamp is None else timestamp)

    def write_lidar(self, points: Points, timestamp: float, rotation: ArrayLike = (1, 0, 0, 0),
                    translation: ArrayLike = (0, 0, 0)) -> None:
        """Appends a lidar frame; timestamp in seconds, rotation (w, x, y, z) and translation (metres)
        from the frame to the map."""
        self._write_frame(LIDAR_FORMAT, points, timestamp, rotation, translation)

    def write(self, frame: Frame) -> None:
        """Appends a Frame of another file, its points possibly replaced: all but its index is kept.

            writer.write(frame._replace(points=frame.points[frame.points["z"] > 2]))
        """
        self._write_frame(frame.format, frame.points, frame.timestamp, frame.rotation, frame.translation)

    def _write_frame(self, frame_format, points, timestamp, rotation=0, translation=0):
        try:
            records = encode(points, POINTS[frame_format])
            if records.nbytes > LARGEST_BLOCK[frame_format]:
                raise ValueError(f"{len(records)} points are more than a frame can hold")
            head = np.zeros(1, FRAME_HEADER)
            head["format"], head["frameIndex"] = frame_format, self.frames
            head["pointCount"] = len(records)
            for name, value in (("timestamp", timestamp), ("rotation", rotation), ("translation", translation)):
                head[name] = as_float(name, np.asarray(value), FRAME_HEADER[name].base)
        except (TypeError, ValueError, OverflowError) as error:
            raise PcbinError(self.path, str(error), frame=self.frames) from error
        self._warn(frame_format, points)
        self._append(head, records)
        self._format = self._format or frame_format
        self.frames += 1
        self.points += len(records)

    def _warn(self, frame_format, points):
        """Tells of what is stored but probably not meant."""
        changed = rounding(points)
        cases = {
            f"single precision changes coordinates by up to {changed:.3g} m: write them relative to an origin "
            "nearby, and give the origin as the map's offset": changed > 0.005,
            "the colours are 0 to 1, a pcbin file holds 0 to 255: multiply them by 255":
                frame_format == RGB_FORMAT and colours_are_small(points),
            "lidar frames and coloured frames in one file: a C++ reader stops where the kind changes":
                self._format not in (None, frame_format)}
        for number, (message, applies) in enumerate(cases.items()):
            if applies and number not in self._told:
                self._told.add(number)
                warnings.warn(f"{self.path!r}, frame {self.frames}: {message}", PcbinWarning, stacklevel=4)

    def _append(self, *arrays):
        """Writes at the end of the file; after a failure, truncates the file to its former size."""
        try:
            for array in arrays:
                self._write_all(array)
        except BaseException:
            with contextlib.suppress(OSError):
                self._target.file.seek(self._end)
                self._target.file.truncate()
            raise
        self._end += sum(array.nbytes for array in arrays)

    def _write_all(self, array):
        try:
            self._target.write(array.tobytes() if array.nbytes < 4096 else array.view("u1"))
        except OSError as error:
            raise OSError(error.errno, f"frame {self.frames}: {error.strerror}", self.path) from error
