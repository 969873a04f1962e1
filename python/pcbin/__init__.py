# SPDX-License-Identifier: BSD-3-Clause
"""Reads and writes pcbin files and pose files with NumPy.

    import pcbin

    for frame in pcbin.open("map.pcbin"):
        print(frame.index, len(frame.points), frame.points["z"].max())

    with pcbin.open("copy.pcbin", "w") as writer:
        writer.write_rgb({"x": x, "y": y, "z": z, "r": r, "g": g, "b": b,
                          "intensity": 0, "timestamp": t, "sweepid": 7})

The points of a frame are a structured array of the dtype LIDAR_POINT or RGB_POINT. Arrays that were read
are views of the mapped file: they take no memory of their own, are read-only, and keep the mapping alive.
Another program must not truncate or overwrite a mapped file: the operating system kills a process that
accesses mapped bytes beyond the new end. The writer of this module replaces the file instead.

Damage in a file raises PcbinError, which names the file and the place. System errors raise OSError. What
is probably a mistake, in a file or in the points to be written, is told by a PcbinWarning.
"""

import os
from typing import Literal, overload

from pcbin._format import (FRAME_HEADER, HEADER, LIDAR_FORMAT, LIDAR_POINT, RGB_FORMAT, RGB_POINT, PcbinError,
                           PcbinWarning)
from pcbin._poses import NO_POSE, POSE, by_sweep, read_poses, write_poses
from pcbin._reader import Frame, Reader
from pcbin._writer import Writer

__version__ = "0.2.0"
__all__ = ["FRAME_HEADER", "HEADER", "LIDAR_FORMAT", "LIDAR_POINT", "NO_POSE", "POSE", "RGB_FORMAT", "RGB_POINT",
           "Frame", "PcbinError", "PcbinWarning", "Reader", "Writer", "by_sweep", "open", "read_poses",
           "write_poses"]


@overload
def open(path: str | os.PathLike[str], mode: Literal["r"] = "r") -> Reader: ...


@overload
def open(path: str | os.PathLike[str], mode: Literal["w"]) -> Writer: ...


def open(path, mode="r") -> Reader | Writer:
    """A Reader of the pcbin file at `path` (mode "r") or a Writer that creates or replaces it (mode "w")."""
    if mode not in ("r", "w"):
        raise ValueError(f"mode is 'r' or 'w', not {mode!r}")
    return Reader(path) if mode == "r" else Writer(path)
