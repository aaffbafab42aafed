"""A plugin of nbdkit: a disk in memory, whose every write and flush is recorded in a file.

Each entry of the file is a kind, an offset and a length, followed by the bytes of a write.
"""
import builtins
import os
import struct

import nbdkit

API_VERSION = 2
ENTRY = struct.Struct("<cQI")

image = None
log = None


def config(key, value):
    global image, log
    if key == "image":
        with builtins.open(value, "rb") as file:
            image = bytearray(file.read())
    elif key == "log":
        log = os.open(value, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600)
    else:
        raise RuntimeError(f"unknown parameter: {key}")


def thread_model():
    return nbdkit.THREAD_MODEL_SERIALIZE_ALL_REQUESTS


def open(readonly):
    return True


def get_size(handle):
    return len(image)


def can_write(handle):
    return True


def can_flush(handle):
    return True


def can_fua(handle):
    return nbdkit.FUA_EMULATE  # as a flush after the write


def pread(handle, buffer, offset, flags):
    buffer[:] = image[offset:offset + len(buffer)]


def pwrite(handle, buffer, offset, flags):
    image[offset:offset + len(buffer)] = buffer
    os.writev(log, [ENTRY.pack(b"W", offset, len(buffer)), buffer])


def flush(handle, flags):
    os.write(log, ENTRY.pack(b"F", 0, 0))
