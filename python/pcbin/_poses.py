# SPDX-License-Identifier: BSD-3-Clause
"""Pose files."""

from __future__ import annotations

import io
import math
import os
import re
import struct
import warnings

import numpy as np

from pcbin._format import PcbinError, PcbinWarning
from pcbin._target import Target


_TRANSFORM = [("position", "<f4", 3), ("aux1", "<f4", 3), ("rotation", "<f4", 4), ("aux2", "<f4", 3)]

#: The poses of one sweep. timestamp in seconds; offset of the map's origin in metres; registration: the
#: pose that placed the sweep's points in the map; optimised: the optimised pose. Each has a position
#: (metres), a rotation (quaternion w, x, y, z) and two vectors aux1, aux2 that are not used; the aux2
#: of the registration pose is not in the file, and 0.
POSE = np.dtype([("timestamp", "<f8"), ("sweepid", "<u4"), ("offset", "<f8", 3),
                 ("registration", _TRANSFORM), ("optimised", _TRANSFORM)])
_FLAT_POSE = np.dtype([("timestamp", "<f8"), ("sweepid", "<u4"), ("offset", "<f8", 3),
                       ("registration", "<f4", 10), ("aux2", "<f4", 3), ("optimised", "<f4", 13)])

NO_POSE = 0xFFFFFFFF  #: sweepid of a record of by_sweep() without a pose

_LARGEST_SWEEP = 16777215
_FIELDS = 28
_INTEGER = re.compile(rb"\s*\+?0*(\d{1,8})(?!\d)")
_REAL = re.compile(rb"\s*[+-]?(?:0[xX](?:[\da-fA-F]+\.?[\da-fA-F]*|\.[\da-fA-F]+)(?:[pP][+-]?\d+)?"
                   rb"|(?:\d+\.?\d*|\.\d+)(?:[eE][+-]?\d+)?)")


def read_poses(path: str | os.PathLike[str], skip_bad_lines: bool = False) -> np.ndarray:
    """Reads a pose file into an array POSE (n,): one record per data line, in the file's order.

    Lines that begin with '#' or have another number of fields than 28 are ignored, and so is a byte
    order mark at the beginning. Text after the number of a field is ignored. A field without a number, a
    number that is not finite or too large for its type, or a sweep id above 16777215 raises PcbinError; with
    skip_bad_lines, the line is skipped with a warning, as the converter does. The map's offset is
    that of the last line: poses["offset"][-1].
    """
    path = os.fspath(path)
    records = []
    with io.open(path, "rb") as file:
        for number, line in enumerate(file, 1):
            if number == 1:
                line = line.removeprefix(b"\xef\xbb\xbf")
            fields = line.removesuffix(b"\n").split(b",")
            if len(fields) != _FIELDS or fields[0].startswith(b"#"):
                continue
            try:
                records.append(_pose(path, number, fields))
            except PcbinError as error:
                if not skip_bad_lines:
                    raise
                warnings.warn(str(error), PcbinWarning, stacklevel=2)
    return np.array(records, _FLAT_POSE).view(POSE)


def write_poses(path: str | os.PathLike[str], poses: np.ndarray) -> None:
    """Writes an array POSE (n,) as a pose file. Every number is written with enough digits to be read back
    exactly. Records with sweepid NO_POSE are left out. Raises PcbinError for a number that is not finite or a
    sweepid above 16777215. An existing file is replaced when all is written."""
    path = os.fspath(path)
    poses = np.asarray(poses, POSE)
    poses = poses[poses["sweepid"] != NO_POSE].view(_FLAT_POSE)
    lines = [_pose_line(path, pose) for pose in poses]
    target = Target(path)
    try:
        target.write("".join(lines).encode("ascii"))
        target.commit()
    finally:
        target.discard()


def by_sweep(poses: np.ndarray) -> np.ndarray:
    """Sorts the poses by sweepid: the pose of sweep k is at index k. If a sweep has several
    poses, the last one counts; without a pose, sweepid is NO_POSE and all else 0. The length of the array is
    the largest sweepid + 1, so that by_sweep(poses)[frame.points["sweepid"]] gives each point its poses."""
    poses = poses[poses["sweepid"] != NO_POSE]
    dense = np.zeros(int(poses["sweepid"].max()) + 1 if len(poses) else 0, POSE)
    dense["sweepid"] = NO_POSE
    dense[poses["sweepid"]] = poses
    return dense


def _pose(path, line, fields):
    """The fields of a data line as a tuple for _FLAT_POSE."""
    numbers = []
    for column, text in enumerate(fields):
        number = _integer(text) if column == 1 else _real(text, "d" if column < 5 else "f")
        if number is None:
            shown = text[:64].decode(errors="replace")
            raise PcbinError(path, f"not a valid number: {shown!r}", line=line, column=column)
        numbers.append(number)
    return numbers[0], numbers[1], numbers[2:5], numbers[5:15], (0, 0, 0), numbers[15:]


def _integer(text):
    """The sweep id at the beginning of the text, or None."""
    digits = _INTEGER.match(text)
    return int(digits[1]) if digits and int(digits[1]) <= _LARGEST_SWEEP else None


def _real(text, size):
    """The number at the beginning of the text, rounded to single ("f") or double ("d") precision, or None."""
    match = _REAL.match(text)
    try:
        value = float.fromhex(match[0].decode()) if b"x" in match[0].lower() else float(match[0])
        value, = struct.unpack(size, struct.pack(size, value))
    except (TypeError, OverflowError):  # no number, or one too large
        return None
    return value if math.isfinite(value) else None


def _pose_line(path, pose):
    numbers = [pose["timestamp"], *pose["offset"], *pose["registration"], *pose["optimised"]]
    if not np.isfinite(numbers).all() or pose["sweepid"] > _LARGEST_SWEEP:
        raise PcbinError(path, f"sweep {pose['sweepid']}: a number is not finite, or the sweepid too large")
    return ",".join(map(str, [numbers[0], pose["sweepid"], *numbers[1:]])) + "\n"
