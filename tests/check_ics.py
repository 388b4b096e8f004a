#!/usr/bin/env python3
"""Checks the iCalendar files the desktop writes with a parser of its own
(python3-icalendar), independent of libical, which wrote them.

usage: check_ics.py DIR [TEST_PROGRAM GTEST_FILTER]

With a test program, runs it first with VORN_ICS_OUT=DIR and the filter, so
that it writes its files into DIR. Then every DIR/*.ics must be one
VCALENDAR 2.0 with a PRODID whose events and to-dos carry the file's UID
(urn:uuid: of a version 5 UUID, the file named after it), a DTSTAMP, a
start for events, TZIDs that name a VTIMEZONE of the file, alarms with an
action and a trigger, and overrides (RECURRENCE-ID) of a series in the file.
"""
import os
import pathlib
import subprocess
import sys
import uuid

import icalendar


def fail(path, message):
    print(f"{path.name}: {message}", file=sys.stderr)
    return 1


def check(path):
    text = path.read_bytes()
    try:
        calendar = icalendar.Calendar.from_ical(text)
    except Exception as error:  # the parser's own complaint, whatever it is
        return fail(path, f"does not parse: {error}")
    if calendar.name != "VCALENDAR":
        return fail(path, "not a VCALENDAR")
    if str(calendar.get("VERSION")) != "2.0" or not calendar.get("PRODID"):
        return fail(path, "no VERSION 2.0 or no PRODID")
    zones = {str(z["TZID"]) for z in calendar.walk("VTIMEZONE")}
    items = [c for c in calendar.walk() if c.name in ("VEVENT", "VTODO")]
    if not items:
        return fail(path, "neither an event nor a to-do")
    masters = set()
    for item in items:
        uid = str(item.get("UID", ""))
        if not uid.startswith("urn:uuid:"):
            return fail(path, f"UID {uid!r} is not a urn:uuid:")
        value = uuid.UUID(uid[len("urn:uuid:"):])
        if value.version != 5 or path.stem != str(value):
            return fail(path, f"UID {uid} is not a version 5 UUID named by the file")
        if "DTSTAMP" not in item:
            return fail(path, f"{item.name} without DTSTAMP")
        if item.name == "VEVENT" and "DTSTART" not in item:
            return fail(path, "VEVENT without DTSTART")
        for name, value in item.property_items(recursive=False):
            tzid = getattr(value, "params", {}).get("TZID")
            if tzid is not None and tzid not in zones:
                return fail(path, f"{name} names zone {tzid} the file lacks")
        for alarm in item.walk("VALARM"):
            if "ACTION" not in alarm or "TRIGGER" not in alarm:
                return fail(path, "VALARM without ACTION or TRIGGER")
        if "RRULE" in item:
            rule = item["RRULE"]
            if not rule.get("FREQ"):
                return fail(path, "RRULE without FREQ")
        if "RECURRENCE-ID" not in item:
            masters.add(uid)
    for item in items:
        if "RECURRENCE-ID" in item and str(item["UID"]) not in masters:
            return fail(path, "an override without its series")
    return 0


def main():
    directory = pathlib.Path(sys.argv[1])
    if len(sys.argv) == 4:
        directory.mkdir(parents=True, exist_ok=True)
        for old in directory.glob("*.ics"):
            old.unlink()
        env = dict(os.environ, VORN_ICS_OUT=str(directory))
        subprocess.run([sys.argv[2], f"--gtest_filter={sys.argv[3]}"],
                       env=env, check=True, stdout=subprocess.DEVNULL)
    files = sorted(directory.glob("*.ics"))
    if not files:
        print(f"no .ics files in {directory}", file=sys.stderr)
        return 1
    failures = sum(check(path) for path in files)
    print(f"{len(files) - failures} of {len(files)} files are sound iCalendar")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
