#!/usr/bin/env python3
"""Crash durability: TRIALS times (default 1000), a copy of one device
image is served by `vorn-device serve --listen`, a conversation of writes
(contact adds, updates, batch writes, deletes, file appends, contracts)
runs on it and the server is killed with SIGKILL at a random moment:
after a random number of replies (right away, after the next packet went
out, or in the middle of it) or after a random delay with every packet
sent at once. Then the image is checked:

- SQLite's integrity check is ok, with the server dead and again after a
  restart (one trial in five also kills a restarted server while it opens
  the image);
- a restarted server answers a conversation and `vorn-device pim IMAGE ls
  contacts` works;
- every packet whose reply frame arrived has its whole change there (lost
  write otherwise);
- every packet without a reply has its change wholly there or wholly
  absent (partial write otherwise), and those there come before those
  absent (out of order otherwise).

Usage: crash_durability.py BIN_DIR [--trials N] [--seed S]

Prints the figures; exits 1 unless lost, damaged, partial and out of
order are all 0.
"""

import argparse
import os
import random
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from listen_server import (TIMEOUT, ListenServer, TestFailure,  # noqa
                           expect, frame, split_frames)
import crash_writes  # noqa
from crash_writes import (CONTRACT, END, Plan, batch_packet,  # noqa
                          contact_fields, contract_packet, judge)
from crash_image import (ImageServer, Seen, copy_image,  # noqa
                         file_chunks, integrity, open_and_kill)

BASE_RECORDS = 12
BASE_FILE = b"base file:"


def make_base(program, workdir):
    """The image every trial starts from: the contract, BASE_RECORDS
    contacts (one of them the witness) and the file."""
    base_dir = os.path.join(workdir, "base")
    os.makedirs(base_dir)
    server = ListenServer(program, base_dir, "CRASH")
    tags = ["b%d" % i for i in range(BASE_RECORDS - 1)] + ["witness"]
    fields = {tag: contact_fields(tag, 0, i % 4 == 0)
              for i, tag in enumerate(tags)}
    try:
        reply = server.converse(
            frame(contract_packet(8, CONTRACT)) +
            frame(batch_packet([(0, fields[tag]) for tag in tags])) +
            frame(crash_writes.append_packet(BASE_FILE)) + frame(END))
    finally:
        status = server.stop()
    expect(status == 0, "the base image's server stopped with %s" % status)
    frames, rest = split_frames(reply)
    expect(len(frames) == 4 and not rest and frames[0] == bytes([1, 0]) and
           len(frames[1]) == 10 * len(tags), "base image: %s" % reply.hex())
    records = {}
    for i, tag in enumerate(tags):
        expect(frames[1][10 * i] == 1, "base image: a contact failed")
        oid = struct.unpack_from("<I", frames[1], 10 * i + 2)[0]
        records[tag] = (oid, fields[tag])
    return server.image, records


def read_frames(sock, data, count):
    """Reads on after `data` until `count` whole frames came (or the
    stream ended)."""
    while True:
        frames, _ = split_frames(data)
        if len(frames) >= count:
            return data
        try:
            chunk = sock.recv(65536)
        except socket.timeout as timeout:
            raise TestFailure("no reply in %d s" % TIMEOUT) from timeout
        if not chunk:
            return data
        data += chunk


def drain(sock):
    data = b""
    while True:
        try:
            chunk = sock.recv(65536)
        except (ConnectionResetError, socket.timeout):
            return data
        if not chunk:
            return data
        data += chunk


def converse_and_kill(server, plan, rng, full_seconds):
    """Runs the plan's conversation and kills the server somewhere in it.
    Returns the reply bytes the desktop received and how it was killed."""
    frames = plan.frames()
    with socket.create_connection(server.address, timeout=TIMEOUT) as sock:
        sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        if rng.random() < 0.5:
            delay = rng.uniform(0, full_seconds)
            timer = threading.Timer(delay, server.kill)
            timer.start()
            try:
                sock.sendall(b"".join(frames))
            except (BrokenPipeError, ConnectionResetError):
                pass
            received = drain(sock)
            timer.join()
            return received, "delay"
        replies = rng.randint(0, len(plan.writes))
        received = b""
        try:
            for index in range(replies):
                sock.sendall(frames[index])
                received = read_frames(sock, received, index + 1)
            how = rng.choice(("now", "sent", "cut"))
            if how == "sent":
                sock.sendall(frames[replies])
                time.sleep(rng.uniform(0, 0.004))
            elif how == "cut":
                cut = frames[replies][:rng.randrange(1, len(frames[replies]))]
                sock.sendall(cut)
                time.sleep(rng.uniform(0, 0.002))
        except (BrokenPipeError, ConnectionResetError):
            how = "broken"
        server.kill()
        return received + drain(sock), "replies " + how


class Tally:
    def __init__(self):
        self.trials = 0
        self.answered = 0
        self.unanswered = 0
        self.unanswered_there = 0
        self.lost = 0
        self.damaged = 0
        self.partial = 0
        self.out_of_order = 0
        self.kills = {}

    def failed(self, what, trial, seed, message):
        setattr(self, what, getattr(self, what) + 1)
        print("trial %d (seed %d): %s: %s" % (trial, seed, what, message),
              file=sys.stderr)


def check_answers(plan, received):
    frames, _ = split_frames(received)
    expect(len(frames) <= len(plan.writes) + 1,
           "more replies than packets")
    for write, reply in zip(plan.writes, frames):
        expect(write.reply_ok(reply), "%s answered %s" % (write.kind,
                                                          reply[:24].hex()))
    return min(len(frames), len(plan.writes))


def judge_all(plan, seen, answered, tally, report):
    if seen.chunks is None:
        report("partial", "the file holds %d bytes that no prefix of the "
               "appends gives" % len(seen.file))
    absent_at = None
    for index, write in enumerate(plan.writes):
        if write.chunk is not None and seen.chunks is None:
            continue
        outcome = judge(write, seen)
        if index < answered and outcome != "present":
            report("lost", "packet %d (%s) was answered but is %s" %
                   (index, write.kind, outcome))
        elif outcome == "mixed":
            report("partial", "packet %d (%s) is partly there" %
                   (index, write.kind))
        elif outcome == "absent":
            absent_at = index if absent_at is None else absent_at
        elif absent_at is not None:
            report("out_of_order", "packet %d (%s) is there, packet %d "
                   "is not" % (index, write.kind, absent_at))
        elif index >= answered:
            tally.unanswered_there += 1


def trial(args, base, records, workdir, number, tally, full_seconds):
    seed = args.seed * 1000003 + number
    rng = random.Random(seed)
    image = os.path.join(workdir, "trial", "device.img")
    copy_image(base, image)
    plan = Plan(rng, records, BASE_FILE, number)
    program = os.path.join(args.bin_dir, "vorn-device")
    server = ImageServer(program, image)
    received, how = converse_and_kill(server, plan, rng, full_seconds)
    expect(server.exited is None, "trial %d (seed %d): the server ended by "
           "itself with status %d" % (number, seed, server.exited or 0))
    tally.kills[how] = tally.kills.get(how, 0) + 1
    answered = check_answers(plan, received)
    tally.trials += 1
    tally.answered += answered
    tally.unanswered += len(plan.writes) - answered

    def report(what, message):
        tally.failed(what, number, seed, "%s (killed: %s)" % (message, how))

    if args.drop_wal:
        for suffix in ("-wal", "-shm"):
            if os.path.exists(image + suffix):
                os.remove(image + suffix)
    checked = integrity(image)
    if checked != "ok":
        report("damaged", "integrity check after the kill: " + checked)
        return
    if rng.random() < 0.2:
        # Killed again while it opens the image it crashed on.
        open_and_kill(program, image, rng.uniform(0, 0.02))
        tally.kills["again at open"] = tally.kills.get("again at open",
                                                       0) + 1
    try:
        seen = Seen(program, image, plan, records["witness"][0])
    except TestFailure as failure:
        report("damaged", "the restarted server: %s" % failure)
        return
    checked = integrity(image)
    if checked != "ok":
        report("damaged", "integrity check after the restart: " + checked)
    if number % args.pim_every == 0:
        run = subprocess.run([program, "pim", image, "ls", "contacts"],
                             capture_output=True, text=True, check=False)
        if run.returncode != 0 or len(run.stdout.splitlines()) != len(
                seen.records):
            report("damaged", "pim ls contacts: status %d, %d lines for %d "
                   "records: %s" % (run.returncode,
                                    len(run.stdout.splitlines()),
                                    len(seen.records), run.stderr.strip()))
    judge_all(plan, seen, answered, tally, report)


def self_check():
    """judge() on made-up handhelds: a half-applied batch, a record with
    fields of two versions, a file append cut short."""
    base = {"b%d" % i: (i + 1, contact_fields("b%d" % i, 0, False))
            for i in range(BASE_RECORDS)}
    base["witness"] = base.pop("b0")
    for number in range(100):
        plan = Plan(random.Random(number), base, BASE_FILE, 0)
        batches = [w for w in plan.writes if w.kind == "batch"]
        if batches and any(w.chunk is not None for w in plan.writes):
            break
    expect(batches, "self check: no plan has a batch")
    seen = type("Seen", (), {})()
    seen.records = {tag: fields for tag, (_, fields) in base.items()}
    seen.chunks = 0
    seen.contracts = set()
    seen.witness_listed = True
    batch = batches[0]
    for write in plan.writes:
        expect(judge(write, seen) == "absent", "self check: %s not absent" %
               write.kind)
    tag, (_, after) = next(iter(batch.tags.items()))
    seen.records[tag] = after
    expect(judge(batch, seen) == "mixed", "self check: half a batch")
    for tag, (_, after) in batch.tags.items():
        seen.records[tag] = after
    expect(judge(batch, seen) == "present", "self check: a whole batch")
    mixed = dict(after)
    mixed[crash_writes.VERSION_FIELDS[0]] = "other"
    seen.records[tag] = mixed
    expect(judge(batch, seen) == "mixed", "self check: one field off")
    states = plan.file_states()
    expect(len(states) > 1 and file_chunks(plan, states[1]) == 1 and
           file_chunks(plan, states[1][:-1]) is None and
           file_chunks(plan, states[1] + b"<") is None,
           "self check: file appends")


def calibrate(program, base, records, workdir):
    """How long a whole conversation takes here (the longest of three)."""
    longest = 0.0
    for number in range(3):
        image = os.path.join(workdir, "trial", "device.img")
        copy_image(base, image)
        plan = Plan(random.Random(number), records, BASE_FILE, number)
        server = ImageServer(program, image)
        try:
            started = time.monotonic()
            reply = server.converse(b"".join(plan.frames()))
            longest = max(longest, time.monotonic() - started)
        finally:
            server.stop()
        frames, rest = split_frames(reply)
        expect(len(frames) == len(plan.writes) + 1 and not rest,
               "calibration: %d replies for %d packets" %
               (len(frames), len(plan.writes) + 1))
        check_answers(plan, reply)
        seen = Seen(program, image, plan, records["witness"][0])
        for index, write in enumerate(plan.writes):
            expect(judge(write, seen) == "present",
                   "calibration: packet %d (%s) is not there" %
                   (index, write.kind))
    return longest


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin_dir")
    parser.add_argument("--trials", type=int, default=1000)
    parser.add_argument("--seed", type=int,
                        default=int(time.time()) % 1000000)
    parser.add_argument("--pim-every", type=int, default=10)
    parser.add_argument("--drop-wal", action="store_true",
                        help="delete the write-ahead log after each kill "
                        "(the commits in it are lost); the run then succeeds "
                        "only when it reports lost writes")
    args = parser.parse_args()
    self_check()
    args.bin_dir = os.path.abspath(args.bin_dir)
    program = os.path.join(args.bin_dir, "vorn-device")
    tally = Tally()
    started = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="vorn-crash-") as workdir:
        os.makedirs(os.path.join(workdir, "trial"))
        base, records = make_base(program, workdir)
        full_seconds = calibrate(program, base, records, workdir)
        for number in range(args.trials):
            trial(args, base, records, workdir, number, tally, full_seconds)
    seconds = time.monotonic() - started
    print("crash durability (seed %d): %d trials in %.0f s (a whole "
          "conversation %.0f ms; kills: %s); %d writes answered, %d not "
          "(%d of them there after the restart); "
          "lost writes %d, damaged images %d, partial writes %d, out of "
          "order %d" %
          (args.seed, tally.trials, seconds, full_seconds * 1000,
           ", ".join("%s %d" % item for item in sorted(tally.kills.items())),
           tally.answered, tally.unanswered, tally.unanswered_there,
           tally.lost, tally.damaged,
           tally.partial, tally.out_of_order))
    if args.drop_wal:
        expect(tally.lost > 0 and tally.damaged == 0,
               "no lost writes seen without the write-ahead log")
        return
    expect(tally.lost == 0 and tally.damaged == 0 and tally.partial == 0 and
           tally.out_of_order == 0, "writes lost, images damaged or writes "
           "partly there")


if __name__ == "__main__":
    try:
        main()
    except TestFailure as failure:
        print("crash_durability: %s" % failure, file=sys.stderr)
        sys.exit(1)
