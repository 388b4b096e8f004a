#!/usr/bin/env python3
"""Checks the bash completion of vorn and vorn-device as bash runs it.

Loads bash-completion and our scripts into a bash, fills COMP_WORDS as bash
does for a typed line, calls the completion function and compares what it
offers. Also checks that every command each program lists in --help, and
every option each command lists in its --help, is offered, so the scripts
cannot fall behind the programs.

    completion_test.py SOURCE_DIR BIN_DIR
"""

import os
import re
import subprocess
import sys
import tempfile

SOURCE, BIN = sys.argv[1], os.path.abspath(sys.argv[2])
FRAMEWORK = "/usr/share/bash-completion/bash_completion"
failures = []


def complete(line):
    """What bash offers for `line` (the cursor at its end)."""
    words = line.split(" ")
    program = words[0]
    function = "_vorn" if program == "vorn" else "_vorn_device"
    words[0] = os.path.join(BIN, program)
    script = "\n".join([
        f"source {FRAMEWORK}",
        f"source {SOURCE}/packaging/bash-completion/{program}",
        "COMP_WORDS=(" + " ".join(f"'{w}'" for w in words) + ")",
        f"COMP_CWORD={len(words) - 1}",
        f"COMP_LINE='{' '.join(words)}'",
        f"COMP_POINT={len(' '.join(words))}",
        f"{function} {program} '{words[-1]}' '{words[-2]}'",
        'printf "%s\\n" "${COMPREPLY[@]}"',
    ])
    out = subprocess.run(["bash", "-c", script], capture_output=True,
                         text=True, check=True).stdout
    return [w for w in out.split("\n") if w]


def expect(line, wanted, exact=False):
    got = complete(line)
    ok = sorted(got) == sorted(wanted) if exact else set(wanted) <= set(got)
    if not ok:
        failures.append(f"{line!r}: wanted {wanted}, got {got}")


def help_of(program, *args):
    result = subprocess.run([os.path.join(BIN, program), *args, "--help"],
                            capture_output=True, text=True)
    return result.stdout + result.stderr


def listed_commands(program):
    text = help_of(program)
    match = re.search(r"\n(commands|Subcommands|SUBCOMMANDS):\n(.*?)(\n\n|$)",
                      text, re.S)
    assert match, f"{program} --help lists no commands"
    return sorted({m.group(1) for m in
                   re.finditer(r"^  ([a-z][a-z-]*)", match.group(2), re.M)})


def main():
    expect("vorn sy", ["sync"], exact=True)
    expect("vorn --image d.img sy", ["sync"], exact=True)
    expect("vorn count ", ["contacts", "appointments", "tasks", "mail",
                           "notes"], exact=True)
    expect("vorn get c", ["contacts"], exact=True)
    expect("vorn get --", ["--vcard", "--json", "--image", "--device"])
    expect("vorn-device f", ["fault", "fs"], exact=True)
    expect("vorn-device fs d.img ", ["put", "get", "ls", "rm", "attrib"],
           exact=True)
    expect("vorn-device pim d.img add ", ["contacts", "appointments",
                                          "tasks"])
    with tempfile.TemporaryDirectory() as scratch:
        image = os.path.join(scratch, "d.img")
        subprocess.run([os.path.join(BIN, "vorn-device"), "init", image],
                       check=True)
        faults = subprocess.run(
            [os.path.join(BIN, "vorn-device"), "fault", image, "list"],
            capture_output=True, text=True, check=True).stdout
        names = [line.split("\t")[0] for line in faults.splitlines()]
        if len(names) < 3:
            failures.append(f"too few faults listed: {names}")
        expect(f"vorn-device fault {image} set ", names, exact=True)
        expect(f"vorn-device fault {image} set log", ["logon-fails"],
               exact=True)

    for program in ("vorn", "vorn-device"):
        commands = listed_commands(program)
        expect(f"{program} ", commands)
        for command in commands:
            options = sorted(set(re.findall(r"(?<![\w-])(--[a-z][a-z-]+)",
                                            help_of(program, command))))
            options = [o for o in options if o != "--help"]
            image = " d.img" if program == "vorn-device" else ""
            got = complete(f"{program} {command}{image} --")
            missing = [o for o in options if o not in got]
            if missing:
                failures.append(f"{program} {command}: {missing} not offered")

    for failure in failures:
        print("FAILED:", failure)
    print(f"completion: {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
