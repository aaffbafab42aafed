"""Cuts the power of a change in many places, and judges what is left each time."""
import collections
import contextlib
import os
import random
import shutil
import tempfile
import threading
import time

from interrupted import disk
from interrupted.commands import Commands
from interrupted.judge import DamagedDisk, Judge, difference, read_directory
from interrupted.recording import Recorder
from interrupted.sets import SCENARIOS, write_files
from interrupted.states import Cut, States

# `meanwhile` is what goes on at the same time: "nothing"; "sync", somebody who flushes the disk all
# the time; "commit", more than a second between two renames, so that ext4 commits between them.
# `states` is how many are wanted, `second` how many of them come from a cut of the next run.
Job = collections.namedtuple("Job", "system scenario meanwhile states second seed")

RENAMING = "rename,renameat,renameat2,unlink,unlinkat"
DELAYS = {"sync": 10000, "commit": 1100000}  # microseconds before each of them
SECOND_CUTS = 20  # states judged of one interrupted next run
KEPT = 20         # disks of one job that are kept for those who look for the reason


class Failed(Exception):
    """A command that nobody interrupted did not succeed."""


class Outcome:
    """What a job found."""

    def __init__(self, job):
        self.job = job
        self.states = 0
        self.second = 0
        self.not_mountable = 0
        self.damaged = 0
        self.seconds = 0.0
        self.complaints = []

    def text(self):
        job = self.job
        return (f"{job.system:16} {job.scenario:17} {job.meanwhile:8} {self.states:6} states, "
                f"{self.second:5} of them of a second cut, {self.not_mountable:3} not mountable, "
                f"{self.damaged:3} damaged, {len(self.complaints):3} complaints, "
                f"{self.seconds:6.1f} s")


def run(job, companion, installer, keep, deadline=None):
    """Does a job. @return Its outcome."""
    start = time.monotonic()
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="power-cut-", dir=memory) as folder:
        commands = Commands(companion, installer)
        try:
            campaign = _Campaign(job, commands, folder, keep, deadline)
            campaign.run()
        except Failed as failure:
            campaign.outcome.complaints.append(f"{job.system} {job.scenario}: {failure}")
        finally:
            commands.close()
    campaign.outcome.seconds = time.monotonic() - start
    return campaign.outcome


class _Campaign:
    def __init__(self, job, commands, folder, keep, deadline):
        self.job = job
        self.commands = commands
        self.folder = folder
        self.keep = keep
        self.deadline = deadline
        self.noise = random.Random(f"{job}")
        self.system = disk.FILE_SYSTEMS[job.system]
        self.scenario = SCENARIOS[job.scenario]
        self.outcome = Outcome(job)
        self.place = f"{folder}/mounted"
        os.mkdir(self.place)
        self.target = f"{self.place}/{self.scenario.folders}"
        self.judge = Judge(self.scenario, commands, self.target, f"{folder}/new", f"{folder}/old")
        write_files(self.judge.source, self.scenario.after.files)
        write_files(self.judge.old_source, self.judge.old_version.files)

    def run(self):
        base = f"{self.folder}/base"
        self._prepare(base)
        first = self.job.states - self.job.second
        second = -(-self.job.second // SECOND_CUTS)
        recording, begin, success, files = self._record(base, lambda: (self._slowed(self.judge.command()), (0,)))
        if files != self.judge.after:
            raise Failed(f"after the change: {difference(files, self.judge.after)}")
        cuts = self._cuts(recording, begin, success, first)
        again = set(self.noise.sample(range(len(cuts)), min(second, len(cuts))))
        states = States(recording, self.system.superblocks, f"{self.folder}/state")
        for number, cut in enumerate(cuts):
            if self.deadline is not None and time.monotonic() > self.deadline:
                return
            states.make(cut)
            exactly = self.judge.after if cut.entries >= success else None
            if number in again:
                choice = self.noise.choice((self.judge.RECOVER, self.judge.AGAIN))
                self._cut_again(states.path, cut, exactly, choice)
                states.make(cut)
            self._judge(states.path, exactly, number, f"cut {tuple(cut)}")

    def _prepare(self, base):
        """Makes the disk as it is before the change."""
        disk.make(self.system, base)
        with disk.mounted(self.system, base, self.place):
            if self.scenario.made:
                write_files(self.target, self.judge.others)
            if self.scenario.before.files:
                self._must_succeed(self.commands.install(self.judge.old_source, self.target))
            found = difference(read_directory(self.target), self.judge.before)
            if found:
                raise Failed(f"before the change: {found}")

    def _record(self, image, command):
        """Records a command.

        @param command Called when the disk is mounted; returns the command, and its good statuses.
        @return The recording; how many entries it had when the command began and when it reported
                success; the files that are there then.
        """
        folder = tempfile.mkdtemp(dir=self.folder)
        with Recorder(image, folder).running() as recorder:
            with disk.mounted(self.system, recorder.disk, self.place):
                disk.flush(self.place)
                begin = recorder.position()
                with self._meanwhile():
                    self._must_succeed(*command())
                    success = recorder.position()
                files = read_directory(self.target)
            recording = recorder.recording()
        shutil.rmtree(folder)
        return (recording, recording.entries_before(begin), recording.entries_before(success), files)

    def _must_succeed(self, command, statuses=(0,)):
        result = self.commands.run(command)
        if result.status not in statuses:
            raise Failed(f"{' '.join(command)} ends with {result.status}: {result.output}")

    def _slowed(self, command):
        if self.job.meanwhile not in DELAYS:
            return command
        return ["strace", "-f", "-qq", "-o", f"{self.folder}/trace", "-e", f"trace={RENAMING}",
                "-e", f"inject={RENAMING}:delay_enter={DELAYS[self.job.meanwhile]}", *command]

    @contextlib.contextmanager
    def _meanwhile(self):
        if self.job.meanwhile != "sync":
            yield
            return
        ended = threading.Event()

        def flush_all_the_time():
            while not ended.wait(0.003):
                disk.flush(self.place)

        thread = threading.Thread(target=flush_all_the_time)
        thread.start()
        try:
            yield
        finally:
            ended.set()
            thread.join()

    def _cuts(self, recording, begin, success, wanted):
        """Chooses every prefix, and fills up with random parts; or an even sample of both. The disk
        right after the success is always among them: what was promised counts from there on."""
        end = len(recording.entries)
        # The disk is not another one after a flush.
        prefixes = [number for number in range(begin, end + 1)
                    if number in (begin, success, end) or recording.entries[number - 1] is not None]
        if len(prefixes) > wanted // 2:
            step = len(prefixes) / max(1, wanted // 2)
            sample = {prefixes[int(i * step)] for i in range(max(1, wanted // 2))}
            prefixes = sorted(sample | {success})
        cuts = [Cut(number, "prefix", 0) for number in prefixes]
        for seed in range(wanted - len(cuts)):
            kind = ("subset", "torn")[seed % 2]
            cuts.append(Cut(self.noise.choice(prefixes), kind, seed))
        return sorted(cuts)

    def _judge(self, image, exactly, choice, where, tidy=True):
        """Judges a state, and the next run after it."""
        self.outcome.states += 1
        kept = None
        if self.keep and len(self.outcome.complaints) < KEPT:
            kept = f"{image}.kept"
            shutil.copyfile(image, kept)
        complaints = []
        try:
            with disk.mounted(self.system, image, self.place):
                complaints += self.judge.in_the_middle(exactly, tidy)
                complaints += self.judge.next_run(choice)[0]
        except disk.CannotMount:
            self.outcome.not_mountable += 1
        except DamagedDisk:
            self.outcome.damaged += 1
        if complaints:
            self._complain(complaints, where, kept)

    def _complain(self, complaints, where, kept):
        text = f"{self.job.system} {self.job.scenario} {self.job.meanwhile}, {where}:"
        if kept:
            os.makedirs(self.keep, exist_ok=True)
            name = (f"{self.keep}/{self.job.system}-{self.job.scenario}-{self.job.meanwhile}-"
                    f"{len(self.outcome.complaints)}")
            shutil.copyfile(kept, name)
            text += f" (the disk: {name})"
        self.outcome.complaints.append("\n    ".join([text, *complaints]))

    def _cut_again(self, image, cut, exactly, choice):
        """Cuts the power of the next run, too: also while the file system recovers."""
        first = f"{self.folder}/first"
        os.replace(image, first)
        try:
            recording, _, success, files = self._record(
                first, lambda: self.judge.next_command(choice))
        except (disk.CannotMount, DamagedDisk):
            return  # counted when the first cut is judged
        except Failed as failure:
            self._complain([str(failure)], f"the next run after cut {tuple(cut)}", None)
            return
        states = States(recording, self.system.superblocks, f"{self.folder}/second")
        for number, second in enumerate(self._cuts(recording, 0, success, SECOND_CUTS)):
            states.make(second)
            self.outcome.second += 1
            self._judge(states.path, files if second.entries >= success else exactly, number,
                        f"cut {tuple(cut)} and again {tuple(second)}", tidy=False)
