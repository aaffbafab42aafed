"""The states in which a power cut may leave a recorded disk."""
import collections
import os
import random

SECTOR = 512
CHUNK = 64 << 10
# How likely each write since the last flush is to have reached the medium.
CHANCES = (0.1, 0.5, 0.9)

# Where the power is cut, and what of it: see `States.make`.
Cut = collections.namedtuple("Cut", "entries kind seed")


class States:
    """Builds the states of one recording in a file, one after the other."""

    def __init__(self, recording, superblocks, path):
        self.entries = recording.entries
        self.superblocks = superblocks
        self.path = path
        self._flushed = bytearray(recording.image)  # what is on the medium for certain
        self._flushed_entries = 0
        self._chunks = {offset for offset in range(0, len(self._flushed), CHUNK)
                        if self._flushed[offset:offset + CHUNK].strip(b"\0")}

    def make(self, cut):
        """Writes the disk as it is after a number of entries: all of them (kind "prefix"), or a
        random part of what came after the last flush ("subset"), or with some of these writes torn
        within ("torn"). Cuts must come in the order of their entries.
        """
        pending = self._pending(cut.entries)
        noise = random.Random(f"{cut.entries} {cut.kind} {cut.seed}")
        if cut.kind == "prefix":
            pieces = pending
        elif cut.kind == "subset":
            chance = noise.choice(CHANCES)
            pieces = [write for write in pending if noise.random() < chance]
        else:
            pieces = self._torn(pending, noise)
        self._write(pieces)

    def pending_writes(self, entries):
        """Counts the writes since the last flush."""
        count = 0
        while entries > 0 and self.entries[entries - 1] is not None:
            entries -= 1
            count += 1
        return count

    def _pending(self, entries):
        if entries < self._flushed_entries:
            raise ValueError("cuts must come in order")
        last = entries - self.pending_writes(entries)
        for write in self.entries[self._flushed_entries:last]:
            if write is not None:
                offset, content = write
                self._flushed[offset:offset + len(content)] = content
                self._chunks |= _chunks_of(write)
        self._flushed_entries = max(self._flushed_entries, last)
        return self.entries[last:entries]

    def _torn(self, pending, noise):
        """Keeps most writes, but only some sectors of a few."""
        pieces = []
        for write in pending:
            if noise.random() < 0.5 and not self._holds_superblock(write):
                pieces += _some_sectors(write, noise)
            elif noise.random() < 0.9:
                pieces.append(write)
        return pieces

    def _holds_superblock(self, write):
        offset, content = write
        return any(offset < start + size and start < offset + len(content)
                   for start, size in self.superblocks)

    def _write(self, pieces):
        chunks = self._chunks.union(*map(_chunks_of, pieces))
        state = {offset: self._flushed[offset:offset + CHUNK] for offset in chunks}
        for offset, content in pieces:
            _overlay(state, offset, content)
        file = os.open(self.path, os.O_RDWR | os.O_CREAT | os.O_TRUNC, 0o600)
        try:
            os.ftruncate(file, len(self._flushed))
            for offset, content in state.items():
                os.pwrite(file, content, offset)
        finally:
            os.close(file)


def _chunks_of(write):
    offset, content = write
    return set(range(offset - offset % CHUNK, offset + len(content), CHUNK))


def _overlay(state, offset, content):
    position = 0
    while position < len(content):
        start = (offset + position) % CHUNK
        length = min(CHUNK - start, len(content) - position)
        chunk = state[offset + position - start]
        chunk[start:start + length] = content[position:position + length]
        position += length


def _some_sectors(write, noise):
    offset, content = write
    chance = noise.choice(CHANCES)
    return [(offset + start, content[start:start + SECTOR])
            for start in range(0, len(content), SECTOR) if noise.random() < chance]
