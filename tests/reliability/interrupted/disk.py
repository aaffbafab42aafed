"""File systems in files: making them, and mounting them through loop devices."""
import collections
import contextlib
import ctypes
import errno
import fcntl
import os
import struct
import subprocess
import time

MIB = 1 << 20

# `superblocks` are the places, offset and size, that a file system expects to be written whole.
FileSystem = collections.namedtuple("FileSystem", "name type size make options superblocks")

EXT4 = ["mkfs.ext4", "-q", "-F", "-b", "4096", "-E", "nodiscard,lazy_itable_init=0"]
XFS = ["mkfs.xfs", "-q", "-f", "-K", "--unsupported"]
BTRFS = ["mkfs.btrfs", "-q", "-f", "-K", "-m", "single", "-d", "single"]

FILE_SYSTEMS = {system.name: system for system in (
    FileSystem("ext4", "ext4", 16 * MIB, EXT4, "nodiscard", [(0, 4096)]),
    # Its journal is committed every second.
    FileSystem("ext4-commit", "ext4", 16 * MIB, EXT4, "nodiscard,commit=1", [(0, 4096)]),
    # It neither writes data before names, nor guesses that a rename should do so.
    FileSystem("ext4-writeback", "ext4", 16 * MIB, EXT4,
               "nodiscard,data=writeback,noauto_da_alloc", [(0, 4096)]),
    # A flush writes only what has changed, apart from its journal.
    FileSystem("ext4-fast-commit", "ext4", 16 * MIB, [*EXT4, "-O", "fast_commit"], "nodiscard",
               [(0, 4096)]),
    FileSystem("xfs", "xfs", 24 * MIB, XFS, "nodiscard", []),
    FileSystem("btrfs", "btrfs", 112 * MIB, BTRFS, "nodiscard",
               [(64 << 10, 4096), (64 << 20, 4096)]),
)}

NEEDED = ("mkfs.ext4", "mkfs.xfs", "mkfs.btrfs", "nbdkit", "nbdfuse", "strace")

LOOP_SET_FD, LOOP_CLR_FD, LOOP_CONFIGURE = 0x4C00, 0x4C01, 0x4C0A
LOOP_CTL_GET_FREE = 0x4C82
LO_FLAGS_AUTOCLEAR = 4
BTRFS_IOC_FORGET_DEV = 0x50009405
CLONE_NEWNS = 0x00020000
MS_REMOUNT, MS_REC, MS_PRIVATE = 1 << 5, 1 << 14, 1 << 18

_libc = ctypes.CDLL(None, use_errno=True)


class CannotMount(Exception):
    """The file system refuses what is on the disk."""


def enter_private_mounts():
    """From here on, what this process mounts is seen by it and its children only, and ends with
    them. @throws OSError where that is not allowed"""
    if _libc.unshare(CLONE_NEWNS) != 0:
        raise OSError(ctypes.get_errno(), "no mount namespace of its own")
    _mount(b"none", b"/", None, MS_REC | MS_PRIVATE, None)


def make(system, path):
    """Makes an empty file system in a new file."""
    with open(path, "wb") as file:
        file.truncate(system.size)
    made = subprocess.run([*system.make, path], capture_output=True, text=True, check=False)
    if made.returncode != 0:
        raise SystemExit(f"{system.name}: {made.stderr}")


@contextlib.contextmanager
def mounted(system, path, directory):
    """Mounts the file system in a file, and unmounts it again.

    @throws CannotMount when the file system refuses the disk
    """
    descriptor, device = _attach(path)
    try:
        _mount(device.encode(), directory.encode(), system.type.encode(), 0,
               system.options.encode())
        os.close(descriptor)  # the mount keeps the loop device
    except OSError as error:
        os.close(descriptor)
        _forget(system)
        raise CannotMount(f"{system.type}: {error.strerror}") from error
    try:
        yield
    finally:
        _unmount(directory)
        _forget(system)


@contextlib.contextmanager
def in_memory(directory):
    """Mounts an empty file system in memory."""
    _mount(b"none", directory.encode(), b"tmpfs", 0, b"mode=0755")
    try:
        yield
    finally:
        _unmount(directory)


def remount(kind, directory, options):
    """Gives a mounted file system other options."""
    _mount(b"none", directory.encode(), kind.encode(), MS_REMOUNT, options.encode())


def flush(directory):
    """Does to one file system what `sync` does to all."""
    descriptor = os.open(directory, os.O_RDONLY | os.O_DIRECTORY)
    try:
        _libc.syncfs(descriptor)
    finally:
        os.close(descriptor)


def _forget(system):
    """Otherwise btrfs refuses a disk that is older than the last one it has seen."""
    if system.type != "btrfs":
        return
    descriptor = os.open("/dev/btrfs-control", os.O_RDWR)
    try:
        fcntl.ioctl(descriptor, BTRFS_IOC_FORGET_DEV, bytearray(4096))
    except OSError as error:
        if error.errno != errno.ENOENT:
            raise
    finally:
        os.close(descriptor)


def _attach(path):
    """Returns a descriptor of a loop device, which goes away when nobody holds it, and its path."""
    file = os.open(path, os.O_RDWR)
    control = os.open("/dev/loop-control", os.O_RDWR)
    try:
        # struct loop_config: descriptor, size of a block, struct loop_info64, reserved.
        configuration = bytearray(304)
        struct.pack_into("=II", configuration, 0, file, 512)
        struct.pack_into("=I", configuration, 8 + 52, LO_FLAGS_AUTOCLEAR)
        while True:
            device = f"/dev/loop{fcntl.ioctl(control, LOOP_CTL_GET_FREE)}"
            descriptor = os.open(device, os.O_RDWR)
            try:
                fcntl.ioctl(descriptor, LOOP_CONFIGURE, configuration)
                return descriptor, device
            except OSError as error:  # somebody else was faster
                os.close(descriptor)
                if error.errno != errno.EBUSY:
                    raise
    finally:
        os.close(control)
        os.close(file)


def _mount(source, target, kind, flags, options):
    if _libc.mount(source, target, kind, flags, options) != 0:
        number = ctypes.get_errno()
        raise OSError(number, os.strerror(number))


def _unmount(directory):
    end = time.monotonic() + 10
    while _libc.umount2(directory.encode(), 0) != 0:
        number = ctypes.get_errno()
        if number != errno.EBUSY or time.monotonic() > end:
            raise OSError(number, os.strerror(number), directory)
        time.sleep(0.001)
