#!/usr/bin/env python3
"""Checks the mail files the desktop writes with a parser of its own
(Python's email package), independent of GMime, which wrote them.

usage: check_eml.py DIR [TEST_PROGRAM GTEST_FILTER]

With a test program, runs it first with VORN_MAIL_OUT=DIR and the filter, so
that it writes its files into DIR. Then every DIR/NAME.eml must show the
fields of DIR/NAME.json: the addresses of From, To, Cc and Bcc (the json's
lists joined by ";"), Subject, Date, Message-ID, the plain text body and the
attachments' file names and bytes, in order.
"""
import email
import email.policy
import json
import os
import pathlib
import subprocess
import sys


def addresses(message, name):
    header = message[name]
    if header is None:
        return ""
    return ";".join(a.addr_spec for a in header.addresses)


def check(path, want):
    message = email.message_from_bytes(path.read_bytes(),
                                       policy=email.policy.default)
    problems = []

    def expect(what, got, expected):
        if got != expected:
            problems.append(f"{what}: {got!r} != {expected!r}")

    for name in ("from", "to", "cc", "bcc"):
        expect(name, addresses(message, name.capitalize()), want[name])
    expect("subject", str(message["Subject"]), want["subject"])
    expect("date", message["Date"].datetime.isoformat(), want["date"])
    expect("message id", str(message["Message-ID"]), want["message_id"])
    body = message.get_body(preferencelist=("plain",))
    text = body.get_content() if body is not None else ""
    if text.endswith("\n"):
        text = text[:-1]  # the part's own line end
    expect("body", text, want["body"])
    attachments = list(message.iter_attachments())
    expect("attachment count", len(attachments), len(want["attachments"]))
    for got, expected in zip(attachments, want["attachments"]):
        expect("attachment name", got.get_filename(), expected["name"])
        expect(f"bytes of {expected['name']}", got.get_content().hex(),
               expected["hex"])
    if attachments and message.get_content_type() != "multipart/mixed":
        problems.append(f"content type {message.get_content_type()}")
    for problem in problems:
        print(f"{path.name}: {problem}", file=sys.stderr)
    return 1 if problems else 0


def main():
    directory = pathlib.Path(sys.argv[1])
    if len(sys.argv) > 2:
        directory.mkdir(parents=True, exist_ok=True)
        for old in directory.glob("*"):
            old.unlink()
        env = dict(os.environ, VORN_MAIL_OUT=str(directory))
        subprocess.run([sys.argv[2], f"--gtest_filter={sys.argv[3]}"],
                       env=env, check=True, stdout=subprocess.DEVNULL)
    files = sorted(directory.glob("*.eml"))
    if not files:
        print("no mail files written", file=sys.stderr)
        return 1
    failures = 0
    for path in files:
        want = json.loads(path.with_suffix(".json").read_text())
        failures += check(path, want)
    print(f"{len(files) - failures} passed, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
