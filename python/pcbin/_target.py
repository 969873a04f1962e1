# SPDX-License-Identifier: BSD-3-Clause
"""The file that is written: a new one under its own name, or the replacement of an old one."""

from __future__ import annotations

import contextlib
import errno
import io
import os
import stat
import tempfile
import weakref


class Target:
    """Opens a file for writing. Where a regular file stands, writes a hidden file beside it, which commit()
    puts in its place: readers of the old file, which may be mapped, are not disturbed. The replacement has the
    old file's mode and, as far as permitted, its owner and group. A symbolic link stays; the file that it leads
    to is replaced. Anything else is written directly.
    """

    def __init__(self, path: str) -> None:
        self.path = path
        self._final = self._part = None
        try:
            old = os.stat(path)
        except FileNotFoundError:
            old = None
        if old is not None and stat.S_ISREG(old.st_mode):
            self.file = self._open_beside(old)
        else:
            self.file = io.open(path, "wb", buffering=0)
        # A target that is neither committed nor discarded leaves the old file and nothing else.
        self._finalizer = weakref.finalize(self, _discard, self.file, self._part, os.getpid())

    def _open_beside(self, old):
        if not os.access(self.path, os.W_OK):
            raise PermissionError(errno.EACCES, "file must not be written", self.path)
        self._final = os.path.realpath(self.path)
        try:
            descriptor, self._part = tempfile.mkstemp(prefix=".pcbin-", dir=os.path.dirname(self._final))
        except OSError as error:
            message = f"cannot be replaced, no file can be made beside it: {error.strerror}"
            raise OSError(error.errno, message, self.path) from error
        mode = stat.S_IMODE(old.st_mode)
        if not (_gave(descriptor, old.st_uid, old.st_gid) or _gave(descriptor, -1, old.st_gid)):
            mode &= ~0o070 | (mode & 0o007) << 3  # another group: no more rights than others have
        os.fchmod(descriptor, mode)
        return io.open(descriptor, "wb", buffering=0)

    @property
    def replaces(self) -> bool:
        return self._part is not None

    def write(self, data) -> None:
        data = memoryview(data)
        while data:
            data = data[self.file.write(data):]

    def commit(self) -> None:
        """Closes the file, synced, and puts it in the place of the old one."""
        if stat.S_ISREG(os.fstat(self.file.fileno()).st_mode):
            os.fsync(self.file.fileno())
        self.file.close()
        if self._part is not None:
            os.replace(self._part, self._final)
            self._finalizer.detach()
            folder = os.open(os.path.dirname(self._final), os.O_RDONLY)
            try:
                os.fsync(folder)
            finally:
                os.close(folder)
        self._finalizer.detach()

    def discard(self) -> None:
        """Closes the file; a replacement is removed. Does nothing after commit()."""
        self._finalizer()


def _gave(descriptor, owner, group):
    try:
        os.fchown(descriptor, owner, group)
    except OSError:
        return False
    return True


def _discard(file, part, process):
    file.close()
    if part is not None and os.getpid() == process:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(part)
