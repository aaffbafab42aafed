"""How the companion and the installer are called."""
import collections
import os
import resource
import select
import signal
import subprocess
import tempfile

from interrupted.sets import SERIAL

TIMEOUT = 60
INTERRUPTED_BY_DESIGN = -signal.SIGSEGV  # how the installer ends on a complete set

Result = collections.namedtuple("Result", "status output")


class Commands:
    """Runs the programs under test; returns exit statuses, negative for a signal."""

    def __init__(self, companion, installer):
        self.companion = os.path.abspath(companion)
        self.installer = os.path.abspath(installer)
        # The installer's end on a complete set shall leave no core files about.
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8",
                            "ASAN_OPTIONS": "detect_leaks=0:" + os.environ.get("ASAN_OPTIONS", "")}
        self._output = tempfile.TemporaryFile()
        self._nothing = tempfile.mkdtemp(prefix="nothing")

    def close(self):
        os.rmdir(self._nothing)
        self._output.close()

    def install(self, source, target):
        return [self.companion, "install", str(SERIAL), "-s", source, "-t", target, "--prune"]

    def remove(self, target):
        return [self.companion, "remove", str(SERIAL), "-t", target]

    def recover(self, target):
        return [self.companion, "recover", "-t", target]

    def check(self, target):
        return [self.companion, "check", str(SERIAL), "-t", target]

    def verify(self, target):
        return [self.companion, "verify", str(SERIAL), "-t", target]

    def installers_check(self, target):
        """Copies from an empty directory, so that only its check is left."""
        return [self.installer, f"-d{SERIAL}", "-s", self._nothing, "-t", target]

    def run(self, command, seconds=TIMEOUT):
        """Runs a command to its end. A hang gives no status."""
        self._output.seek(0)
        self._output.truncate()
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self._output,
                              stderr=self._output, cwd="/", env=self.environment) as process:
            if not _ends(process, seconds):
                process.kill()
                process.wait()
                return Result(None, self._written())
            status = process.wait()
        return Result(status, self._written())

    def _written(self):
        self._output.seek(0)
        return self._output.read().decode(errors="replace")

    def who_says_complete(self, target):
        """Returns who counts the camera's set as complete."""
        return {who for who, command, status in (
            ("check", self.check(target), 0),
            ("verify", self.verify(target), 0),
            ("the installer", self.installers_check(target), INTERRUPTED_BY_DESIGN),
        ) if self.run(command).status == status}


def _ends(process, seconds):
    """Waits for the end of a process; unlike its own function for that, without naps."""
    descriptor = os.pidfd_open(process.pid)
    try:
        return bool(select.select([descriptor], [], [], seconds)[0])
    finally:
        os.close(descriptor)


ALL_JUDGES = {"check", "verify", "the installer"}
