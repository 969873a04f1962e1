# SPDX-License-Identifier: BSD-3-Clause
"""Converts points to the records of a pcbin file."""

from __future__ import annotations

import numpy as np


def encode(points, record):
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
        elif record[name].kind == "f":
            column = as_float(name, column, record[name])
        elif column.dtype != record[name]:
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


def as_float(name, column, float_type):
    """The numbers as a type of floats; a finite one must not become infinite."""
    if column.dtype == float_type:
        return column
    if column.dtype.kind not in "fiub":
        column = column.astype("f8")
    with np.errstate(over="ignore"):
        floats = column.astype(float_type)
    if (np.isinf(floats) & np.isfinite(column)).any():
        raise ValueError(f"field {name!r} has a number too large for {8 * floats.itemsize} bits")
    return floats


def rounding(points):
    """The largest change in metres that storing the coordinates in single precision causes."""
    columns = [np.asarray(points[name]) for name in "xyz"]
    changes = [_change(column) for column in columns if column.dtype != "f4" and column.size > 0]
    return max(changes, default=0)


def _change(column):
    values = column.astype("f8")
    with np.errstate(invalid="ignore"):  # infinity minus infinity
        return np.nanmax(np.abs(values.astype("f4") - values), initial=0)


def colours_are_small(points):
    """Whether the colours are floats of which none is above 1, though not all are 0."""
    columns = [np.asarray(points[name]) for name in "rgb"]
    if all(column.dtype.kind != "f" for column in columns):
        return False
    return 0 < max(column.max(initial=0) for column in columns) <= 1
