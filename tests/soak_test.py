#!/usr/bin/env python3
"""Soak: COUNT conversations in a row (default 10000) on one
`vorn-device serve --listen`, turn by turn with contacts, appointments,
tasks and ink notes: add a record, count, read it back, list, delete it;
every tenth conversation also writes and reads a file and looks up a
contract.

Usage: soak_test.py VORN_DEVICE [--count COUNT]

Prints the server's memory use (RSS) and open descriptors after a warm-up
and at the end; fails when a conversation goes wrong, when RSS grew by more
than RSS_BOUND_KIB or when the descriptors changed.
"""

import argparse
import os
import struct
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from listen_server import (ListenServer, TestFailure, counted, expect,  # noqa
                           frame, split_frames)

# Growth allowed between the warm-up and the end: the image grows with
# every conversation (COM calls, change logs), so SQLite's page cache fills
# up to its limit (2,000 KiB by default), plus 1 MiB for the allocator's
# pools.
RSS_BOUND_KIB = 3072
WARM_UP = 50
TYPES = (1, 2, 3, 5)


def record(data_type, text):
    field = 31 if data_type == 1 else 1
    return struct.pack("<II", 1, field) + counted(text)


def one(server, number):
    data_type = TYPES[number % len(TYPES)]
    text = "soak %d" % number
    packets = [bytes([2, data_type]) + struct.pack("<I", number) +
               record(data_type, text)]
    reply = server.converse(frame(packets[0]) + frame([1, data_type]))
    frames, rest = split_frames(reply)
    expect(len(frames) == 2 and not rest and frames[0][:2] == bytes([1, 0]),
           "conversation %d: add replied %s" % (number, reply.hex()))
    oid = struct.unpack_from("<I", frames[0], 2)[0]
    data = (frame([6, data_type]) +
            frame(bytes([7, data_type]) + struct.pack("<I", oid)) +
            frame([13, data_type]) +
            frame(bytes([4, data_type]) + struct.pack("<I", oid)))
    if number % 10 == 0:
        path = counted("\\soak.txt")
        data += (frame(bytes([18, data_type]) + path +
                       struct.pack("<II", 0, 4) + b"soak") +
                 frame(bytes([19, data_type]) + path +
                       struct.pack("<III", 0, 0, 16)) +
                 frame(bytes([10, data_type]) + counted("desk")))
    data += frame([1, data_type])
    reply = server.converse(data)
    frames, rest = split_frames(reply)
    expect(not rest and len(frames) == (8 if number % 10 == 0 else 5),
           "conversation %d: %d replies" % (number, len(frames)))
    expect(frames[0][:2] == bytes([1, 0]), "conversation %d: count %s" %
           (number, frames[0].hex()))
    expect(text.encode("utf-16-le") in frames[1],
           "conversation %d: the record read back lacks its text: %s" %
           (number, frames[1].hex()))
    expect(struct.pack("<I", oid) in frames[2],
           "conversation %d: the list lacks the record" % number)
    expect(frames[3] == bytes([1, 0]), "conversation %d: delete %s" %
           (number, frames[3].hex()))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--rss-bound", type=int, default=RSS_BOUND_KIB,
                        help="the growth of RSS allowed, KiB (a server "
                        "built with AddressSanitizer keeps freed memory "
                        "in its quarantine)")
    parser.add_argument("--count", type=int, default=10000)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="vorn-soak-") as workdir:
        server = ListenServer(os.path.abspath(args.program), workdir, "SOAK")
        try:
            for number in range(WARM_UP):
                one(server, number)
            rss_start = server.rss_kib()
            fds_start = server.descriptors()
            started = time.monotonic()
            # Each number is two conversations: the add, then the rest.
            for number in range(WARM_UP, WARM_UP + args.count // 2):
                one(server, number)
                expect(server.alive(), "server died at %d" % number)
            seconds = time.monotonic() - started
            rss_end = server.rss_kib()
            fds_end = server.descriptors()
        finally:
            status = server.stop()
        expect(status == 0, "server stopped with status %s" % status)
    print("soak: %d conversations in %.1f s; RSS %d KiB -> %d KiB "
          "(bound +%d KiB); descriptors %d -> %d" %
          (args.count // 2 * 2, seconds, rss_start, rss_end, args.rss_bound,
           len(fds_start), len(fds_end)))
    expect(rss_end - rss_start <= args.rss_bound,
           "RSS grew by %d KiB" % (rss_end - rss_start))
    expect(fds_start == fds_end, "descriptors %s -> %s" % (fds_start,
                                                          fds_end))


if __name__ == "__main__":
    try:
        main()
    except TestFailure as failure:
        print("soak_test: %s" % failure, file=sys.stderr)
        sys.exit(1)
