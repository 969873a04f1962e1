# SPDX-License-Identifier: BSD-3-Clause
"""Tests of the Python module. PCBIN_INTEROP is the command that starts pcbin_interop, its C++ side."""

import os
import resource
import shlex
import subprocess
import tempfile
import unittest
import warnings

import numpy as np
import pcbin


def interop(*arguments):
    subprocess.run(shlex.split(os.environ["PCBIN_INTEROP"]) + list(arguments), check=True,
                   stdout=subprocess.DEVNULL)


def known_lidar(count):
    i = np.arange(count)
    n = i.astype("f4")
    return {"x": n / np.float32(3), "y": -n, "z": np.where(i == 1, np.nan, 0.1),
            "intensity": n / np.float32(7), "timestamp": i / 10}


def known_rgb(count):
    i = np.arange(count)
    # 65535.999 is 65536 in single precision
    intensities = np.array([0, 1.9, 255, 65535.5, 65535.999, 70000.7, 4294967040, 1e20, np.inf, -1, -0.5,
                            -np.inf, np.nan])
    n = i.astype("f4")
    return {"x": n / np.float32(3), "y": -n, "z": 0.1, "r": i.astype("u1"), "g": 2 * i % 256,
            "b": (255 - i) % 256 + 0.5, "a": i // 2 % 256, "intensity": intensities[i % len(intensities)],
            "timestamp": i / 10, "sweepid": 4294967295 - i}


def pose_line(sweep, **changes):
    fields = [f"{sweep}.5", str(sweep)] + [f"{sweep + column / 7:.12g}" for column in range(2, 28)]
    for column, text in changes.items():
        fields[int(column[1:])] = text
    return ",".join(fields) + "\n"


class PcbinTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path, self.other = (os.path.join(folder.name, name) for name in ("a", "b"))

    def bytes_of(self, path):
        with open(path, "rb") as file:
            return file.read()

    def put(self, data):
        with open(self.path, "wb") as file:
            file.write(data)

    def write_survey(self):
        """A lidar frame of 2 points at byte 68, an empty coloured one at 164 and one of 3 points at 212."""
        with pcbin.open(self.path, "w") as writer:
            writer.write_lidar(known_lidar(2), 5, (0.5, 0, 0, 1), (1, 2, 3))
            writer.write_rgb(known_rgb(0), 6)
            writer.write_rgb(known_rgb(3), 7)

    def test_python_and_cpp_write_the_same_bytes(self):
        for kind, known in (("lidar", known_lidar), ("rgb", known_rgb)):
            interop("write-" + kind, self.path)
            frames = list(pcbin.open(self.path))
            self.assertEqual([len(frame.points) for frame in frames], [3, 0, 1000])
            with pcbin.open(self.other, "w") as copy:
                for frame in frames:
                    copy.write(frame)
            self.assertEqual(self.bytes_of(self.other), self.bytes_of(self.path))
            with pcbin.open(self.other, "w") as writer:
                for frame in frames:
                    if kind == "rgb":
                        writer.write_rgb(known(len(frame.points)), frame.timestamp)
                    else:
                        writer.write_lidar(known(len(frame.points)), 1000.25 + len(frame.points),
                                           (0.5, -0.5, 0.25, 0.125), (1, 2, 3))
            self.assertEqual(self.bytes_of(self.other), self.bytes_of(self.path))

    def test_cpp_reads_what_python_wrote(self):
        for kind, known in (("lidar", known_lidar), ("rgb", known_rgb)):
            with pcbin.open(self.path, "w") as writer:
                for count in (2, 0, 500):
                    if kind == "rgb":
                        writer.write_rgb(known(count))
                    else:
                        writer.write_lidar(known(count), count, (1, 2, 3, 4))
            interop("copy-" + kind, self.path, self.other)
            source, copy = (bytearray(self.bytes_of(path)) for path in (self.path, self.other))
            if kind == "rgb":  # the copy's frames have the time of their own writing
                for start in (68, 68 + 48 + 80, 68 + 48 + 80 + 48):
                    source[start + 8:start + 16] = copy[start + 8:start + 16] = bytes(8)
            self.assertEqual(source, copy)

    def test_frames_are_read_only_views_in_any_order(self):
        self.write_survey()
        with pcbin.open(self.path) as reader:
            self.assertEqual((reader.header["frames"], reader.header["points"]), (3, 5))
            last = reader[-1]
            self.assertEqual([frame.index for frame in reader[1:]], [1, 2])
            lidar = reader[0]
            with self.assertRaises(IndexError):
                reader[3]
        self.assertEqual((lidar.rotation.tolist(), lidar.translation.tolist()), ([0.5, 0, 0, 1], [1, 2, 3]))
        np.testing.assert_array_equal(last.rgb, [[0, 0, 255], [1, 2, 254], [2, 4, 253]])
        np.testing.assert_array_equal(last._replace(points=last.points[::2]).xyz[:, 1], [0, -2])
        with self.assertRaises(ValueError):
            last.xyz[0] = 0

    def test_damage_is_reported_after_the_frames_before_it(self):
        self.write_survey()
        whole = self.bytes_of(self.path)

        def changed(offset, value):
            return whole[:offset] + value + whole[offset + len(value):]

        cases = [(whole[:end], *place) for end, *place in (
            (0, 0, None, 0, "cut: 0 of 68"), (67, 0, None, 0, "cut"), (69, 0, 0, 68, "cut: 1 of 48"),
            (163, 0, 0, 68, "points are cut: 47 of 48"), (211, 1, 1, 164, "header is cut"),
            (260, 2, 2, 212, "points are cut: 0 of 120"), (len(whole) - 1, 2, 2, 212, "points are cut"))]
        cases += [(changed(8, b"n"), 0, None, 0, "not a pcbin file"),
                  (changed(212, b"\7"), 2, 2, 212, "unknown format 7"),
                  (changed(208, b"\xff\xff\xff\xff"), 1, 1, 164, "more than a frame can hold")]
        for data, readable, frame, offset, message in cases:
            with self.subTest(message=message, offset=offset):
                self.put(data)
                read = []
                with self.assertRaisesRegex(pcbin.PcbinError, message) as caught:
                    read.extend(frame.index for frame in pcbin.open(self.path))
                self.assertEqual((caught.exception.frame, caught.exception.offset), (frame, offset))
                self.assertIn(f"{self.path!r}", str(caught.exception))
                if frame is not None:
                    frames = iter(pcbin.open(self.path))
                    self.assertEqual([next(frames).index for _ in range(readable)], list(range(readable)))
        for end in (68, 164, 212):
            self.put(whole[:end])
            list(pcbin.open(self.path))

    def test_frames_can_be_read_before_the_writer_closes(self):
        writer = pcbin.open(self.path, "w")
        writer.write_rgb(known_rgb(4))
        reader = pcbin.open(self.path)
        self.assertEqual((reader.header["frames"], len(reader)), (0, 1))
        writer.close()
        writer.close()
        with self.assertRaises(ValueError):
            writer.write_rgb(known_rgb(4))

    def test_a_failed_write_leaves_whole_frames(self):
        limits = resource.getrlimit(resource.RLIMIT_FSIZE)
        with pcbin.open(self.path, "w") as writer:
            writer.write_rgb(known_rgb(10))
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, limits[1]))
            try:
                with self.assertRaisesRegex(OSError, "frame 1: .*" + self.path):
                    writer.write_rgb(known_rgb(100))
            finally:
                resource.setrlimit(resource.RLIMIT_FSIZE, limits)
            self.assertEqual(os.path.getsize(self.path), 68 + 48 + 400)
            writer.write_rgb(known_rgb(20))
        self.assertEqual([len(frame.points) for frame in pcbin.open(self.path)], [10, 20])

    def test_points_that_do_not_fit_a_record_are_refused(self):
        with pcbin.open(self.path, "w") as writer:
            for changes, message in (
                    ({"r": 256}, "'r' is not within 0 and 255"), ({"g": np.nan}, "'g'"), ({"a": -1}, "'a'"),
                    ({"sweepid": 2**32}, "'sweepid'"), ({"x": np.zeros(3)}, "one length"),
                    ({"y": np.zeros((2, 1))}, "one length")):
                with self.assertRaisesRegex(pcbin.PcbinError, f"{self.path!r}, frame 0: .*{message}"):
                    writer.write_rgb({**known_rgb(2), **changes})
            with self.assertRaisesRegex(pcbin.PcbinError, "no field 'r'"):
                writer.write_rgb(np.zeros(2, pcbin.LIDAR_POINT))
        self.assertEqual(os.path.getsize(self.path), 68)

    def test_poses_are_those_of_the_converter(self):
        text = "".join((
            "#" + pose_line(9), "\n", pose_line(0)[:-1] + ",29\n", "a,b\n",
            pose_line(3, f5="0x1.8p1", f6=" +.5e1x"), pose_line(1, f1=" 1.7", f27="1e-60"),
            pose_line(3, f4="1e300", f27="28 \r")[:-1])).encode()
        self.put(text)
        interop("poses", self.path, self.other)
        poses = pcbin.read_poses(self.path)
        self.assertEqual(poses["sweepid"].tolist(), [3, 1, 3])
        expected = poses["offset"][-1].tobytes()
        for pose in pcbin.by_sweep(poses):  # the C++ records carry the offset once
            expected += b"".join(pose[name].tobytes() for name in pcbin.POSE.names if name != "offset")
        self.assertEqual(self.bytes_of(self.other), expected)

        self.put(b"\xef\xbb\xbf" + text)
        self.assertEqual(pcbin.read_poses(self.path).tobytes(), poses.tobytes())
        pcbin.write_poses(self.other, poses)
        self.assertEqual(pcbin.read_poses(self.other).tobytes(), poses.tobytes())

    def test_bad_pose_fields_are_named_or_skipped(self):
        for column, text in ((0, ""), (1, "16777216"), (1, "-1"), (4, "x"), (5, "1e39"), (6, "inf"),
                             (27, "nan"), (3, "1e309"), (1, "9" * 5000)):
            with self.subTest(column=column, text=text[:9]):
                self.put((pose_line(1) + pose_line(2, **{f"f{column}": text}) + pose_line(3)).encode())
                with self.assertRaisesRegex(pcbin.PcbinError, f"line 2, column {column}: ") as caught:
                    pcbin.read_poses(self.path)
                self.assertEqual((caught.exception.line, caught.exception.column), (2, column))
                with warnings.catch_warnings(record=True) as caught:
                    warnings.simplefilter("always")
                    poses = pcbin.read_poses(self.path, skip_bad_lines=True)
                self.assertEqual((len(caught), poses["sweepid"].tolist()), (1, [1, 3]))
                interop("poses", self.path, self.other)
                self.assertEqual(os.path.getsize(self.other), 24 + 4 * (pcbin.POSE.itemsize - 24))
        poses["optimised"]["rotation"][1, 2] = np.nan
        with self.assertRaisesRegex(pcbin.PcbinError, "sweep 3"):
            pcbin.write_poses(self.other, poses)


if __name__ == "__main__":
    unittest.main()
