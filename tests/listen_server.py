"""`vorn-device serve IMAGE --listen 127.0.0.1:0` for the Python system
tests: starts it on a new image, talks to it one conversation per
connection and reads its memory use and open descriptors from /proc."""

import os
import select
import socket
import struct
import subprocess

TIMEOUT = 20


class TestFailure(Exception):
    pass


def expect(condition, message):
    if not condition:
        raise TestFailure(message)


def frame(packet):
    return struct.pack("<I", len(packet)) + bytes(packet)


def counted(text):
    data = text.encode("utf-16-le", "surrogatepass") + b"\0\0"
    return struct.pack("<I", len(data)) + data


def split_frames(data):
    """The whole reply frames in `data` and the bytes after them."""
    frames = []
    at = 0
    while len(data) - at >= 4:
        length = struct.unpack_from("<I", data, at)[0]
        if len(data) - at - 4 < length:
            break
        frames.append(data[at + 4:at + 4 + length])
        at += 4 + length
    return frames, data[at:]


class ListenServer:
    def __init__(self, program, workdir, machine_id="HOSTILE"):
        self.program = program
        self.workdir = workdir
        self.image = os.path.join(workdir, "device.img")
        run = subprocess.run([program, "init", self.image, "--machine-id",
                              machine_id], capture_output=True, text=True,
                             check=False)
        expect(run.returncode == 0, "init failed: " + run.stderr)
        self.process = subprocess.Popen(
            [program, "serve", self.image, "--listen", "127.0.0.1:0"],
            cwd=workdir, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.address = self._wait_for_address()

    def _wait_for_address(self):
        text = ""
        while "\n" not in text:
            ready, _, _ = select.select([self.process.stderr], [], [],
                                        TIMEOUT)
            chunk = (os.read(self.process.stderr.fileno(), 4096)
                     if ready else b"")
            if not chunk:
                self.process.kill()
                raise TestFailure("the server did not say where it listens: "
                                  + text)
            text += chunk.decode()
        line = text.splitlines()[0]
        expect(line.startswith("listening on "), "unexpected: " + line)
        host, port = line[len("listening on "):].rsplit(":", 1)
        return host, int(port)

    def converse(self, data):
        """Sends `data`, closes the sending side and returns every byte
        the server sent until it closed the connection."""
        with socket.create_connection(self.address, timeout=TIMEOUT) as sock:
            try:
                sock.sendall(data)
                sock.shutdown(socket.SHUT_WR)
            except (BrokenPipeError, ConnectionResetError):
                pass
            received = b""
            while True:
                try:
                    chunk = sock.recv(65536)
                except ConnectionResetError:
                    break
                if not chunk:
                    break
                received += chunk
            return received

    def alive(self):
        return self.process.poll() is None

    def rss_kib(self):
        with open("/proc/%d/status" % self.process.pid) as status:
            for line in status:
                if line.startswith("VmRSS:"):
                    return int(line.split()[1])
        raise TestFailure("no VmRSS for the server")

    def descriptors(self):
        return sorted(os.listdir("/proc/%d/fd" % self.process.pid))

    def stop(self):
        if self.alive():
            self.process.terminate()
            try:
                self.process.wait(timeout=TIMEOUT)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.process.stderr.close()
        return self.process.returncode
