# SPDX-License-Identifier: BSD-3-Clause
# Repairs a damaged file of each LAS version and point format with --lossless; the result must be the file before the
# damage, byte for byte. The fields are those of the ASPRS LAS standards. Usage: lossless_test.py PROGRAM...
import glob
import random
import struct
import subprocess
import sys
import tempfile

RECORD = [20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67]
HEADER = [227, 227, 227, 235, 375]
FACTOR, OFFSET = (0.01, -0.001, 0.25), (500000.0, -3.0, 0.5)
rng = random.Random(1)


def las_file(minor, fmt, count=40):
    size, start = RECORD[fmt] + fmt % 3, HEADER[minor] + fmt
    points = [tuple(rng.randint(-10**6, 10**6) for _ in range(3)) for _ in range(count)]
    records = [struct.pack("<3i", *point) + rng.randbytes(size - 12) for point in points]
    returns = [0] * 16
    for record in records:
        returns[max(1, record[14] & (15 if fmt > 5 else 7))] += 1
    axes = [[p[a] * FACTOR[a] + OFFSET[a] for p in points] for a in range(3)]
    long_count = minor == 4 and fmt > 5
    end = start + size * count
    header = b"LASF" + rng.randbytes(20) + bytes([1, minor]) + rng.randbytes(68)
    header += struct.pack("<HIIBH", HEADER[minor], start, 9, fmt, size)
    header += struct.pack("<6I", *([0] * 6 if long_count else [count] + returns[1:6])) + struct.pack("<6d", *FACTOR, *OFFSET)
    header += b"".join(struct.pack("<2d", max(axis), min(axis)) for axis in axes)
    header += struct.pack("<Q", end if minor == 3 else 0) if minor > 2 else b""
    header += struct.pack("<QI16Q", end, 1, count, *returns[1:]) if minor > 3 else b""
    extended = struct.pack("<H16sHQ32s", 0, b"LASF_Spec", 65535, 5, b"") + b"other" if minor > 2 else b""
    return header + bytes(range(fmt)) + b"".join(records) + extended


def damage(las, minor):
    zero = [(94, 2), (107, 24), (187, 32)] + ([(247, 128)] if minor == 4 else [])
    for offset, size in zero:
        las = las[:offset] + bytes(size) + las[offset + size:]
    return las


for minor, fmt in ((minor, fmt) for minor in range(5) for fmt in range(11)):
    las = las_file(minor, fmt)
    with tempfile.TemporaryDirectory() as directory:
        path = directory + "/map.las"
        open(path, "wb").write(damage(las, minor))
        status = subprocess.run(sys.argv[1:] + ["--repair", path, "--lossless", "-d", "4"]).returncode
        assert status == 0 and open(glob.glob(directory + "/*_map.las")[0], "rb").read() == las, (minor, fmt)
