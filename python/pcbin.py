# SPDX-License-Identifier: BSD-3-Clause
"""Reads and writes pcbin files and pose files with NumPy.

    import pcbin

    for frame in pcbin.open("map.pcbin"):
        print(frame.index, len(frame.points), frame.points["z"].max())

    with pcbin.open("copy.pcbin", "w") as writer:
        writer.write_rgb({"x": x, "y": y, "z": z, "r": r, "g": g, "b": b,
                          "intensity": 0, "timestamp": t, "sweepid": 7})

A pcbin file holds lidar frames, coloured frames, or both. Their points are structured arrays of the
dtypes LIDAR_POINT and RGB_POINT. Arrays that were read are views of the mapped file: they take no memory
of their own, are read-only, and keep the mapping alive. A mapped file must not be truncated or
overwritten: the operating system kills a process that accesses mapped bytes beyond the new end.

Damage in a file raises PcbinError, which names the file and the place. System errors raise OSError.
"""

import contextlib
import io
import math
import mmap
import os
import re
import struct
import time
import warnings
from typing import NamedTuple

import numpy as np

# The byte images of the file. All numbers are little-endian, nothing is padded.

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
_POINTS = {LIDAR_FORMAT: LIDAR_POINT, RGB_FORMAT: RGB_POINT}
_LARGEST_BLOCK = {LIDAR_FORMAT: 4294967295, RGB_FORMAT: 4294963200}  # bytes of points in one frame


class PcbinError(ValueError):
    """A file, or the data for one, does not conform to the format.

    Attributes: path, message, and the place as far as it applies, else None: frame (counted from 0) and
    offset (in bytes, of the frame header) in a pcbin file, line (from 1) and column (from 0) in a pose file.
    """

    def __init__(self, path, message, *, frame=None, offset=None, line=None, column=None):
        super().__init__(path, message)  # both arguments, so that the error can be pickled
        self.path, self.message = path, message
        self.frame, self.offset, self.line, self.column = frame, offset, line, column

    def __str__(self):
        place = {"frame": self.frame, "byte": self.offset, "line": self.line, "column": self.column}
        named = "".join(f", {name} {at}" for name, at in place.items() if at is not None)
        return f"{self.path!r}{named}: {self.message}"


class Frame(NamedTuple):
    """One frame of a pcbin file. Its arrays are read-only views of the mapped file."""

    format: int              #: LIDAR_FORMAT or RGB_FORMAT
    index: int               #: running number assigned by the writer, from 0
    timestamp: float         #: seconds; of a coloured frame, when it was written, since the Unix epoch
    rotation: np.ndarray     #: f4 (4,): quaternion w, x, y, z from frame to map; coloured frame: zero
    translation: np.ndarray  #: f4 (3,): metres in the map; coloured frame: zero
    points: np.ndarray       #: LIDAR_POINT or RGB_POINT (n,)

    @property
    def xyz(self):
        """Coordinates in metres: f4 (n, 3), a view of points. NumPy finds points["x"].min() and the like
        several times faster than xyz.min(axis=0)."""
        return self._columns("x")

    @property
    def rgb(self):
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

    def __init__(self, path):
        self.path = os.fspath(path)
        with io.open(self.path, "rb") as file:
            size = os.fstat(file.fileno()).st_size
            if size < HEADER.itemsize:
                message = f"file header is cut: {size} of {HEADER.itemsize} bytes"
                raise PcbinError(self.path, message, offset=0)
            self._map = mmap.mmap(file.fileno(), size, access=mmap.ACCESS_READ)
        self.header = np.frombuffer(self._map, HEADER, 1)[0]
        if self.header.tobytes()[:9] != _new_header().tobytes()[:9]:
            raise PcbinError(self.path, "not a pcbin file", offset=0)
        self._starts = [HEADER.itemsize]  # of the frames found so far, and of the one to come

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Releases the reader's mapping. Frames that were read stay valid and keep theirs."""
        self._map = self.header = None

    def __iter__(self):
        number = 0
        while self._find(number):
            yield self._frame(number)
            number += 1

    def __len__(self):
        while self._find(len(self._starts) - 1):
            pass
        return len(self._starts) - 1

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
                return False
            self._starts.append(self._end_of_frame(len(self._starts) - 1, start))
        return True

    def _end_of_frame(self, number, start):
        def damaged(message):
            return PcbinError(self.path, message, frame=number, offset=start)

        left = len(self._map) - start
        if left < FRAME_HEADER.itemsize:
            raise damaged(f"frame header is cut: {left} of {FRAME_HEADER.itemsize} bytes")
        frame_format, = struct.unpack_from("<I", self._map, start)
        count, = struct.unpack_from("<I", self._map, start + FRAME_HEADER.fields["pointCount"][1])
        if frame_format not in _POINTS:
            raise damaged(f"unknown format {frame_format}")
        block = count * _POINTS[frame_format].itemsize
        if block > _LARGEST_BLOCK[frame_format]:
            raise damaged(f"{count} points are more than a frame can hold")
        left -= FRAME_HEADER.itemsize
        if block > left:
            raise damaged(f"points are cut: {left} of {block} bytes")
        return start + FRAME_HEADER.itemsize + block

    def _frame(self, number):
        start = self._starts[number]
        head = np.frombuffer(self._map, FRAME_HEADER, 1, start)[0]
        points = np.frombuffer(self._map, _POINTS[int(head["format"])], int(head["pointCount"]),
                               start + FRAME_HEADER.itemsize)
        return Frame(int(head["format"]), int(head["frameIndex"]), float(head["timestamp"]),
                     head["rotation"], head["translation"], points)


class Writer:
    """Creates a pcbin file, or empties an existing one, and appends frames to it. A context manager.

    The header declares 0 frames until close(). Each frame is passed to the operating system before a
    write method returns, so the frames of a killed program can be read. A frame that could not be written
    (OSError, PcbinError) leaves no bytes in the file, and the writer can be used further. Use it from one
    thread at a time.

    `points` is, in every method, a structured array or a mapping of field names to arrays (n,) and
    scalars, which apply to all points. All fields of the record are required except a, which is then 0;
    others are ignored. Numbers of other types are converted. A colour, an a or a sweepid out of range
    raises PcbinError. The integer part of a coloured point's intensity is limited to 32 bits, and its
    low 16 bits are stored; negative values and NaN become 0.

    Attributes: path; frames and points, the counts so far.
    """

    def __init__(self, path):
        self.path = os.fspath(path)
        self.frames = self.points = 0
        self._file = io.open(self.path, "wb", buffering=0)
        self._end = 0
        try:
            self._append(_new_header())
        except OSError:
            self._file.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Writes the final counts into the header and closes the file."""
        if self._file.closed:
            return
        with self._file:
            self._file.seek(0)
            self._write_all(_new_header(self.frames, self.points))

    def write_rgb(self, points, timestamp=None):
        """Appends a coloured frame; timestamp in seconds since the Unix epoch, default now."""
        self._write_frame(RGB_FORMAT, points, time.time() if timestamp is None else timestamp)

    def write_lidar(self, points, timestamp, rotation=(1, 0, 0, 0), translation=(0, 0, 0)):
        """Appends a lidar frame; timestamp in seconds, rotation (w, x, y, z) and translation (metres)
        from the frame to the map."""
        self._write_frame(LIDAR_FORMAT, points, timestamp, rotation, translation)

    def write(self, frame):
        """Appends a Frame of another file, its points possibly replaced: all but its index is kept.

            writer.write(frame._replace(points=frame.points[frame.points["z"] > 2]))
        """
        self._write_frame(frame.format, frame.points, frame.timestamp, frame.rotation, frame.translation)

    def _write_frame(self, frame_format, points, timestamp, rotation=0, translation=0):
        try:
            records = _encode(points, _POINTS[frame_format])
            if records.nbytes > _LARGEST_BLOCK[frame_format]:
                raise ValueError(f"{len(records)} points are more than a frame can hold")
            head = np.zeros(1, FRAME_HEADER)
            head["format"], head["frameIndex"] = frame_format, self.frames
            head["pointCount"] = len(records)
            head["timestamp"], head["rotation"], head["translation"] = timestamp, rotation, translation
        except (TypeError, ValueError) as error:
            raise PcbinError(self.path, str(error), frame=self.frames) from error
        self._append(head, records)
        self.frames += 1
        self.points += len(records)

    def _append(self, *arrays):
        """Writes at the end of the file; after a failure, truncates the file to its former size."""
        try:
            for array in arrays:
                self._write_all(array)
        except BaseException:
            with contextlib.suppress(OSError):
                self._file.seek(self._end)
                self._file.truncate()
            raise
        self._end += sum(array.nbytes for array in arrays)

    def _write_all(self, array):
        data = memoryview(array.tobytes() if array.nbytes < 4096 else array.view("u1"))
        try:
            while data:
                data = data[self._file.write(data):]
        except OSError as error:
            raise OSError(error.errno, f"frame {self.frames}: {error.strerror}", self.path) from error


def open(path, mode="r"):
    """A Reader of the pcbin file at `path` (mode "r") or a Writer that creates it (mode "w")."""
    if mode not in ("r", "w"):
        raise ValueError(f"mode is 'r' or 'w', not {mode!r}")
    return Reader(path) if mode == "r" else Writer(path)


def _new_header(frames=0, points=0):
    return np.array((0xFF, 1, HEADER.itemsize, b"PCBIN", (1, 1, 0, 0), frames, points, 0), HEADER)


def _encode(points, record):
    """The points as an array of dtype `record`, contiguous."""
    names = points.dtype.names or () if isinstance(points, np.ndarray) else points
    missing = [name for name in record.names if name not in names and name != "a"]
    if missing:
        raise ValueError(f"points have no field {missing[0]!r}")
    columns = {name: np.asarray(points[name] if name in names else 0) for name in record.names}
    shapes = {column.shape for column in columns.values()} - {()}
    if len(shapes) != 1 or len(*shapes) != 1:
        raise ValueError("fields are not arrays (n,) of one length, or scalars")
    records = np.empty(*shapes, record)
    for name, column in columns.items():
        if name in "rgba":
            column = _whole(name, column, "u1")
        elif name == "sweepid":
            column = _whole(name, column, "<u4")
        elif record[name].kind == "u" and column.dtype != record[name]:
            column = _low_bits(column)
        records[name] = column
    return records


def _whole(name, column, integer):
    """The integer parts as a type of unsigned integers; they must be in its range."""
    if column.dtype != integer and column.size > 0:
        limit = np.iinfo(integer).max
        if not (column.min() >= 0 and column.max() < limit + 1):  # false for NaN
            raise ValueError(f"field {name!r} is not within 0 and {limit}")
    return column.astype(integer)


def _low_bits(column):
    """The low 16 bits of the integer part of single-precision numbers, limited to 32 bits; NaN gives 0."""
    values = column.astype("f4").astype("f8")
    return np.minimum(np.where(values > 0, values, 0), 0xFFFFFFFF).astype("u4").astype("u2")


# Pose files

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


def read_poses(path, skip_bad_lines=False):
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
                warnings.warn(str(error), stacklevel=2)
    return np.array(records, _FLAT_POSE).view(POSE)


def write_poses(path, poses):
    """Writes an array POSE (n,) as a pose file. Every number is written with enough digits to be read back
    exactly. Records with sweepid NO_POSE are left out. Raises PcbinError, before the file is opened, for a
    number that is not finite or a sweepid above 16777215."""
    path = os.fspath(path)
    poses = np.asarray(poses, POSE)
    poses = poses[poses["sweepid"] != NO_POSE].view(_FLAT_POSE)
    lines = [_pose_line(path, pose) for pose in poses]
    with io.open(path, "w", encoding="ascii", newline="\n") as file:
        file.writelines(lines)


def by_sweep(poses):
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
