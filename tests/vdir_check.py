#!/usr/bin/env python3
"""Checks a mirror made by `vorn sync` with an independent vCard parser.

Usage: vdir_check.py BIN_DIR

Makes a handheld image with a few contacts (`vorn-device`), mirrors it with
`vorn sync`, adds a card from elsewhere and syncs again, then checks with
python3-vobject that DIR/contacts/ is a valid vdir collection: every .vcf
file holds exactly one vCard that parses and has a UID, no two files share
a UID, and the collection has its displayname.
"""
import os
import subprocess
import sys
import tempfile

import vobject


def run(*args):
    done = subprocess.run(args, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(args)} failed: {done.stderr.strip()}")
    return done.stdout


def main():
    bins = sys.argv[1]
    vorn = os.path.join(bins, "vorn")
    device = os.path.join(bins, "vorn-device")
    with tempfile.TemporaryDirectory() as tmp:
        os.environ["XDG_CONFIG_HOME"] = os.path.join(tmp, "config")
        image = os.path.join(tmp, "h.img")
        mirror = os.path.join(tmp, "mirror")
        run(device, "init", image)
        for contact in (
            '{"FirstName":"Ada","LastName":"Lovelace","Email1Address":"ada@example.org"}',
            '{"CompanyName":"Caf\u00e9 M\u00fcller; & Co, Ltd","Body":"line one\\r\\nline two"}',
            '{"FirstName":"' + "x" * 120 + '","Birthday":"1990-05-17","WebPage":"https://example.org/a,b"}',
            '{"HomeAddressStreet":"1 Main St\\r\\nFlat 2","HomeAddressCity":"Springfield"}',
        ):
            run(device, "pim", image, "add", "contacts", contact)
        run(vorn, "--image", image, "sync", mirror)
        foreign = os.path.join(mirror, "contacts", "from-elsewhere.vcf")
        with open(foreign, "w", newline="") as f:
            f.write("BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Grace Hopper\r\n"
                    "N:Hopper;Grace;;;\r\nPHOTO;ENCODING=b;TYPE=PNG:iVBORw0KGgo=\r\n"
                    "X-OTHER-APP:kept\r\nEND:VCARD\r\n")
        run(vorn, "--image", image, "sync", mirror)

        collection = os.path.join(mirror, "contacts")
        problems = []
        if not os.path.isfile(os.path.join(collection, "displayname")):
            problems.append("no displayname file")
        uids = {}
        cards = 0
        for name in sorted(os.listdir(collection)):
            if not name.endswith(".vcf"):
                continue
            cards += 1
            with open(os.path.join(collection, name), encoding="utf-8") as f:
                text = f.read()
            try:
                items = list(vobject.readComponents(text))
            except Exception as error:  # the parser's own exceptions vary
                problems.append(f"{name}: does not parse: {error}")
                continue
            if len(items) != 1 or items[0].name != "VCARD":
                problems.append(f"{name}: {len(items)} items, not one vCard")
                continue
            card = items[0]
            if "uid" not in card.contents:
                problems.append(f"{name}: no UID")
                continue
            uid = card.uid.value
            if uid in uids:
                problems.append(f"{name}: UID {uid} also in {uids[uid]}")
            uids[uid] = name
            if "fn" not in card.contents:
                problems.append(f"{name}: no FN")
        if cards != 5:
            problems.append(f"{cards} cards, expected 5")
        with open(foreign, encoding="utf-8") as f:
            if "X-OTHER-APP:kept" not in f.read():
                problems.append("the foreign card lost its own property")
        for problem in problems:
            print(problem, file=sys.stderr)
        if problems:
            return 1
        print(f"{cards} cards parse, each with its own UID")
        return 0


if __name__ == "__main__":
    sys.exit(main())
