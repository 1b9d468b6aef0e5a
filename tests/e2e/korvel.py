"""Runs the real korvel binary for end-to-end tests.

A Korvel object starts the program headless in a directory of its own (with a korvel.ini),
reads its standard output as it comes, and stops it with SIGTERM. Every wait is bounded.
"""

import os
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time

BINARY = os.environ.get("KORVEL_BIN", os.path.join(os.path.dirname(__file__), "../../build/korvel"))
SOURCE = os.environ.get("KORVEL_SOURCE", os.path.join(os.path.dirname(__file__), "../.."))
SANITIZED = os.environ.get("KORVEL_SANITIZED", "0") in ("1", "ON", "TRUE", "true")


def free_port():
    """An ephemeral TCP port on 127.0.0.1 that nobody listens on right now."""
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def ini(sections):
    """korvel.ini text from {section: {key: value}}."""
    lines = []
    for section, keys in sections.items():
        lines.append("[%s]" % section)
        lines.extend("%s=%s" % (k, v) for k, v in keys.items())
        lines.append("")
    return "\n".join(lines)


class Korvel:
    def __init__(self, words=(), settings=None, workdir=None, script=None, env=None, prefix=()):
        """prefix: a command that runs the binary, such as ["ip", "netns", "exec", NAME]; it must
        exec the binary in its own place, so that signals reach korvel itself."""
        self.own_dir = workdir is None
        self.dir = workdir or tempfile.mkdtemp(prefix="korvel-e2e-")
        if settings is not None:
            with open(os.path.join(self.dir, "korvel.ini"), "w") as f:
                f.write(ini(settings) if isinstance(settings, dict) else settings)
        args = list(prefix) + [BINARY, "--headless"]
        if script is not None:
            path = os.path.join(self.dir, "script.txt")
            with open(path, "w") as f:
                f.write(script)
            args += ["--script", path]
        args += list(words)
        self.process = subprocess.Popen(args, cwd=self.dir, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, env=dict(os.environ, **(env or {})))
        self._out = bytearray()
        self._err = bytearray()
        self._lock = threading.Lock()
        self._readers = [threading.Thread(target=self._pump, args=(self.process.stdout, self._out), daemon=True),
                         threading.Thread(target=self._pump, args=(self.process.stderr, self._err), daemon=True)]
        for reader in self._readers:
            reader.start()
        self._seen = 0

    def _pump(self, stream, into):
        while True:
            chunk = stream.read1(65536)
            if not chunk:
                return
            with self._lock:
                into.extend(chunk)

    @property
    def out(self):
        with self._lock:
            return bytes(self._out)

    @property
    def err(self):
        with self._lock:
            return bytes(self._err)

    def wait_for(self, text, timeout=10.0, after=None):
        """Waits until standard output holds text (bytes or str) past position `after` (default:
        past the previous match). Returns the output so far."""
        if isinstance(text, str):
            text = text.encode("latin-1")
        start = self._seen if after is None else after
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            out = self.out
            found = out.find(text, start)
            if found >= 0:
                self._seen = found + len(text)
                return out
            if self.process.poll() is not None:
                time.sleep(0.05)
                out = self.out
                if out.find(text, start) >= 0:
                    continue
                raise AssertionError("korvel ended (code %s) before printing %r; output:\n%s\nstderr:\n%s"
                                     % (self.process.returncode, text, out.decode("latin-1"),
                                        self.err.decode("latin-1")))
            time.sleep(0.02)
        raise AssertionError("timed out waiting for %r; output:\n%s\nstderr:\n%s"
                             % (text, self.out.decode("latin-1"), self.err.decode("latin-1")))

    def wait_err(self, text, timeout=10.0):
        if isinstance(text, str):
            text = text.encode("latin-1")
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            if text in self.err:
                return self.err
            time.sleep(0.02)
        raise AssertionError("timed out waiting for %r on stderr:\n%s" % (text, self.err.decode("latin-1")))

    def stop(self, timeout=10.0):
        """SIGTERM and wait; returns the exit code."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        try:
            code = self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            self.process.kill()
            code = self.process.wait(5)
            raise AssertionError("korvel did not stop on SIGTERM")
        for reader in self._readers:
            reader.join(5)
        return code

    def wait_exit(self, timeout=30.0):
        code = self.process.wait(timeout)
        for reader in self._readers:
            reader.join(5)
        return code

    def open_fds(self):
        """Descriptors the process holds, by what they point at."""
        fd_dir = "/proc/%d/fd" % self.process.pid
        result = []
        for name in os.listdir(fd_dir):
            try:
                result.append(os.readlink(os.path.join(fd_dir, name)))
            except OSError:
                pass
        return result

    def rss_kb(self):
        with open("/proc/%d/status" % self.process.pid) as f:
            for line in f:
                if line.startswith("VmRSS:"):
                    return int(line.split()[1])
        return 0

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait(5)
        for stream in (self.process.stdout, self.process.stderr):
            stream.close()
        if self.own_dir:
            shutil.rmtree(self.dir, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


def http_get(port, raw_request, timeout=10.0, host="127.0.0.1"):
    """Sends raw bytes and returns everything the server sends until it closes."""
    with socket.create_connection((host, port), timeout=timeout) as s:
        s.sendall(raw_request)
        return read_until_closed(s, timeout)


def read_until_closed(s, timeout=10.0):
    s.settimeout(timeout)
    data = bytearray()
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        try:
            chunk = s.recv(65536)
        except ConnectionResetError:
            break
        if not chunk:
            break
        data.extend(chunk)
    return bytes(data)


def run_tool(args, timeout=30.0, **kwargs):
    return subprocess.run(args, capture_output=True, timeout=timeout, **kwargs)


def have(tool):
    return shutil.which(tool) is not None
