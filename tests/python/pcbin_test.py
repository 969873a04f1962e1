# SPDX-License-Identifier: BSD-3-Clause
"""Tests of the Python module. PCBIN_LAS is the command that starts the program, which converts and reads
what the module writes."""

import contextlib
import inspect
import os
import resource
import shlex
import subprocess
import tempfile
import typing
import unittest.mock
import warnings

import numpy as np
import pcbin

# The documented bytes of a file: a coloured frame, a lidar frame and an empty coloured frame.
DOCUMENTED = bytes.fromhex("""
    FF 01 44 00 50 43 42 49 4E 00 00 00 01 01 00 00 03 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00
    """ + 36 * "00" + """
    0A 00 00 00 00 00 00 00 00 00 00 00 00 00 24 40 """ + 28 * "00" + """ 01 00 00 00
    00 00 80 3F 00 00 00 C0 00 00 00 3F 00 00 7F 43 00 00 80 3F 00 00 00 00 01 02 FE 00
    00 00 00 00 00 00 F0 3F 01 02 03 04
    06 00 00 00 01 00 00 00 00 00 00 00 00 00 00 C0
    00 00 80 3F 00 00 00 40 00 00 00 C0 00 00 00 3F 00 00 00 40 00 00 80 3F 00 00 00 3F 01 00 00 00
    00 00 80 3F 00 00 00 40 00 00 00 C0 00 00 00 3F 00 00 00 00 00 00 F0 3F
    0A 00 00 00 02 00 00 00 00 00 00 00 00 00 24 C0 """ + 28 * "00" + " 00 00 00 00")

LAS_POINT = np.dtype([("xyz", "<i4", 3), ("intensity", "<u2"), ("flags", "u1", 6), ("timestamp", "<f8"),
                      ("rgb", "<u2", 3)])


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
    fields[11:15], fields[21:25] = "0.6 0.8 0 0".split(), "0 0.48 -0.6 0.64".split()
    for column, text in changes.items():
        fields[int(column[1:])] = text
    return ",".join(fields) + "\n"


def rotated(quaternion, vectors):
    w, axis = quaternion[0], quaternion[1:]
    return vectors + 2 * np.cross(axis, w * vectors + np.cross(axis, vectors))


class PcbinTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.path, self.other = (os.path.join(folder.name, name) for name in ("a", "b"))

    def bytes_of(self, path):
        with open(path, "rb") as file:
            return file.read()

    def put(self, data):
        with open(self.path, "wb") as file:
            file.write(data)

    def write_survey(self):
        """A lidar frame of 2 points at byte 68, an empty coloured one at 164 and one of 3 points at 212."""
        with warnings.catch_warnings(), pcbin.open(self.path, "w") as writer:
            warnings.simplefilter("ignore", pcbin.PcbinWarning)
            writer.write_lidar(known_lidar(2), 5, (0.5, 0, 0, 1), (1, 2, 3))
            writer.write_rgb(known_rgb(0), 6)
            writer.write_rgb(known_rgb(3), 7)

    def convert(self, survey, *poses):
        """The LAS header and the point records to which the program converts a pcbin file."""
        las = os.path.join(os.path.dirname(survey), "las")
        options = ["-i", survey, "-o", las, *(["-f", *poses] if poses else [])]
        subprocess.run(shlex.split(os.environ["PCBIN_LAS"]) + options, check=True, timeout=60,
                       stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        data = self.bytes_of(las)
        os.remove(las)
        return data[:227], np.frombuffer(data, LAS_POINT, offset=227)

    @unittest.mock.patch("warnings.warn")  # a file of both kinds is unusual
    def test_writes_and_reads_the_documented_bytes(self, _):
        with pcbin.open(self.path, "w") as writer:
            writer.write_rgb({"x": [1], "y": -2, "z": 0.5, "r": 255, "g": 1, "b": 0, "a": 254,
                              "intensity": 65536 + 513.75, "timestamp": 1, "sweepid": 0x04030201}, 10)
            writer.write_lidar({"x": [1], "y": 2, "z": -2, "intensity": 0.5, "timestamp": 1}, -2,
                               (1, 2, -2, 0.5), (2, 1, 0.5))
            writer.write_rgb(known_rgb(0), -10)
        self.assertEqual(self.bytes_of(self.path), DOCUMENTED)
        with pcbin.open(self.other, "w") as copy:
            for frame in pcbin.open(self.path):
                copy.write(frame)
        self.assertEqual(self.bytes_of(self.other), DOCUMENTED)

    def test_the_program_reads_what_python_wrote(self):
        with pcbin.open(self.path, "w") as writer:
            for count in (13, 0, 500):
                writer.write_rgb(known_rgb(count))
        _, points = self.convert(self.path)
        self.assertEqual(len(points), 513)
        self.assertEqual(points["intensity"][:13].tolist(),
                         [0, 1, 255, 65535, 0, 4464, 65280, 65535, 65535, 0, 0, 0, 0])
        expected = known_rgb(500)
        np.testing.assert_allclose(points["xyz"][13:] / 1000, np.stack(
            [expected["x"], expected["y"], np.full(500, 0.1)], 1), atol=0.00051)
        np.testing.assert_array_equal(points["rgb"][13:], np.stack([expected[c].astype("u1") for c in "rgb"], 1))
        np.testing.assert_array_equal(points["timestamp"][13:], expected["timestamp"])

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
            with self.assertWarnsRegex(pcbin.PcbinWarning, "announces 3 frames, the file ends after"):
                list(pcbin.open(self.path))

    def test_a_file_can_be_filtered_in_place(self):
        self.write_survey()
        os.chmod(self.path, 0o640)
        os.symlink(self.path, self.other)
        before = self.bytes_of(self.path)
        for fails in (True, False):
            with contextlib.suppress(ZeroDivisionError), pcbin.open(self.path) as reader:
                with pcbin.open(self.other, "w") as writer:
                    for frame in reader[1:]:
                        writer.write(frame._replace(points=frame.points[1:]))
                    self.assertEqual(self.bytes_of(self.path), before)
                    1 // (not fails)
            self.assertEqual(sorted(os.listdir(self.folder)), ["a", "b"])
            self.assertEqual(self.bytes_of(self.path) == before, fails)
        self.assertEqual([frame.points["y"].tolist() for frame in pcbin.open(self.path)], [[], [-1, -2]])
        self.assertTrue(os.path.islink(self.other))
        self.assertEqual(os.stat(self.path).st_mode & 0o7777, 0o640)
        self.assertEqual(pcbin.open(self.path).header["frames"], 2)

        poses = np.zeros(1, pcbin.POSE)
        poses["registration"]["rotation"] = poses["optimised"]["rotation"] = [1, 0, 0, 0]
        pcbin.write_poses(self.other, poses)
        self.assertEqual(pcbin.read_poses(self.path).tobytes(), poses.tobytes())

    def test_a_writer_that_is_not_closed_leaves_the_old_file(self):
        self.write_survey()
        before = self.bytes_of(self.path)
        writer = pcbin.open(self.path, "w")
        del writer
        self.assertEqual((os.listdir(self.folder), self.bytes_of(self.path)), (["a"], before))

    def test_what_is_probably_a_mistake_is_told_once(self):
        def told(use):
            with warnings.catch_warnings(record=True) as caught:
                warnings.simplefilter("always")
                use()
            return [str(warning.message) for warning in caught]

        def write(*frames):
            with pcbin.open(self.other, "w") as writer:
                for changes in frames:
                    writer.write_rgb({**known_rgb(2), **changes})

        def write_both():
            with pcbin.open(self.other, "w") as writer:
                for _ in range(2):
                    writer.write_rgb(known_rgb(2))
                    writer.write_lidar(known_lidar(2), 0)

        small = {"r": 0.5, "g": 1.0, "b": np.zeros(2)}
        cases = ((lambda: write({"x": 5403000.123}, {"y": 5403000.123}), "frame 0: single precision .* 0.123 m"),
                 (lambda: write({}, {"z": np.array([1, 16777217])}), "frame 1: single precision .* 1 m"),
                 (lambda: write(small, small), "frame 0: the colours are 0 to 1"),
                 (write_both, "frame 1: lidar frames and coloured frames in one file"))
        for use, message in cases:
            lines = told(use)
            self.assertEqual(len(lines), 1, lines)
            self.assertRegex(lines[0], f"{self.other!r}, {message}")
        near = {"x": np.float32(5403000), "y": 65000.123, "z": [np.inf, np.nan]}
        black = {"r": np.zeros(2), "g": 0.0, "b": 0}
        self.assertEqual(told(lambda: write(near, black, {"r": 1, "g": 1, "b": 0})), [])

        self.write_survey()
        whole = self.bytes_of(self.path)
        for end, lines in ((164, 1), (212, 1), (len(whole), 0)):
            self.put(whole[:end])
            found = told(lambda: [len(pcbin.open(self.path)), list(pcbin.open(self.path))][0])
            self.assertEqual(len(found), 2 * lines)

    def test_the_interface_is_annotated(self):
        things = [getattr(pcbin, name) for name in pcbin.__all__]
        for thing in things + [*vars(pcbin.Reader).values(), *vars(pcbin.Writer).values()]:
            if inspect.isfunction(thing) and (thing.__name__ == "__init__" or thing.__name__[0] != "_"):
                self.assertIn("return", typing.get_type_hints(thing), thing)

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
                    ({"y": np.zeros((2, 1))}, "one length"), ({"z": 1e39}, "'z' has a number too large")):
                with self.assertRaisesRegex(pcbin.PcbinError, f"{self.path!r}, frame 0: .*{message}"):
                    writer.write_rgb({**known_rgb(2), **changes})
            with self.assertRaisesRegex(pcbin.PcbinError, "'translation' has a number too large"):
                writer.write_lidar(known_lidar(2), 0, translation=(0, 1e39, 0))
            with self.assertRaisesRegex(pcbin.PcbinError, "no field 'r'"):
                writer.write_rgb(np.zeros(2, pcbin.LIDAR_POINT))
        self.assertEqual(os.path.getsize(self.path), 68)

    def test_poses_are_those_of_the_converter(self):
        text = "".join((
            "#" + pose_line(9), "\n", "a,b\n",
            pose_line(3, f5="0x1.8p1", f6=" +.5e1\t"), pose_line(1, f1=" 01 ", f27="1e-60"),
            pose_line(3, f4="1e300", f27="28 \r")[:-1])).encode()
        self.put(text)
        with pcbin.open(self.other, "w") as writer:
            writer.write_rgb({**known_rgb(50), "sweepid": np.arange(50) // 10})
        moving = pcbin.open(self.other)[0].xyz
        header, points = self.convert(self.other, self.path)
        poses = pcbin.read_poses(self.path)
        self.assertEqual(poses["sweepid"].tolist(), [3, 1, 3])
        self.assertEqual(header[155:179], poses["offset"][-1].tobytes())
        registration, optimised = poses[1]["registration"], poses[1]["optimised"]
        for vector, column in ((registration["aux1"], 8), (optimised["aux1"], 18), (optimised["aux2"], 25)):
            np.testing.assert_array_equal(vector[:2], np.array([1 + column / 7, 1 + (column + 1) / 7], "f4"))
        expected = []
        for pose in pcbin.by_sweep(poses)[[1, 3]]:
            registration, optimised = pose["registration"], pose["optimised"]
            body = rotated(registration["rotation"] * [1, -1, -1, -1],
                           moving[pose["sweepid"] * 10:][:10] - registration["position"])
            expected.append(rotated(optimised["rotation"], body) + optimised["position"])
        np.testing.assert_allclose(points["xyz"] / 1000, np.concatenate(expected), atol=0.0006)

        self.put(b"\xef\xbb\xbf" + text)
        self.assertEqual(pcbin.read_poses(self.path).tobytes(), poses.tobytes())
        pcbin.write_poses(self.other, poses)
        self.assertEqual(pcbin.read_poses(self.other).tobytes(), poses.tobytes())

    def test_bad_pose_fields_are_named_or_skipped(self):
        with pcbin.open(self.other, "w") as writer:
            writer.write_rgb({**known_rgb(8), "sweepid": np.arange(8) // 2})
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
                self.assertEqual(len(self.convert(self.other, self.path)[1]), 4)
        for line in pose_line(2)[:-1] + ",29", "a,b", pose_line(2, f1="2.0"), pose_line(2, f27="1x"), \
                pose_line(2, f11="0.1", f12="0", f13="0", f14="0.1"), pose_line(2, f21="3"):
            with self.subTest(line=line):
                self.put((pose_line(1) + line.rstrip("\n") + "\n").encode())
                self.assertRaisesRegex(pcbin.PcbinError, "line 2", pcbin.read_poses, self.path)
        self.put(b"# only\n\ntime,id\n")
        self.assertRaisesRegex(pcbin.PcbinError, "gives no pose", pcbin.read_poses, self.path)
        poses["optimised"]["rotation"][1, 2] = np.nan
        with self.assertRaisesRegex(pcbin.PcbinError, "sweep 3"):
            pcbin.write_poses(self.other, poses)


if __name__ == "__main__":
    unittest.main()
