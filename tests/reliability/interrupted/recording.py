"""Records what a change writes to its disk."""
import contextlib
import os
import signal
import struct
import subprocess
import time

ENTRY = struct.Struct("<cQI")
PLUGIN = os.path.join(os.path.dirname(os.path.abspath(__file__)), "recorder.py")


class Recording:
    """The writes and flushes of a disk, in order. A flush is nothing, a write an offset and bytes."""

    def __init__(self, image, log):
        self.image = image      # the bytes that were on the disk before
        self.entries, self._positions = _entries(log)

    def entries_before(self, position):
        """Returns how many entries were recorded when the log had this many bytes."""
        return sum(1 for end in self._positions if end <= position)


def _entries(path):
    with open(path, "rb") as file:
        log = file.read()
    entries, ends, position = [], [], 0
    while position < len(log):
        kind, offset, length = ENTRY.unpack_from(log, position)
        position += ENTRY.size
        entries.append((offset, log[position:position + length]) if kind == b"W" else None)
        position += length if kind == b"W" else 0
        ends.append(position)
    return entries, ends


class Recorder:
    """A disk that records. `disk` is its path, as a file."""

    def __init__(self, image, folder):
        self.image = image
        self.disk = f"{folder}/disk"
        self.log = f"{folder}/log"

    def position(self):
        """Marks a moment."""
        return os.stat(self.log).st_size

    def recording(self):
        with open(self.image, "rb") as file:
            return Recording(file.read(), self.log)

    @contextlib.contextmanager
    def running(self):
        with open(self.disk, "wb"), open(self.log, "wb"):
            pass
        with subprocess.Popen(["nbdfuse", self.disk, "[", "nbdkit", "--exit-with-parent", "python",
                               PLUGIN, f"image={self.image}", f"log={self.log}", "]"],
                              start_new_session=True) as process:
            try:
                self._wait_for(process)
                yield self
            finally:
                subprocess.run(["fusermount3", "-u", self.disk], check=False)
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    os.killpg(process.pid, signal.SIGKILL)

    def _wait_for(self, process):
        end = time.monotonic() + 20
        while os.stat(self.disk).st_size == 0:
            if process.poll() is not None or time.monotonic() > end:
                raise SystemExit("nbdfuse does not make a disk")
            time.sleep(0.005)
