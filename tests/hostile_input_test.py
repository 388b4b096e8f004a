#!/usr/bin/env python3
"""Hostile input against vorn-device: the device paths of
tests/hostile/paths.json through `vorn-device fs` and through the file
commands of the wire, then the malformed conversations of
tests/hostile/conversations.txt, COUNT of them in a row (default 1000) on
one `vorn-device serve --listen`, then a good conversation.

Usage: hostile_input_test.py VORN_DEVICE [--count COUNT]

Checks: no command crashes (a failing one says why in one line on stderr),
no path reaches a host file (the host files the paths name are unchanged,
nothing appears outside the handheld's image), every malformed
conversation ends with the connection closed and the server goes on; the
good conversation succeeds; the server's memory (RSS) grows by at most
RSS_BOUND_KIB over the malformed conversations and its open descriptors are
the same. Prints the figures; exits 0 when every check holds.
"""

import argparse
import hashlib
import json
import os
import struct
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from listen_server import (ListenServer, TestFailure, counted, expect,  # noqa
                           frame, split_frames)

HERE = os.path.dirname(os.path.abspath(__file__))
PAYLOAD = b"HOSTILE-PAYLOAD"
RSS_BOUND_KIB = 1024
ESCAPE = "vorn_hostile_escape"
WATCHED = ["/etc/passwd", "/etc/hostname", "/tmp/" + ESCAPE]


def load_paths():
    with open(os.path.join(HERE, "hostile", "paths.json"),
              encoding="ascii") as f:
        return json.load(f)


def load_conversations():
    out = []
    with open(os.path.join(HERE, "hostile", "conversations.txt"),
              encoding="ascii") as f:
        for line in f:
            name, _, data = line.strip().partition(" ")
            out.append((name, bytes.fromhex(data)))
    return out


def fingerprint(path):
    try:
        with open(path, "rb") as f:
            return hashlib.sha256(f.read()).hexdigest()
    except OSError as error:
        return "absent: %s" % error.strerror


def host_contents():
    """What a path that escaped the handheld could read from the host."""
    found = set()
    for path in ("/etc/passwd", "/etc/hostname"):
        try:
            with open(path, "rb") as f:
                data = f.read()
            if data:
                found.add(data[:64])
        except OSError:
            pass
    return found


def files_under(root):
    names = set()
    for directory, _, files in os.walk(root):
        for name in files:
            names.add(os.path.relpath(os.path.join(directory, name), root))
    return names


def check_no_escape(before, workdir, allowed):
    for path, print_before in before.items():
        expect(fingerprint(path) == print_before,
               "host file %s changed" % path)
    home = os.path.expanduser("~/" + ESCAPE)
    expect(not os.path.exists(home), "%s appeared" % home)
    extra = [name for name in files_under(workdir)
             if not any(name.startswith(prefix) for prefix in allowed)]
    expect(not extra, "host files appeared: %s" % extra[:5])


def run_fs(program, image, cwd, args):
    """One `vorn-device fs` command; fails on a crash or on an error that
    is not one line."""
    argv = [program.encode(), b"fs", image.encode()] + [
        a.encode("utf-8", "surrogatepass") if isinstance(a, str) else a
        for a in args]
    run = subprocess.run(argv, cwd=cwd, capture_output=True, check=False,
                         timeout=60)
    shown = [a[:60] for a in args]
    expect(0 <= run.returncode < 128,
           "fs %r crashed (status %d): %r" % (shown, run.returncode,
                                             run.stderr[-300:]))
    if run.returncode != 0:
        lines = run.stderr.decode("utf-8", "replace").strip().splitlines()
        expect(len(lines) == 1,
               "fs %r: error not one line: %r" % (shown, run.stderr[:300]))
    return run


def fs_phase(program, paths, workdir, before, hosts):
    image = os.path.join(workdir, "fs.img")
    run = subprocess.run([program, "init", image], capture_output=True,
                         check=False)
    expect(run.returncode == 0, "init failed")
    cwd = os.path.join(workdir, "cwd")
    os.makedirs(os.path.join(cwd, "out"))
    source = os.path.join(workdir, "payload.bin")
    with open(source, "wb") as f:
        f.write(PAYLOAD)
    tried = 0
    for index, path in enumerate(paths):
        if "\0" in path:
            continue  # no command line can hold a NUL
        tried += 1
        out = os.path.join(cwd, "out", "%d" % index)
        run_fs(program, image, cwd, ["put", path, source])
        got = run_fs(program, image, cwd, ["get", path, out])
        if got.returncode == 0:
            with open(out, "rb") as f:
                data = f.read()
            expect(data in (PAYLOAD, b"") or data[:64] not in hosts,
                   "fs get %r read a host file" % path[:60])
        listed = run_fs(program, image, cwd, ["ls", path])
        for host in hosts:
            expect(host not in listed.stdout, "fs ls %r listed a host file"
                   % path[:60])
        run_fs(program, image, cwd, ["attrib", path, "+r"])
        run_fs(program, image, cwd, ["attrib", path, "-r"])
        run_fs(program, image, cwd, ["rm", path])
    check_no_escape(before, workdir,
                    ["fs.img", "payload.bin", os.path.join("cwd", "out")])
    return tried


def file_conversation(path):
    name = counted(path)
    return (frame(bytes([18, 1]) + name + struct.pack("<II", 0, len(PAYLOAD))
                  + PAYLOAD) +
            frame(bytes([19, 1]) + name + struct.pack("<III", 0, 0, 4096)) +
            frame([1, 1]))


def wire_path_phase(server, paths, hosts):
    for path in paths:
        reply = server.converse(file_conversation(path))
        expect(server.alive(), "server died on path %r" % path[:60])
        frames, _ = split_frames(reply)
        if len(frames) >= 2 and len(frames[1]) >= 10 and frames[1][0] == 1:
            count = struct.unpack_from("<I", frames[1], 6)[0]
            data = frames[1][10:10 + count]
            expect(data in (PAYLOAD, b"") or data[:64] not in hosts,
                   "ReadFileData %r read a host file" % path[:60])
    return len(paths)


def good_conversation(server):
    reply = server.converse(frame([14, 1]) + frame([6, 1]) + frame([1, 1]))
    frames, rest = split_frames(reply)
    expect(len(frames) == 3 and not rest, "good conversation: %s" %
           reply.hex())
    tag, count = struct.unpack_from("<II", frames[0])
    machine = frames[0][8:8 + count].decode("utf-16-le").rstrip("\0")
    expect(tag == 0x3C and machine == "HOSTILE",
           "machine id reply %s" % frames[0].hex())
    expect(frames[1][:2] == bytes([1, 0]), "count reply %s" %
           frames[1].hex())


def malformed_phase(server, conversations, count):
    for i in range(count):
        name, data = conversations[i % len(conversations)]
        server.converse(data)
        expect(server.alive(), "server died after %s" % name)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--rss-bound", type=int, default=RSS_BOUND_KIB,
                        help="the growth of RSS allowed, KiB (a server "
                        "built with AddressSanitizer keeps freed memory "
                        "in its quarantine)")
    parser.add_argument("--count", type=int, default=1000)
    args = parser.parse_args()
    args.program = os.path.abspath(args.program)
    paths = load_paths()
    conversations = load_conversations()
    expect(len(paths) >= 100, "fewer than 100 hostile paths")
    before = {path: fingerprint(path) for path in WATCHED}
    hosts = host_contents()
    with tempfile.TemporaryDirectory(prefix="vorn-hostile-") as workdir:
        tried = fs_phase(args.program, paths, workdir, before, hosts)
        serve_dir = os.path.join(workdir, "serve")
        os.makedirs(serve_dir)
        server = ListenServer(args.program, serve_dir)
        try:
            sent = wire_path_phase(server, paths, hosts)
            check_no_escape(before, serve_dir, ["device.img"])
            # Two rounds first, so that the allocator's pools and the
            # image's page cache reach their size (a 16 MiB packet raises
            # the C library's threshold for giving memory back).
            malformed_phase(server, conversations, 2 * len(conversations))
            rss_start = server.rss_kib()
            fds_start = server.descriptors()
            malformed_phase(server, conversations, args.count)
            good_conversation(server)
            rss_end = server.rss_kib()
            fds_end = server.descriptors()
        finally:
            status = server.stop()
        expect(status == 0, "server stopped with status %s" % status)
        check_no_escape(before, serve_dir, ["device.img"])
    print("paths: %d through fs, %d over the wire; malformed conversations: "
          "%d (%d kinds); RSS %d KiB -> %d KiB; descriptors %d -> %d" %
          (tried, sent, args.count, len(conversations), rss_start, rss_end,
           len(fds_start), len(fds_end)))
    expect(rss_end - rss_start <= args.rss_bound,
           "RSS grew by %d KiB" % (rss_end - rss_start))
    expect(fds_start == fds_end, "descriptors %s -> %s" % (fds_start,
                                                          fds_end))


if __name__ == "__main__":
    try:
        main()
    except TestFailure as failure:
        print("hostile_input_test: %s" % failure, file=sys.stderr)
        sys.exit(1)
