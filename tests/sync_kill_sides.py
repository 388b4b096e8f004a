"""The two sides of tests/sync_kill_durability.py: the handheld's user
(edits through `vorn-device pim`, `notes` and `fs` on the image) and the
directory's user (files written in our own formats), and what each side
holds, read back with vorn-device's listings and, for the files, with
python3-vobject and python3-icalendar.

Every item carries a tag that never changes (a contact's last name, an
appointment's location, a task's category, a note's title) and a few
fields that the edits change."""

import json
import os
import subprocess

import icalendar
import vobject

from listen_server import expect


class Kind:
    def __init__(self, name, folder, ext, key, fields, extra):
        self.name = name
        self.folder = folder
        self.ext = ext
        self.key = key          # the handheld property holding the tag
        self.fields = fields    # the properties edits change
        self.extra = extra      # fixed properties of a new handheld item


KINDS = (
    Kind("contacts", "contacts", ".vcf", "LastName",
         ("FirstName", "JobTitle"), {}),
    Kind("appointments", "calendar", ".ics", "Location", ("Subject", "Body"),
         {"Start": "2026-12-01T10:00:00", "End": "2026-12-01T11:00:00"}),
    Kind("tasks", "tasks", ".ics", "Categories", ("Subject", "Body"),
         {"DueDate": "2026-12-03"}),
    Kind("notes", "notes", ".txt", "Title", ("Text",), {}),
)


def note_path(tag):
    return "\\My Documents\\%s.pwi" % tag


class Handheld:
    """The handheld's user, on the image the server serves."""

    def __init__(self, bin_dir, image):
        self.device = os.path.join(bin_dir, "vorn-device")
        self.image = image

    def run(self, *args):
        done = subprocess.run([self.device, args[0], self.image] +
                              list(args[1:]), capture_output=True, text=True,
                              check=False)
        expect(done.returncode == 0, "vorn-device %s: %s" %
               (" ".join(args), done.stderr.strip()))
        return done.stdout

    def listing(self, kind):
        """{tag: [(oid, {field: value})]}, one entry per item."""
        if kind.name == "notes":
            items = json.loads(self.run("notes", "ls", "--json"))
        else:
            items = json.loads(self.run("pim", "ls", kind.name, "--json"))
        found = {}
        for item in items:
            fields = {field: item.get(field, "") for field in kind.fields}
            found.setdefault(item.get(kind.key, ""), []).append(
                (item["Oid"], fields))
        return found

    def add(self, kind, tag, fields):
        if kind.name == "notes":
            self.run("notes", "add", tag, fields["Text"])
            return
        record = dict(kind.extra, **fields)
        record[kind.key] = tag
        self.run("pim", "add", kind.name, json.dumps(record))

    def change(self, kind, tag, oid, fields):
        if kind.name == "notes":
            # The handheld writes a changed note anew.
            self.run("fs", "rm", note_path(tag))
            self.run("notes", "add", tag, fields["Text"])
            return
        self.run("pim", "set", kind.name, str(oid), json.dumps(fields))

    def delete(self, kind, tag, oid):
        if kind.name == "notes":
            self.run("fs", "rm", note_path(tag))
        else:
            self.run("pim", "delete", kind.name, str(oid))


def card_text(uid, tag, fields):
    return ("BEGIN:VCARD\r\nVERSION:4.0\r\nUID:%s\r\nFN:%s %s\r\n"
            "N:%s;%s;;;\r\nTITLE:%s\r\nEND:VCARD\r\n" %
            (uid, fields["FirstName"], tag, tag, fields["FirstName"],
             fields["JobTitle"]))


def calendar_text(kind, uid, tag, fields):
    if kind.name == "appointments":
        body = ("BEGIN:VEVENT\r\nUID:%s\r\nSUMMARY:%s\r\nLOCATION:%s\r\n"
                "DESCRIPTION:%s\r\nDTSTART:20261201T100000\r\n"
                "DTEND:20261201T110000\r\nDTSTAMP:20261123T120000Z\r\n"
                "END:VEVENT\r\n" % (uid, fields["Subject"], tag,
                                    fields["Body"]))
    else:
        body = ("BEGIN:VTODO\r\nUID:%s\r\nSUMMARY:%s\r\nCATEGORIES:%s\r\n"
                "DESCRIPTION:%s\r\nDUE;VALUE=DATE:20261203\r\n"
                "DTSTAMP:20261123T120000Z\r\nEND:VTODO\r\n" %
                (uid, fields["Subject"], tag, fields["Body"]))
    return ("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Vorn tests//EN\r\n" +
            body + "END:VCALENDAR\r\n")


def text_of(component, name):
    value = component.get(name)
    if value is None:
        return ""
    if isinstance(value, icalendar.prop.vCategory):
        return ",".join(str(cat) for cat in value.cats)
    return str(value)


def parse_file(kind, text):
    """(uid, tag, fields) of one file; raises on a file that does not hold
    exactly one item."""
    if kind.name == "notes":
        return None, None, {"Text": text}
    if kind.name == "contacts":
        cards = list(vobject.readComponents(text))
        expect(len(cards) == 1, "%d cards" % len(cards))
        card = cards[0]
        name = card.n.value
        family, given = ((name.family, name.given) if not isinstance(
            name, str) else name.split(";")[:2])
        title = card.title.value if hasattr(card, "title") else ""
        return card.uid.value, family, {"FirstName": given,
                                        "JobTitle": title}
    calendar = icalendar.Calendar.from_ical(text)
    items = calendar.walk("VEVENT" if kind.name == "appointments" else
                          "VTODO")
    expect(len(items) == 1, "%d items" % len(items))
    item = items[0]
    tag = text_of(item, "LOCATION" if kind.name == "appointments" else
                  "CATEGORIES")
    return (text_of(item, "UID"), tag, {"Subject": text_of(item, "SUMMARY"),
                                        "Body": text_of(item, "DESCRIPTION")})


class Mirror:
    """The directory's user."""

    def __init__(self, root):
        self.root = root

    def folder(self, kind):
        return os.path.join(self.root, kind.folder)

    def listing(self, kind):
        """({tag: [(path, uid, fields)]}, [files that are no item])."""
        found, strays = {}, []
        folder = self.folder(kind)
        names = sorted(os.listdir(folder)) if os.path.isdir(folder) else []
        for name in names:
            path = os.path.join(folder, name)
            if name == "displayname":
                continue
            if not name.endswith(kind.ext) or name.startswith("."):
                strays.append(path)
                continue
            with open(path, encoding="utf-8", newline="") as file:
                text = file.read()
            try:
                uid, tag, fields = parse_file(kind, text)
            except Exception as error:  # noqa: any parser error
                strays.append("%s (%s)" % (path, error))
                continue
            if kind.name == "notes":
                tag = name[:-len(kind.ext)]
            found.setdefault(tag, []).append((path, uid, fields))
        return found, strays

    def write(self, kind, tag, fields, path=None, uid=None):
        """A new file (`path` None; `uid` a fresh one) or a rewrite of
        `path` keeping its `uid`."""
        if kind.name == "notes":
            text = fields["Text"]
            path = path or os.path.join(self.folder(kind), tag + ".txt")
        else:
            path = path or os.path.join(self.folder(kind),
                                        "%s%s" % (uid[9:], kind.ext))
            text = (card_text(uid, tag, fields) if kind.name == "contacts"
                    else calendar_text(kind, uid, tag, fields))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8", newline="") as file:
            file.write(text)
