"""The sets of files that are installed, and what the directory must look like before and after."""
import dataclasses
import os
import random

SERIAL = 14080045
LONGER_SERIAL = 140800451  # another camera, whose files begin like those of the first

# Sizes of the data files: within a sector, within a page, and over several; none ends with one.
SIZES = (300, 3000, 9000, 21000)

ENTRY = """<OpticsDef>
<FOV>{}</FOV>
<TempRanges>
<TemperatureRange>
<TempLo>-20</TempLo>
<TempHi>100</TempHi>
</TemperatureRange>
</TempRanges>
</OpticsDef>
"""
DESCRIPTION = """<CaliData>
<Temperature>
<Optics>
{}</Optics>
</Temperature>
</CaliData>
"""


@dataclasses.dataclass(frozen=True)
class Version:
    """A whole set."""
    description: str
    files: dict  # bytes by name, the description's included


NONE = Version("", {})


def description_name(serial=SERIAL):
    return f"Cali-{serial}.xml"


def version(optics, seed, serial=SERIAL, size_factor=1):
    """Makes a set; files of another seed have other bytes, but for the curve of the first optic."""
    text = DESCRIPTION.format("".join(ENTRY.format(optic) for optic in optics))
    files = {description_name(serial): text.encode()}
    for number, optic in enumerate(optics):
        stem = f"{serial}-{optic}-M20-100"
        for kind, name in enumerate((f"Cali-{stem}.dat", f"Kennlinie-{stem}.prn")):
            noise = random.Random(0 if (number, kind) == (0, 1) else f"{seed} {name}")
            size = SIZES[(2 * number + kind) % len(SIZES)] * size_factor
            files[name] = noise.randbytes(size)
    return Version(description_name(serial), files)


@dataclasses.dataclass(frozen=True)
class Scenario:
    """A change of one camera's set."""
    name: str
    before: Version
    after: Version
    folders: str = "cali"  # the calibration directory, below the root of the disk
    made: bool = True      # whether it is there before

    @property
    def removes(self):
        return self.after is NONE


OLD = version((23, 45), "old")
SAME_NAMES = version((23, 45), "new")
GROWN = version((23, 45, 60), "new")
SHRUNK = version((45,), "new")

SCENARIOS = {scenario.name: scenario for scenario in (
    Scenario("fresh", NONE, GROWN),
    Scenario("new-directory", NONE, SHRUNK, "usr/share/cali", False),
    Scenario("update", OLD, GROWN),
    # The old description would ask for the same files as the new one.
    Scenario("same-description", OLD, SAME_NAMES),
    Scenario("shrunk", OLD, SHRUNK),
    Scenario("remove", OLD, NONE),
)}

# What is none of the camera's business, and must stay as it is.
OTHERS = {**version((23,), "other", LONGER_SERIAL).files, "notes.txt": b"not ours\n"}


def write_files(directory, files):
    os.makedirs(directory, exist_ok=True)
    for name, content in files.items():
        with open(f"{directory}/{name}", "wb") as file:
            file.write(content)
