#!/usr/bin/env python3
"""`vorn sync` killed with SIGKILL: one handheld image, served by
`vorn-device serve --listen`, mirrored two-way into a directory. Each
trial the handheld's user and the directory's user edit contacts,
appointments, tasks and notes (adds, changes, deletes), then `vorn sync`
is started and killed after a random delay (most runs incremental; a run
with a fresh partner, and every run after a cut full one, compares
everything). Every --check-every trials (default 10) and at the end a run that is left
alone must succeed, and then both sides must hold every item that was made
and not deleted exactly once, with the last value written to each field;
nothing deleted may come back and no other item may show up.

An item is edited only by the side that owns it (the one that made it,
reassigned at random after each check), so no run meets a conflict.

Usage: sync_kill_durability.py BIN_DIR [--trials N] [--seed S]
                               [--check-every K]

Prints one line per data type and the figures; exits 1 unless there are
no divergences.
"""

import argparse
import os
import random
import sqlite3
import subprocess
import sys
import tempfile
import time
import uuid

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from listen_server import ListenServer, TestFailure, expect  # noqa
from sync_kill_sides import KINDS, Handheld, Mirror  # noqa

SEED_ITEMS = 5
SIDES = ("handheld", "dir")
RUN_AND_KINDS = ("runs",) + tuple(kind.name for kind in KINDS)


class Item:
    def __init__(self, tag, fields, owner):
        self.tag = tag
        self.fields = fields
        self.owner = owner
        self.deleted = False


class Tally:
    def __init__(self):
        self.trials = 0
        self.mid_run = 0
        self.killed = {"full": 0, "incremental": 0}
        self.finished = 0
        self.edits = {kind.name: {"add": 0, "change": 0, "delete": 0}
                      for kind in KINDS}
        # Failed runs count under "runs".
        self.divergences = {name: {} for name in RUN_AND_KINDS}

    def diverged(self, kind, what, message):
        counts = self.divergences[kind]
        counts[what] = counts.get(what, 0) + 1
        print("divergence after trial %d: %s: %s: %s" %
              (self.trials, kind, what, message))

    def total(self):
        return sum(sum(counts.values())
                   for counts in self.divergences.values())


class Run:
    """The image, its server, the mirror and the model of both."""

    def __init__(self, args, workdir):
        self.args = args
        self.rng = random.Random(args.seed)
        self.vorn = os.path.join(args.bin_dir, "vorn")
        self.server = ListenServer(os.path.join(args.bin_dir, "vorn-device"),
                                   workdir, "SYNCKILL")
        self.address = "%s:%d" % self.server.address
        self.handheld = Handheld(args.bin_dir, self.server.image)
        self.dir = os.path.join(workdir, "mirror")
        self.mirror = Mirror(self.dir)
        self.model = {kind.name: {} for kind in KINDS}
        self.made = 0
        self.seconds = {}
        self.tally = Tally()

    def sync(self, extra=()):
        return subprocess.Popen([self.vorn, "--device", self.address, "sync",
                                 self.dir] + list(extra),
                                stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL,
                                stderr=subprocess.PIPE, text=True)

    def clean_sync(self, kind_of_run):
        started = time.monotonic()
        process = self.sync()
        _, err = process.communicate()
        expect(process.returncode == 0, "a run left alone failed: %s" %
               err.strip())
        took = time.monotonic() - started
        self.seconds[kind_of_run] = max(self.seconds.get(kind_of_run, 0),
                                        took)

    def pending_full(self):
        """Whether the next run compares everything (a cut full run)."""
        try:
            with sqlite3.connect("file:%s?mode=ro" % os.path.join(
                    self.dir, ".vorn-sync.db"), uri=True) as db:
                rows = db.execute("SELECT value FROM meta WHERE key = "
                                  "'full_mirror_pending'").fetchall()
            db.close()
        except sqlite3.Error:
            return True
        return rows == [] or rows[0][0] != 0

    def new_uid(self):
        return "urn:uuid:%s" % uuid.UUID(int=self.rng.getrandbits(128),
                                         version=4)

    def add(self, kind, side, label):
        self.made += 1
        tag = "%s%d" % (kind.name[0], self.made)
        fields = {field: "%s %s %s" % (tag, field, label)
                  for field in kind.fields}
        if side == "handheld":
            self.handheld.add(kind, tag, fields)
        elif kind.name == "notes":
            self.mirror.write(kind, tag, fields)
        else:
            self.mirror.write(kind, tag, fields, uid=self.new_uid())
        self.model[kind.name][tag] = Item(tag, fields, side)
        self.tally.edits[kind.name]["add"] += 1

    def edit(self, kind, side, number):
        """One round of the side's user on the items it owns."""
        rng = self.rng
        if side == "handheld":
            found = self.handheld.listing(kind)
        else:
            found, _ = self.mirror.listing(kind)
        mine = [item for item in self.model[kind.name].values()
                if item.owner == side and not item.deleted and
                len(found.get(item.tag, [])) == 1]
        rng.shuffle(mine)
        label = "%d%s" % (number, side[0])
        if mine and rng.random() < 0.8:
            item = mine.pop()
            changed = [f for f in kind.fields if rng.random() < 0.7] or [
                rng.choice(kind.fields)]
            for field in changed:
                item.fields[field] = "%s %s %s" % (item.tag, field, label)
            entry = found[item.tag][0]
            if side == "handheld":
                self.handheld.change(kind, item.tag, entry[0],
                                     {f: item.fields[f] for f in changed})
            else:
                self.mirror.write(kind, item.tag, item.fields, entry[0],
                                  entry[1])
            self.tally.edits[kind.name]["change"] += 1
        if mine and rng.random() < 0.25:
            item = mine.pop()
            where = found[item.tag][0][0]
            if side == "handheld":
                self.handheld.delete(kind, item.tag, where)
            else:
                os.remove(where)
            item.deleted = True
            self.tally.edits[kind.name]["delete"] += 1
        if rng.random() < 0.7:
            self.add(kind, side, label)

    def kill_a_run(self, number):
        rng = self.rng
        extra = []
        if rng.random() < 0.12:
            extra = ["--partner", "synckill-%d-%d" % (self.args.seed, number)]
        full = bool(extra) or self.pending_full()
        kind_of_run = "full" if full else "incremental"
        typical = self.seconds[kind_of_run]
        process = self.sync(extra)
        time.sleep(rng.uniform(0, 1.2 * typical))
        if process.poll() is None:
            process.kill()
            self.tally.mid_run += 1
            self.tally.killed[kind_of_run] += 1
            process.communicate()
        else:
            self.tally.finished += 1
            _, err = process.communicate()
            if process.returncode != 0:
                self.tally.diverged("runs", "failed run", "expected status 0, "
                                    "found %d: %s" % (process.returncode,
                                                      err.strip()))
        # The server finishes the cut conversation before the next edits.
        subprocess.run([self.vorn, "--device", self.address, "info"],
                       capture_output=True, check=False)

    def trial(self, number):
        for kind in KINDS:
            for side in SIDES:
                self.edit(kind, side, number)
        self.kill_a_run(number)
        self.tally.trials += 1

    def check(self):
        """Both sides against the model, after a run left alone."""
        self.clean_sync("full" if self.pending_full() else "incremental")
        for kind in KINDS:
            sides = {"handheld": self.handheld.listing(kind)}
            sides["dir"], strays = self.mirror.listing(kind)
            for stray in strays:
                self.tally.diverged(kind.name, "stray file", "expected only "
                                    "items and displayname, found " + stray)
            for item in self.model[kind.name].values():
                self.check_item(kind, item, sides)
            for side, found in sides.items():
                for tag in sorted(set(found) - set(self.model[kind.name])):
                    self.tally.diverged(kind.name, "unknown item", "%s: "
                                        "found %r" % (side, found[tag]))
            for item in self.model[kind.name].values():
                item.owner = self.rng.choice(SIDES)

    def check_item(self, kind, item, sides):
        seen = {side: sides[side].get(item.tag, []) for side in SIDES}
        if item.deleted:
            for side in SIDES:
                if seen[side]:
                    self.tally.diverged(kind.name, "resurrected", "%s: %s "
                                        "was deleted, found %r" %
                                        (side, item.tag, seen[side]))
            return
        for side in SIDES:
            if len(seen[side]) != 1:
                self.tally.diverged(
                    kind.name, "lost" if not seen[side] else "duplicate",
                    "%s: %s expected once with %r, found %r" %
                    (side, item.tag, item.fields, seen[side]))
        fields = {side: seen[side][0][-1] for side in SIDES if seen[side]}
        for side, found in fields.items():
            if found != item.fields:
                other = fields.get(SIDES[1 - SIDES.index(side)])
                what = "mismatch" if other == item.fields else "lost edit"
                self.tally.diverged(kind.name, what, "%s: %s expected %r, "
                                    "found %r" % (side, item.tag,
                                                  item.fields, found))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin_dir")
    parser.add_argument("--trials", type=int, default=200)
    parser.add_argument("--seed", type=int,
                        default=int(time.time()) % 1000000)
    parser.add_argument("--check-every", type=int, default=10)
    args = parser.parse_args()
    args.bin_dir = os.path.abspath(args.bin_dir)
    started = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="vorn-sync-kill-") as workdir:
        os.environ["XDG_CONFIG_HOME"] = os.path.join(workdir, "config")
        run = Run(args, workdir)
        try:
            for kind in KINDS:
                for side in SIDES:
                    for _ in range(SEED_ITEMS):
                        run.add(kind, side, "seed")
            run.clean_sync("full")
            for kind in KINDS:
                for side in SIDES:
                    run.edit(kind, side, 0)
            run.clean_sync("incremental")
            for number in range(1, args.trials + 1):
                run.trial(number)
                if number % args.check_every == 0 or number == args.trials:
                    run.check()
        finally:
            status = run.server.stop()
        expect(status == 0, "the server stopped with status %s" % status)
    report(run, args, time.monotonic() - started)


def report(run, args, seconds):
    tally = run.tally
    for kind in KINDS:
        items = run.model[kind.name].values()
        edits = tally.edits[kind.name]
        counts = tally.divergences[kind.name]
        print("%s: %d items, %d deleted; %d adds, %d changes, %d deletes; "
              "divergences %d%s" %
              (kind.name, sum(not item.deleted for item in items),
               sum(item.deleted for item in items), edits["add"],
               edits["change"], edits["delete"], sum(counts.values()),
               "".join(" (%s %d)" % pair for pair in sorted(counts.items()))))
    kinds = {}
    for counts in tally.divergences.values():
        for what, count in counts.items():
            kinds[what] = kinds.get(what, 0) + count
    print("sync kill durability (seed %d): %d trials in %.0f s (a run left "
          "alone: full %.0f ms, incremental %.0f ms); %d killed while "
          "running (full %d, incremental %d), %d finished first; "
          "divergences %d%s" %
          (args.seed, tally.trials, seconds, run.seconds["full"] * 1000,
           run.seconds["incremental"] * 1000, tally.mid_run,
           tally.killed["full"], tally.killed["incremental"], tally.finished,
           tally.total(),
           "".join(" (%s %d)" % pair for pair in sorted(kinds.items()))))
    expect(tally.total() == 0, "divergences")


if __name__ == "__main__":
    try:
        main()
    except TestFailure as failure:
        print("sync_kill_durability: %s" % failure, file=sys.stderr)
        sys.exit(1)
