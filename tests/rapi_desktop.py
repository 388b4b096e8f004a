#!/usr/bin/env python3
"""A desktop of the handheld's remote API, written from its byte layouts
alone (docs/remote-api.md) with nothing but the standard library.

Usage: rapi_desktop.py VORN_DEVICE_PROGRAM

Starts `vorn-device serve IMAGE --rapi 127.0.0.1:0 --rapi-unix PATH` on a
new image with a device password, then, like a desktop: opens a connection
that passes the password step and stays idle, invokes VORNAPIMGR's
rsCeApiMgr in stream mode on a second TCP connection and over the Unix
socket (both request variants), converses with the agent, and checks that
the server goes on serving. Exits 0 when every check holds.
"""

import os
import select
import signal
import socket
import struct
import subprocess
import sys
import tempfile

PASSWORD = "pässwort"
KEY = 17
MACHINE_ID = "PY-DESK"
TIMEOUT = 20


def fail(message):
    print("rapi_desktop: " + message, file=sys.stderr)
    sys.exit(1)


def expect(condition, message):
    if not condition:
        fail(message)


def utf16z(text):
    return (text + "\0").encode("utf-16-le")


def recv_exact(sock, count):
    data = b""
    while len(data) < count:
        chunk = sock.recv(count - len(data))
        if not chunk:
            raise EOFError("connection closed after %d of %d bytes" %
                           (len(data), count))
        data += chunk
    return data


def u32(sock):
    return struct.unpack("<I", recv_exact(sock, 4))[0]


def password_step(sock, password, key):
    """u16 count, then the UTF-16LE password and NUL, XORed with the key."""
    text = bytes(b ^ key for b in utf16z(password))
    sock.sendall(struct.pack("<H", len(text)) + text)
    return recv_exact(sock, 1)[0]


def invoke_request(command, module, function, data=b"", stream=True):
    body = struct.pack("<I", command)
    for name in (module, function):
        text = utf16z(name)
        if command == 0x45:  # present flag, length in UTF-16 units
            body += struct.pack("<II", 1, len(text) // 2) + text
        else:  # 0x4c: byte count
            body += struct.pack("<I", len(text)) + text
    body += struct.pack("<I", len(data)) + data
    body += struct.pack("<I", 1 if stream else 0)
    return struct.pack("<I", len(body)) + body


def invoke_agent(sock, command):
    """Invokes rsCeApiMgr in stream mode; returns the last error."""
    sock.sendall(invoke_request(command, "VORNAPIMGR", "rsCeApiMgr"))
    if command == 0x45:
        return u32(sock)
    length = u32(sock)
    body = recv_exact(sock, length)
    return struct.unpack("<I", body[:4])[0]


def request(sock, packet):
    sock.sendall(struct.pack("<I", len(packet)) + packet)
    return recv_exact(sock, u32(sock))


def converse(sock):
    """GetMachineId, GetRecordCount, end of session."""
    reply = request(sock, bytes([14, 1]))
    tag, count = struct.unpack("<II", reply[:8])
    expect(tag == 0x3C, "machine id reply starts with 0x%X" % tag)
    machine_id = reply[8:8 + count].decode("utf-16-le").rstrip("\0")
    expect(machine_id == MACHINE_ID, "machine id is %r" % machine_id)
    reply = request(sock, bytes([6, 1]))
    expect(reply == bytes([1, 0, 0, 0, 0, 0]),
           "record count reply is %s" % reply.hex())
    expect(request(sock, bytes([1, 1])) == b"", "end of session replied")
    expect(sock.recv(1) == b"", "the call's end did not close the connection")


def connect_tcp(address):
    host, port = address.rsplit(":", 1)
    sock = socket.create_connection((host, int(port)), timeout=TIMEOUT)
    return sock


def connect_unix(path):
    sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    sock.settimeout(TIMEOUT)
    sock.connect(path)
    return sock


def start_server(program, image, unix_path):
    server = subprocess.Popen(
        [program, "serve", image, "--rapi", "127.0.0.1:0", "--rapi-unix",
         unix_path, "--password-key", str(KEY)],
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE)
    addresses = []
    text = ""
    while len(addresses) < 2:
        ready, _, _ = select.select([server.stderr], [], [], TIMEOUT)
        chunk = os.read(server.stderr.fileno(), 4096) if ready else b""
        if not chunk:
            server.kill()
            fail("the server did not report where it listens: " + text)
        text += chunk.decode()
        addresses = [line[len("listening on "):].strip()
                     for line in text.splitlines(keepends=True)
                     if line.startswith("listening on ")
                     and line.endswith("\n")]
    tcp = [a for a in addresses if not a.startswith("unix:")]
    expect(tcp and "unix:" + unix_path in addresses,
           "unexpected addresses %s" % addresses)
    return server, tcp[0]


def main():
    if len(sys.argv) != 2:
        fail("usage: rapi_desktop.py VORN_DEVICE_PROGRAM")
    program = sys.argv[1]
    with tempfile.TemporaryDirectory() as work:
        image = os.path.join(work, "handheld.img")
        unix_path = os.path.join(work, "rapi.sock")
        subprocess.run([program, "init", image, "--machine-id", MACHINE_ID,
                        "--password", PASSWORD], check=True)
        server, tcp = start_server(program, image, unix_path)
        try:
            # A desktop's first connection: password, then idle.
            idle = connect_tcp(tcp)
            expect(password_step(idle, PASSWORD, KEY) == 1,
                   "the right password was refused")
            # The invoke on a second connection, while the first idles.
            for command in (0x45, 0x4c):
                sock = connect_tcp(tcp)
                expect(password_step(sock, PASSWORD, KEY) == 1,
                       "the right password was refused")
                error = invoke_agent(sock, command)
                expect(error == 0, "invoke 0x%X: last error %d" %
                       (command, error))
                converse(sock)
                sock.close()
            # A wrong password is refused and the connection closed.
            sock = connect_tcp(tcp)
            expect(password_step(sock, "falsch", KEY) == 0,
                   "a wrong password was accepted")
            expect(sock.recv(1) == b"", "refused connection stays open")
            sock.close()
            # The Unix socket is local: no password step.
            for command in (0x4c, 0x45):
                sock = connect_unix(unix_path)
                error = invoke_agent(sock, command)
                expect(error == 0, "unix invoke 0x%X: last error %d" %
                       (command, error))
                converse(sock)
                sock.close()
            # An unknown function: ERROR_PROC_NOT_FOUND, then closed.
            sock = connect_unix(unix_path)
            sock.sendall(invoke_request(0x45, "VORNAPIMGR", "rsCeApiMgrX"))
            expect(u32(sock) == 127, "unknown function not refused with 127")
            expect(sock.recv(1) == b"", "refused invoke left open")
            sock.close()
            # The first connection, idle all along, invokes last.
            expect(invoke_agent(idle, 0x45) == 0, "idle connection's invoke")
            converse(idle)
            idle.close()
            expect(server.poll() is None, "the server stopped serving")
        finally:
            if server.poll() is None:
                server.send_signal(signal.SIGINT)
            try:
                status = server.wait(TIMEOUT)
            except subprocess.TimeoutExpired:
                server.kill()
                fail("the server did not stop on SIGINT")
            rest = server.stderr.read().decode()
        expect(status == 0, "server exit status %d: %s" % (status, rest))
    print("rapi_desktop: ok")


if __name__ == "__main__":
    main()
