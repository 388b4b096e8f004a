#!/usr/bin/env python3
"""Mail end to end, checked with Python's own mail parsers.

Usage: mail_check.py BIN_DIR

Makes a handheld image with messages in several folders, attachments of
0, 1024, 2048 and 100,000 bytes (`vorn-device mail add`), then checks:
`vorn sync DIR` writes a Maildir++ tree that the `mailbox` package reads
with the same fields, flags and attachment bytes; `vorn get mail KEY
--format eml` gives a file the `email` package reads the same way; `vorn put
FILE.eml` adds a draft with its attachments; a file dropped into
DIR/mail/.Outbox/new/ reaches the handheld once and comes back as the
handheld's message; a message deleted on the handheld leaves the mirror.
"""
import email
import email.policy
import mailbox
import os
import pathlib
import subprocess
import sys
import tempfile

FAILURES = []


def run(*args):
    done = subprocess.run(args, capture_output=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, args))} failed: "
                 f"{done.stderr.decode(errors='replace').strip()}")
    return done.stdout


def expect(what, got, want):
    if got != want:
        FAILURES.append(f"{what}: {got!r} != {want!r}")


def addresses(message, name):
    header = message[name]
    if header is None:
        return ""
    return ";".join(a.addr_spec for a in header.addresses)


def subject(message):
    return str(email.message_from_bytes(message.as_bytes(),
                                        policy=email.policy.default)
               ["Subject"])


def check_message(what, message, want, files):
    """Compares a parsed message (email.message.EmailMessage) with `want`."""
    expect(f"{what} from", addresses(message, "From"), want["from"])
    expect(f"{what} to", addresses(message, "To"), want["to"])
    expect(f"{what} cc", addresses(message, "Cc"), want.get("cc", ""))
    expect(f"{what} subject", str(message["Subject"]), want["subject"])
    expect(f"{what} date", message["Date"].datetime.isoformat(),
           want["time"] + "+00:00")
    body = message.get_body(preferencelist=("plain",))
    text = body.get_content() if body is not None else ""
    expect(f"{what} body", text.rstrip("\n"), want["body"])
    got = [(a.get_filename(), a.get_content()) for a in
           message.iter_attachments()]
    expect(f"{what} attachments", [(n, len(d)) for n, d in got],
           [(n, len(files[n])) for n in want["attach"]])
    for (name, data), wanted in zip(got, want["attach"]):
        if data != files[wanted]:
            FAILURES.append(f"{what}: the bytes of {name} differ")


def main():
    bins = pathlib.Path(sys.argv[1])
    vorn, device = bins / "vorn", bins / "vorn-device"
    work = pathlib.Path(tempfile.mkdtemp(prefix="vorn-mail-"))
    image = work / "d.img"
    run(device, "init", image)
    files = {}
    for name, size in (("zero.bin", 0), ("one-k.dat", 1024),
                       ("two-k.dat", 2048), ("big.bin", 100000)):
        data = bytes((i * 7 + size) % 251 for i in range(size))
        (work / name).write_bytes(data)
        files[name] = data
    messages = [
        dict(folder="inbox", read=True, sub="", subject="Grüße aus Köln ☺",
             **{"from": "ann@example.org"}, to="me@example.org;bo@example.org",
             cc="cy@example.org", body="Hallo,\nbis bald.",
             time="2026-11-23T09:15:00",
             attach=["zero.bin", "two-k.dat", "big.bin"]),
        dict(folder="drafts", read=False, sub="Drafts", subject="Draft",
             **{"from": "me@example.org"}, to="ann@example.org", body="Soon",
             time="2026-11-22T18:00:00", attach=["one-k.dat"]),
        dict(folder="sent", read=True, sub="Sent", subject="Sent one",
             **{"from": "me@example.org"}, to="dee@example.org", body="Done",
             time="2026-11-21T07:30:05", attach=[]),
    ]
    for m in messages:
        args = [device, "mail", image, "add", "--folder", m["folder"],
                "--from", m["from"], "--to", m["to"], "--subject",
                m["subject"], "--body", m["body"], "--time", m["time"]]
        if m.get("cc"):
            args += ["--cc", m["cc"]]
        if m["read"]:
            args.append("--read")
        for name in m["attach"]:
            args += ["--attach", work / name]
        m["key"] = run(*args).decode().split()[0]

    # The Maildir++ mirror.
    mirror = work / "mirror"
    run(vorn, "--image", image, "sync", mirror)
    root = mailbox.Maildir(mirror / "mail", factory=None, create=False)
    expect("folders", sorted(root.list_folders()),
           ["Deleted", "Drafts", "Outbox", "Sent"])
    for m in messages:
        box = root if not m["sub"] else root.get_folder(m["sub"])
        found = [msg for msg in box if subject(msg) == m["subject"]]
        expect(f"{m['subject']} files", len(found), 1)
        if not found:
            continue
        expect(f"{m['subject']} read flag", "S" in found[0].get_flags(),
               m["read"])
        parsed = email.message_from_bytes(found[0].as_bytes(),
                                          policy=email.policy.default)
        check_message(f"maildir {m['subject']}", parsed, m, files)
    again = run(vorn, "--image", image, "sync", mirror).decode()
    if "written 0, unchanged 3" not in again:
        FAILURES.append(f"second sync rewrote mail: {again.strip()}")

    # vorn get mail --format eml, then vorn put of that file.
    eml = run(vorn, "--image", image, "get", "mail", messages[0]["key"],
              "--format", "eml")
    parsed = email.message_from_bytes(eml, policy=email.policy.default)
    check_message("eml", parsed, messages[0], files)
    (work / "m.eml").write_bytes(eml)
    key = run(vorn, "--image", image, "put", work / "m.eml").decode().strip()
    listing = run(device, "mail", image, "ls").decode().splitlines()
    row = [line.split("\t") for line in listing if line.startswith(key + "\t")]
    expect("put folder", row[0][1] if row else None, "drafts")
    copy = email.message_from_bytes(
        run(vorn, "--image", image, "get", "mail", key, "--format", "eml"),
        policy=email.policy.default)
    check_message("put back", copy, messages[0], files)

    # A file dropped into .Outbox/new/ goes to the handheld once.
    dropped = dict(messages[1], subject="Dropped", body="From the desktop")
    text = eml.replace(b"Subject: ", b"X-Old-Subject: ", 1)
    (mirror / "mail/.Outbox/new/dropped.eml").write_bytes(
        b"Subject: Dropped\n" + text)
    before = len(run(device, "mail", image, "ls").decode().splitlines())
    run(vorn, "--image", image, "sync", mirror)
    after = len(run(device, "mail", image, "ls").decode().splitlines())
    expect("messages after the drop", after, before + 1)
    expect("dropped file left", list((mirror / "mail/.Outbox/new").iterdir()),
           [])
    root = mailbox.Maildir(mirror / "mail", factory=None, create=False)
    copies = [msg for name in [None] + root.list_folders()
              for msg in (root if name is None else root.get_folder(name))
              if subject(msg) == dropped["subject"]]
    expect("mirrored copies of the dropped message", len(copies), 1)
    run(vorn, "--image", image, "sync", mirror)
    expect("messages after another sync",
           len(run(device, "mail", image, "ls").decode().splitlines()), after)

    # A message deleted on the handheld leaves the mirror.
    run(device, "mail", image, "rm", messages[2]["key"])
    run(vorn, "--image", image, "sync", mirror)
    sent = mailbox.Maildir(mirror / "mail", factory=None,
                           create=False).get_folder("Sent")
    expect("sent after the delete", len(list(sent)), 0)

    for failure in FAILURES:
        print(failure, file=sys.stderr)
    print(f"{0 if FAILURES else 1} passed, {1 if FAILURES else 0} failed")
    return 1 if FAILURES else 0


if __name__ == "__main__":
    sys.exit(main())
