"""The writes of tests/crash_durability.py: a conversation of contact
adds, updates, batch writes, deletes, file appends and contract calls,
each packet with what it changes, and the checks that tell, from what a
restarted handheld shows, whether each packet's change is wholly there,
wholly absent or mixed."""

import struct

from listen_server import counted, frame

CONTACTS = 1
FILE_PATH = "\\crash.dat"
CONTRACT = "desk"
# Contact fields written: company holds the record's tag and never
# changes; the others change with each version. A body of 4096
# characters or more is kept beside the record (a second write).
TAG_FIELD = 4
VERSION_FIELDS = (31, 33, 6, 50)
LONG_BODY = 4100


def contact_fields(tag, version, long_body):
    body = "%s v%d body " % (tag, version)
    body = body * (LONG_BODY // len(body) + 1) if long_body else body
    return {TAG_FIELD: tag, 31: "%s-first-v%d" % (tag, version),
            33: "%s-last-v%d" % (tag, version),
            6: "%s.v%d@example.org" % (tag, version), 50: body}


def record_bytes(fields):
    data = struct.pack("<I", len(fields))
    for field_id, text in sorted(fields.items()):
        data += struct.pack("<I", field_id) + counted(text)
    return data


def add_packet(fields):
    return bytes([2, CONTACTS]) + struct.pack("<I", 0) + record_bytes(fields)


def update_packet(oid, fields):
    return bytes([3, CONTACTS]) + struct.pack("<I", oid) + record_bytes(fields)


def batch_packet(items):
    """items: (oid or 0 for an add, fields)."""
    data = bytes([15, CONTACTS]) + struct.pack("<I", len(items))
    for oid, fields in items:
        data += bytes([2 if oid == 0 else 3, CONTACTS]) + struct.pack(
            "<I", oid) + record_bytes(fields)
    return data


def delete_packet(oids):
    return bytes([17, CONTACTS]) + struct.pack(
        "<I%dI" % len(oids), len(oids), *oids)


def append_packet(data):
    return (bytes([18, CONTACTS]) + counted(FILE_PATH) +
            struct.pack("<II", 0, len(data)) + data)


def contract_packet(command, name):
    return bytes([command, CONTACTS]) + counted(name)


END = bytes([1, CONTACTS])


class Write:
    """One packet of the conversation and the change it makes.

    tags: {tag: fields before, fields after} (None: no record);
    chunk: the bytes appended to the file; contract: a name added;
    marks: True when the packet moves the contract's mark."""

    def __init__(self, kind, packet, tags=None, chunk=None, contract=None,
                 marks=False):
        self.kind = kind
        self.packet = packet
        self.tags = tags or {}
        self.chunk = chunk
        self.contract = contract
        self.marks = marks

    def reply_ok(self, reply):
        if self.kind in ("add", "update"):
            return len(reply) >= 10 and reply[0] == 1
        if self.kind == "batch":
            return (len(reply) == 10 * len(self.tags) and
                    all(reply[i] == 1 for i in range(0, len(reply), 10)))
        if self.kind == "delete":
            return len(reply) == 4 * len(self.tags)
        if self.kind == "append":
            return len(reply) == 6 and reply[0] == 1
        return reply == bytes([1, 0])


class Plan:
    """A random conversation over the records of the base image. Every
    record is touched by at most one packet, so that each packet's change
    can be told apart; `witness` is never touched (it shows whether the
    contract's mark moved)."""

    def __init__(self, rng, base_records, base_file, trial):
        self.writes = []
        self.base_file = base_file
        untouched = [tag for tag in base_records if tag != "witness"]
        rng.shuffle(untouched)
        added = 0
        count = rng.randint(6, 14)
        mark_at = rng.randrange(count)
        for index in range(count):
            kind = rng.choice(("add", "update", "batch", "delete", "append",
                               "append", "contract"))
            if index == mark_at:
                kind = "mark"
            if kind in ("update", "delete") and not untouched:
                kind = "add"
            if kind == "add":
                added += 1
                tag = "t%d-n%d" % (trial, added)
                after = contact_fields(tag, 0, rng.random() < 0.3)
                self.writes.append(Write("add", add_packet(after),
                                         {tag: (None, after)}))
            elif kind == "update":
                tag = untouched.pop()
                before = base_records[tag][1]
                after = contact_fields(tag, 1, rng.random() < 0.3)
                self.writes.append(Write(
                    "update", update_packet(base_records[tag][0], after),
                    {tag: (before, after)}))
            elif kind == "batch":
                items, tags = [], {}
                for _ in range(rng.randint(2, 4)):
                    if untouched and rng.random() < 0.5:
                        tag = untouched.pop()
                        after = contact_fields(tag, 1, rng.random() < 0.2)
                        items.append((base_records[tag][0], after))
                        tags[tag] = (base_records[tag][1], after)
                    else:
                        added += 1
                        tag = "t%d-n%d" % (trial, added)
                        after = contact_fields(tag, 0, rng.random() < 0.2)
                        items.append((0, after))
                        tags[tag] = (None, after)
                self.writes.append(Write("batch", batch_packet(items), tags))
            elif kind == "delete":
                tags = {}
                for _ in range(min(len(untouched), rng.randint(1, 3))):
                    tag = untouched.pop()
                    tags[tag] = (base_records[tag][1], None)
                oids = [base_records[tag][0] for tag in tags]
                self.writes.append(Write("delete", delete_packet(oids), tags))
            elif kind == "append":
                number = len([w for w in self.writes if w.chunk is not None])
                chunk = (b"<%d.%d:" % (trial, number)) * rng.randint(1, 600)
                write = Write("append", append_packet(chunk), chunk=chunk)
                write.chunk_index = number
                self.writes.append(write)
            elif kind == "contract":
                name = "desk-%d-%d" % (trial, index)
                self.writes.append(Write(
                    "contract", contract_packet(8, name), contract=name))
            else:
                self.writes.append(Write(
                    "mark", contract_packet(12, CONTRACT), marks=True))

    def frames(self):
        return [frame(w.packet) for w in self.writes] + [frame(END)]

    def file_states(self):
        """Every file content a prefix of the appends can leave."""
        states = [self.base_file]
        for write in self.writes:
            if write.chunk is not None:
                states.append(states[-1] + write.chunk)
        return states


def judge(write, seen):
    """'present', 'absent' or 'mixed': whether `seen` (what the restarted
    handheld shows) holds this packet's change."""
    outcomes = set()
    for tag, (before, after) in write.tags.items():
        record = seen.records.get(tag)
        if record == after:
            outcomes.add("present")
        elif record == before:
            outcomes.add("absent")
        else:
            return "mixed"
    if write.chunk is not None:
        outcomes.add("present" if write.chunk_index < seen.chunks else
                     "absent")
    if write.contract is not None:
        outcomes.add("present" if write.contract in seen.contracts else
                     "absent")
    if write.marks:
        outcomes.add("absent" if seen.witness_listed else "present")
    if len(outcomes) != 1:
        return "mixed"
    return outcomes.pop()
