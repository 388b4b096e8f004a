#!/usr/bin/env python3
"""Runs every example command of README.md, in order, as a new user would.

Every fenced block whose info string is exactly `sh` is run; blocks marked
`sh norun` are not (the two set-up commands, which CI runs itself, and the
benchmark, which builds a release tree). The blocks run as one bash script,
line by line with `set -e -o pipefail`, in a scratch directory that holds
what a reader has at hand: `build/default/bin` (a link to the programs under
test) and the sample `contacts.json`, plus a small `a.txt`. Each fixed port of
the examples is swapped for a free one, a server started in the background
is waited for before the next line, and every background job is stopped at
the end. The test fails on the first command that fails and names it.

    readme_examples.py SOURCE_DIR BIN_DIR
"""

import os
import re
import shlex
import shutil
import socket
import subprocess
import sys
import tempfile

# Loopback ports the examples name; each is swapped for a free one.
README_PORT_PATTERN = r"127\.0\.0\.1:(\d{4,5})"


def runnable_blocks(readme):
    blocks = []
    current = None
    for line in readme.splitlines():
        fence = re.match(r"^```(.*)$", line)
        if fence and current is None:
            current = [] if fence.group(1).strip() == "sh" else False
            continue
        if fence:
            if current:
                blocks.append(current)
            current = None
            continue
        if current is not None and current is not False:
            current.append(line)
    return blocks


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def script_for(blocks):
    lines = [
        "set -e -o pipefail",
        "trap 'echo \"README example failed: $BASH_COMMAND\" >&2' ERR",
        "trap 'kill $(jobs -p) 2>/dev/null || true' EXIT",
    ]
    count = 0
    ports = {}
    for block in blocks:
        for line in block:
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            for port in re.findall(README_PORT_PATTERN, line):
                ports.setdefault(port, str(free_port()))
            line = re.sub(README_PORT_PATTERN,
                          lambda m: "127.0.0.1:" + ports[m.group(1)], line)
            lines.append("echo " + shlex.quote("$ " + line))
            lines.append(line)
            count += 1
            if re.search(r"&\s*(#.*)?$", line):
                # The reader waits until the server says it listens.
                for port in re.findall(README_PORT_PATTERN, line):
                    lines.append(
                        "for _ in $(seq 200); do "
                        f"(exec 3<>/dev/tcp/127.0.0.1/{port}) 2>/dev/null "
                        "&& break; sleep 0.05; done")
    return "\n".join(lines) + "\n", count


def main():
    source, bin_dir = sys.argv[1], sys.argv[2]
    with open(os.path.join(source, "README.md"), encoding="utf-8") as f:
        blocks = runnable_blocks(f.read())
    script, count = script_for(blocks)
    if count < 10:
        print(f"only {count} example commands found in README.md")
        return 1
    scratch = tempfile.mkdtemp(prefix="vorn-readme-")
    try:
        os.makedirs(os.path.join(scratch, "build", "default"))
        os.symlink(os.path.abspath(bin_dir),
                   os.path.join(scratch, "build", "default", "bin"))
        shutil.copy(os.path.join(source, "data", "contacts.json"), scratch)
        with open(os.path.join(scratch, "a.txt"), "w") as f:
            f.write("a file from the desktop\n")
        env = dict(os.environ)
        env.pop("VORN_DEVICE", None)
        env["XDG_CONFIG_HOME"] = os.path.join(scratch, "config")
        result = subprocess.run(["bash", "-c", script], cwd=scratch, env=env,
                                timeout=300)
        print(f"{count} README example commands run, exit status "
              f"{result.returncode}")
        return 0 if result.returncode == 0 else 1
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
