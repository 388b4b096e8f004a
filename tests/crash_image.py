"""The device images of tests/crash_durability.py: a server on an image
that already exists, SQLite's integrity check on it, and what a restarted
handheld shows of the records, the file and the contracts."""

import os
import shutil
import signal
import sqlite3
import struct
import subprocess
import time

from listen_server import (ListenServer, counted, expect, frame,  # noqa
                           split_frames)
import crash_writes  # noqa
from crash_writes import CONTRACT, END, FILE_PATH, contract_packet  # noqa

READ_MAX = 221174


class ImageServer(ListenServer):
    """`vorn-device serve` on an image that already exists."""

    def __init__(self, program, image):
        self.exited = None
        self.program = program
        self.image = image
        self.process = subprocess.Popen(
            [program, "serve", image, "--listen", "127.0.0.1:0"],
            cwd=os.path.dirname(image), stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.address = self._wait_for_address()

    def kill(self):
        """SIGKILL; `exited` keeps the status of a server that had ended
        by itself before."""
        self.exited = self.process.poll()
        if self.exited is None:
            self.process.send_signal(signal.SIGKILL)
        self.process.wait()
        self.process.stderr.close()


def open_and_kill(program, image, delay):
    """Starts `vorn-device serve` on the image and kills it after `delay`
    seconds, while it opens the image (recovering its write-ahead log) or
    waits for a desktop."""
    process = subprocess.Popen(
        [program, "serve", image, "--listen", "127.0.0.1:0"],
        cwd=os.path.dirname(image), stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(delay)
    process.send_signal(signal.SIGKILL)
    process.wait()


def integrity(image):
    """SQLite's integrity check on the image, read-only."""
    try:
        with sqlite3.connect("file:%s?mode=ro" % image, uri=True) as db:
            rows = db.execute("PRAGMA integrity_check").fetchall()
        db.close()
    except sqlite3.Error as error:
        return str(error)
    return "ok" if rows == [("ok",)] else repr(rows[:3])


def copy_image(base, image):
    for suffix in ("", "-wal", "-shm"):
        if os.path.exists(image + suffix):
            os.remove(image + suffix)
        if os.path.exists(base + suffix):
            shutil.copyfile(base + suffix, image + suffix)


class Seen:
    """What a restarted handheld shows."""

    def __init__(self, program, image, plan, witness_oid):
        self.witness_oid = witness_oid
        server = ImageServer(program, image)
        try:
            self._read(server, plan)
        finally:
            status = server.stop()
        expect(status == 0, "the restarted server stopped with %s" % status)

    def _read(self, server, plan):
        names = [w.contract for w in plan.writes if w.contract is not None]
        data = (frame([13, 1]) + frame(
            bytes([19, 1]) + counted(FILE_PATH) +
            struct.pack("<III", 0, 0, READ_MAX)) +
            frame(bytes([11, 1]) + counted(CONTRACT)))
        for name in names:
            data += frame(contract_packet(10, name))
        reply = server.converse(data + frame(END))
        frames, rest = split_frames(reply)
        expect(len(frames) == 4 + len(names) and not rest,
               "the restarted server answered %d frames" % len(frames))
        listed, count = frames[0], struct.unpack_from("<I", frames[0], 2)[0]
        expect(listed[0] == 1 and len(listed) == 7 + 4 * count,
               "GetAllRecords: %s" % listed[:16].hex())
        oids = struct.unpack_from("<%dI" % count, listed, 7)
        expect(frames[1][0] == 1, "ReadFileData: %s" % frames[1][:16].hex())
        size = struct.unpack_from("<I", frames[1], 6)[0]
        self.file = frames[1][10:10 + size]
        changes = frames[2]
        expect(changes[0] == 1 and changes[1] == 0,
               "GetChangedRecords: %s" % changes[:16].hex())
        entries = struct.unpack_from("<I", changes, 2)[0]
        listed_oids = {struct.unpack_from("<I", changes, 7 + 5 * i)[0]
                       for i in range(entries)}
        self.witness_listed = self.witness_oid in listed_oids
        self.contracts = {name for name, answer in zip(names, frames[3:])
                          if answer == bytes([1, 0])}
        self.records = {}
        reply = server.converse(b"".join(
            frame(bytes([7, 1]) + struct.pack("<I", oid)) for oid in oids) +
            frame(END))
        frames, rest = split_frames(reply)
        expect(len(frames) == len(oids) + 1 and not rest,
               "GetRecord: %d frames for %d records" % (len(frames),
                                                        len(oids)))
        for record in frames[:-1]:
            fields = parse_contact(record)
            tag = fields.get(crash_writes.TAG_FIELD)
            self.records[tag] = "duplicate" if tag in self.records else fields
        self.chunks = file_chunks(plan, self.file)


def file_chunks(plan, data):
    """How many of the plan's appends the file holds, None when it is not
    the base content followed by whole appends in order."""
    for index, state in enumerate(plan.file_states()):
        if data == state:
            return index
    return None


def parse_contact(record):
    expect(len(record) >= 7 and record[0] == 1, "contact %s" %
           record[:16].hex())
    count = record[6]
    at = 7
    fields = {}
    for _ in range(count):
        field_id = struct.unpack_from("<I", record, at)[0]
        at += 4
        if field_id in (1, 2):
            at += 16
            continue
        size = struct.unpack_from("<I", record, at)[0]
        text = record[at + 4:at + 4 + size].decode("utf-16-le")
        at += 4 + size
        text = text.rstrip("\0")
        if text and (field_id == crash_writes.TAG_FIELD or
                     field_id in crash_writes.VERSION_FIELDS):
            fields[field_id] = text
    return fields
