"""A directory in which one change is interrupted, again and again."""
import os
import shutil
import zipfile

from interrupted.judge import Judge, difference, read_directory
from interrupted.sets import write_files


def pack(folder):
    """Packs the files of a folder. @return Path of the archive."""
    path = f"{folder}.zip"
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for name in sorted(os.listdir(folder)):
            archive.write(f"{folder}/{name}", name)
    return path


class Trial:
    """One change, from the same beginning each time.

    @param place  The folder in which all of it happens; `disk` below it may be mounted by the caller.
    @param packed Whether the new set comes in an archive.
    """

    def __init__(self, scenario, commands, place, packed=False):
        self.scenario = scenario
        self.commands = commands
        self.disk = f"{place}/disk"
        self.trace = f"{place}/trace"
        self._beginning = f"{place}/beginning"
        self.judge = Judge(scenario, commands, f"{self.disk}/{scenario.folders}", f"{place}/new",
                           f"{place}/old")
        os.mkdir(self.disk)
        write_files(self.judge.source, scenario.after.files)
        write_files(self.judge.old_source, self.judge.old_version.files)
        if packed:
            self.judge.source = pack(self.judge.source)
        self._prepare()

    def _prepare(self):
        if self.scenario.made:
            write_files(self.judge.target, self.judge.others)
        if self.scenario.before.files:
            result = self.commands.run(
                self.commands.install(self.judge.old_source, self.judge.target))
            if result.status != 0:
                raise SystemExit(f"{self.scenario.name}: cannot begin: {result.output}")
        found = difference(read_directory(self.judge.target), self.judge.before)
        if found:
            raise SystemExit(f"{self.scenario.name}: before the change: {found}")
        shutil.copytree(self.disk, self._beginning)

    def begin(self):
        """Makes everything as it was before the change."""
        for name in os.listdir(self.disk):
            shutil.rmtree(f"{self.disk}/{name}")
        shutil.copytree(self._beginning, self.disk, dirs_exist_ok=True)

    def complaints(self, succeeded, choice):
        """Judges what the change has left, and the next run."""
        complaints = self.judge.in_the_middle(self.judge.after if succeeded else None)
        return complaints + self.judge.next_run(choice)[0]
