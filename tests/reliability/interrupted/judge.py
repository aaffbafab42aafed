"""Judges a calibration directory after an interruption."""
import errno
import fnmatch
import hashlib
import os
import stat

from interrupted.commands import ALL_JUDGES
from interrupted.sets import NONE, OTHERS, SERIAL

HIDDEN = ".zentho-cali"
RECORD = f"{SERIAL}.sha256"
JOURNALS = "*.journal"
# What the hidden folder may hold when nothing goes on.
AT_REST = (RECORD, "lock")
# What means nothing without a journal, so that it need not be removed for ever.
STALE = {"stage", f"{SERIAL}.journal.new"}


class DamagedDisk(Exception):
    """The file system itself cannot read what is on the disk."""


def read_file(path):
    try:
        information = os.lstat(path)
        if not stat.S_ISREG(information.st_mode):
            return f"a {stat.filemode(information.st_mode)}"
        with open(path, "rb") as file:
            return file.read()
    except OSError as error:
        if error.errno in (errno.EUCLEAN, errno.EIO):
            raise DamagedDisk(f"{path}: {error.strerror}") from error
        raise


def read_directory(path):
    """Returns the bytes of every file in a directory by name; an absent one holds none."""
    try:
        names = os.listdir(path)
    except (FileNotFoundError, NotADirectoryError):
        return {}
    except OSError as error:
        raise DamagedDisk(f"{path}: {error.strerror}") from error
    return {name: read_file(f"{path}/{name}") for name in names if name != HIDDEN}


def hidden_names(path):
    try:
        return sorted(os.listdir(f"{path}/{HIDDEN}"))
    except (FileNotFoundError, NotADirectoryError):
        return []
    except OSError as error:
        raise DamagedDisk(f"{path}/{HIDDEN}: {error.strerror}") from error


def holds(files, version):
    """Whether all of a version is there, with its own bytes."""
    return version is not NONE and version.files.items() <= files.items()


def difference(files, expected):
    """Says how files differ from those expected; nothing when they do not."""
    words = [f"{name} {'is missing' if name not in files else 'has other bytes'}"
             for name, content in sorted(expected.items()) if files.get(name) != content]
    words += [f"{name} is left over" for name in sorted(files.keys() - expected.keys())]
    return ", ".join(words)


class Judge:
    """Knows one change, and what a directory may look like in the middle of it and after."""

    def __init__(self, scenario, commands, target, source, old_source):
        self.scenario = scenario
        self.commands = commands
        self.target = target
        self.source = source
        self.old_source = old_source
        others = OTHERS if scenario.made else {}
        self.before = {**others, **scenario.before.files}
        self.after = {**others, **scenario.after.files}
        self.others = others

    def in_the_middle(self, exactly=None, tidy=True):
        """Judges the directory as the interruption left it.

        @param exactly The files that must be there, all the same, after a reported success.
        @param tidy    Whether nothing may be left over then, either.
        @return The complaints.
        """
        files = read_directory(self.target)
        complaints = self._of_files(files)
        complete = self.commands.who_says_complete(self.target)
        versions = (self.scenario.before, self.scenario.after)
        if complete and not any(holds(files, version) for version in versions):
            complaints.append(f"{', '.join(sorted(complete))} say complete, but it is neither "
                              f"version: {self._mixture(files)}")
        journals = fnmatch.filter(hidden_names(self.target), JOURNALS)
        for who in sorted(complete - {"the installer"}):
            if journals:
                complaints.append(f"{who} says complete although {journals[0]} is open")
        if exactly is not None:
            complaints += self._at_rest(files, exactly, complete, tidy)
        return complaints

    def next_run(self, choice):
        """Runs one of the commands that complete a change, and judges what they leave.

        @param choice Number of the command.
        @return The complaints, and the files that are there now.
        """
        name, command, outcomes = self._next_runs()[choice % self.choices]
        statuses = self._statuses(name)
        result = self.commands.run(command)
        files = read_directory(self.target)
        complaints = []
        if result.status not in statuses:
            complaints.append(f"the next run, {name}, ends with {result.status}: "
                              f"{result.output.strip()[-500:]}")
        if files not in outcomes:
            complaints.append(f"after the next run, {name}: " + " or else ".join(
                difference(files, outcome) for outcome in outcomes))
        else:
            complete = self.commands.who_says_complete(self.target)
            complaints += [f"after the next run, {name}: {complaint}"
                           for complaint in self._at_rest(files, files, complete)]
        return complaints, files

    choices = 4
    RECOVER, AGAIN = range(2)

    def next_command(self, choice):
        """Returns a command that completes a change, and its statuses when all is well."""
        name, command, _ = self._next_runs()[choice]
        return command, self._statuses(name)

    def _statuses(self, name):
        """Removing says when there was nothing, and questions when there is no directory."""
        if name.startswith("install"):
            return (0,)
        if not os.path.isdir(self.target):
            return (0, 3)
        return (0, 1) if name.startswith("remove") else (0,)

    def _next_runs(self):
        again = (("remove again", self.commands.remove(self.target), [self.after])
                 if self.scenario.removes else
                 ("install again", self.commands.install(self.source, self.target), [self.after]))
        other = {**self.others, **self.old_version.files}
        return (
            ("recover", self.commands.recover(self.target), [self.before, self.after]),
            again,
            ("install the old set", self.commands.install(self.old_source, self.target), [other]),
            ("remove", self.commands.remove(self.target), [self.others]),
        )

    @property
    def old_version(self):
        return self.scenario.before if self.scenario.before is not NONE else self.scenario.after

    def command(self):
        """The change itself."""
        if self.scenario.removes:
            return self.commands.remove(self.target)
        return self.commands.install(self.source, self.target)

    def _of_files(self, files):
        complaints = []
        for name, content in sorted(files.items()):
            if name in self.others:
                continue
            expected = [state[name] for state in (self.before, self.after) if name in state]
            if not expected:
                complaints.append(f"{name} belongs to neither version")
            elif content not in expected:
                complaints.append(f"{name} is torn ({len(content)} bytes)")
        complaints += [f"{name}, which is not the camera's, is missing or altered"
                       for name, content in self.others.items() if files.get(name) != content]
        return complaints

    def _mixture(self, files):
        words = []
        for name in sorted(self.before.keys() | self.after.keys()):
            if name in self.others:
                continue
            content = files.get(name)
            state = ("absent" if content is None else
                     "the same" if content == self.before.get(name) == self.after.get(name) else
                     "old" if content == self.before.get(name) else
                     "new" if content == self.after.get(name) else "torn")
            words.append(f"{name} {state}")
        return ", ".join(words)

    def _at_rest(self, files, exactly, complete, tidy=True):
        complaints = []
        if files != exactly:
            complaints.append("after success: " + difference(files, exactly))
        hidden = hidden_names(self.target)
        left = [name for name in hidden if name not in AT_REST]
        if left and (tidy or set(left) - STALE):
            complaints.append(f"left in the hidden folder: {', '.join(left)}")
        installed = exactly.keys() - self.others.keys()
        if installed and complete != ALL_JUDGES:
            complaints.append("a whole set does not count as complete for "
                              f"{', '.join(sorted(ALL_JUDGES - complete))}")
        if complete and not installed:
            complaints.append(f"{', '.join(sorted(complete))} say complete where nothing is")
        return complaints + self._of_the_record(installed, files, hidden)

    def _of_the_record(self, installed, files, hidden):
        if not installed:
            return ["a record of nothing"] if RECORD in hidden else []
        if RECORD not in hidden:
            return ["the set has no record"]
        record = read_file(f"{self.target}/{HIDDEN}/{RECORD}")
        expected = {f"{hashlib.sha256(files[name]).hexdigest()}  {name}"
                    for name in installed if isinstance(files.get(name), bytes)}
        lines = record.decode(errors="replace").splitlines() if isinstance(record, bytes) else []
        if {line for line in lines if not line.startswith("#")} != expected:
            return ["the record does not list what is installed"]
        return []
