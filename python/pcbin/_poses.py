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
_BLANKS = b" \t\r"
_INTEGER = re.compile(rb"\s*\+?0*(\d{1,8})(?!\d)")
_REAL = re.compile(rb"\s*[+-]?(?:0[xX](?:[\da-fA-F]+\.?[\da-fA-F]*|\.[\da-fA-F]+)(?:[pP][+-]?\d+)?"
                   rb"|(?:\d+\.?\d*|\.\d+)(?:[eE][+-]?\d+)?)")


def read_poses(path: str | os.PathLike[str], skip_bad_lines: bool = False) -> np.ndarray:
    """Reads a pose file into an array POSE (n,): one record per data line, in the file's order.

    Reads as strictly as the program does with --batch. Empty lines, lines that begin with '#', one title line
    before the first data line and a byte order mark at the beginning are ignored. Every other line must have 28
    fields, each a finite number of its type, followed by nothing but blanks, with a sweep id up to 16777215 and
    quaternions whose norm is from 0.5 to 2. Another line raises PcbinError; with skip_bad_lines it is skipped
    with a warning. A file without any pose raises PcbinError. The map's offset is that of the last line:
    poses["offset"][-1].
    """
    path = os.fspath(path)
    records = []
    may_be_title = True
    with io.open(path, "rb") as file:
        for number, line in enumerate(file, 1):
            if number == 1:
                line = line.removeprefix(b"\xef\xbb\xbf")
            line = line.removesuffix(b"\n")
            if line.startswith(b"#") or not line.strip(_BLANKS):
                continue
            fields = line.split(b",")
            is_title = may_be_title and b"\0" not in line and _real(fields[0], "d") is None
            may_be_title = False
            if is_title:
                continue
            try:
                records.append(_pose(path, number, fields))
            except PcbinError as error:
                if not skip_bad_lines:
                    raise
                warnings.warn(str(error), PcbinWarning, stacklevel=2)
    if not records:
        raise PcbinError(path, "gives no pose")
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
    if len(fields) != _FIELDS:
        raise PcbinError(path, f"{len(fields)} fields, not {_FIELDS}", line=line)
    numbers = []
    for column, text in enumerate(fields):
        pattern = _INTEGER if column == 1 else _REAL
        number = _integer(text) if column == 1 else _real(text, "d" if column < 5 else "f")
        if number is None or text[pattern.match(text).end():].strip(_BLANKS):
            shown = text[:64].decode(errors="replace")
            wanted = f"a whole number from 0 to {_LARGEST_SWEEP}" if column == 1 else "a valid number"
            raise PcbinError(path, f"not {wanted}: {shown!r}", line=line, column=column)
        numbers.append(number)
    for name, column in (("registration", 11), ("optimised", 21)):
        norm = math.hypot(*numbers[column:column + 4])
        if not 0.5 <= norm <= 2:
            raise PcbinError(path, f"the norm of the {name} quaternion is {norm:.4g}, not 1", line=line)
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
