"""Runs the real korvel binary for end-to-end tests, and the small helpers they share.

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
# The built-in tag entries written as a tag.map, so start-up has nothing to report.
TAG_MAP = "U <a href=\nU <area href=\nM <form action=\nM <base x= Y\nI <img src=\nI <body background=\nI <input src=\n"


def free_port():
    """An ephemeral TCP port on 127.0.0.1 that nobody listens on right now."""
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def can_connect(port):
    try:
        socket.create_connection(("127.0.0.1", port), timeout=1).close()
        return True
    except OSError:
        return False


def ini(sections):
    """korvel.ini text from {section: {key: value}}."""
    return "".join("[%s]\n%s\n" % (section, "".join("%s=%s\n" % kv for kv in keys.items()))
                   for section, keys in sections.items())


def write_files(root, files):
    for name, content in files.items():
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(content if isinstance(content, bytes) else content.encode("latin-1"))


def read_file(path):
    with open(path, "rb") as f:
        return f.read()


def temp_dir(test, prefix="korvel-e2e-"):
    """A directory removed when the test ends."""
    path = tempfile.mkdtemp(prefix=prefix)
    test.addCleanup(shutil.rmtree, path, True)
    return path


def wait_until(done, timeout=10.0):
    deadline = time.monotonic() + timeout
    while not done() and time.monotonic() < deadline:
        time.sleep(0.05)
    return done()


def header(length, content_type=b"text/html"):
    """The header of korvel's HTTP 1.0 answers (no type: a file of an unknown extension)."""
    mime = b"MIME-Version: 1.0\r\nContent-Type: " + content_type + b"\r\n" if content_type else b""
    return b"HTTP/1.0 200 Document follows\r\nServer: Korvel/4.0\r\n" + mime + b"Content-Length: %d\r\n\r\n" % length


class Korvel:
    def __init__(self, words=(), settings=None, workdir=None, script=None, env=None, prefix=(), tags=False):
        """prefix: a command that runs the binary, such as ["ip", "netns", "exec", NAME]; it must
        exec the binary in its own place, so that signals reach korvel itself. tags: write the
        tag.map first, so that start-up has nothing to report."""
        self.own_dir = workdir is None
        self.dir = workdir or tempfile.mkdtemp(prefix="korvel-e2e-")
        files = {"korvel.ini": ini(settings) if isinstance(settings, dict) else settings}
        if tags:
            files["tag.map"] = TAG_MAP
        if script is not None:
            files["script.txt"] = script
        write_files(self.dir, {name: text for name, text in files.items() if text is not None})
        args = list(prefix) + [BINARY, "--headless"]
        if script is not None:
            args += ["--script", os.path.join(self.dir, "script.txt")]
        self.process = subprocess.Popen(args + list(words), cwd=self.dir, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env=dict(os.environ, **(env or {})))
        self._out, self._err = bytearray(), bytearray()
        self._lock = threading.Lock()
        self._readers = [threading.Thread(target=self._pump, args=pair, daemon=True)
                         for pair in ((self.process.stdout, self._out), (self.process.stderr, self._err))]
        for reader in self._readers:
            reader.start()
        self._seen = 0

    def _pump(self, stream, into):
        for chunk in iter(lambda: stream.read1(65536), b""):
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

    def _report(self):
        return "output:\n%s\nstderr:\n%s" % (self.out.decode("latin-1"), self.err.decode("latin-1"))

    def wait_for(self, text, timeout=10.0, after=None):
        """Waits until standard output holds text (bytes or str) past position `after` (default:
        past the previous match). Returns the output so far."""
        text = text.encode("latin-1") if isinstance(text, str) else text
        start = self._seen if after is None else after
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            ended = self.process.poll() is not None
            if ended:
                time.sleep(0.05)
            out = self.out
            found = out.find(text, start)
            if found >= 0:
                self._seen = found + len(text)
                return out
            if ended:
                raise AssertionError("korvel ended (code %s) before printing %r; %s"
                                     % (self.process.returncode, text, self._report()))
            time.sleep(0.02)
        raise AssertionError("timed out waiting for %r; %s" % (text, self._report()))

    def wait_err(self, text, timeout=10.0):
        text = text.encode("latin-1") if isinstance(text, str) else text
        if not wait_until(lambda: text in self.err, timeout):
            raise AssertionError("timed out waiting for %r on stderr:\n%s" % (text, self.err.decode("latin-1")))
        return self.err

    def stop(self, timeout=10.0):
        """SIGTERM and wait; returns the exit code."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        try:
            return self.wait_exit(timeout)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait(5)
            raise AssertionError("korvel did not stop on SIGTERM")

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
            return next(int(line.split()[1]) for line in f if line.startswith("VmRSS:"))

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait(5)
        self.process.stdout.close()
        self.process.stderr.close()
        if self.own_dir:
            shutil.rmtree(self.dir, ignore_errors=True)


def start(test, *args, **kwargs):
    """A Korvel closed when the test ends."""
    k = Korvel(*args, **kwargs)
    test.addCleanup(k.close)
    return k


def start_server(test, home, server=None, standard=1, extra=None):
    """korvel -server on home, with a tag.map, closed when the test ends; returns (Korvel, port)."""
    port = free_port()
    settings = dict(extra or {}, Server=dict({"ServerPort": port, "HomeDir": home}, **(server or {})),
                    Standard={"Server": standard})
    k = start(test, ["-server"], settings=settings, tags=True)
    k.wait_for("Server is ready on port %d\n" % port)
    return k, port


def http_get(port, raw_request, timeout=10.0):
    """Sends raw bytes and returns everything the server sends until it closes."""
    with socket.create_connection(("127.0.0.1", port), timeout=timeout) as s:
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


def recv_exactly(s, length):
    """length bytes from s (fewer when it closes first)."""
    data = b""
    while len(data) < length:
        chunk = s.recv(length - len(data))
        if not chunk:
            break
        data += chunk
    return data


class TcpService:
    """A line-oriented TCP service on loopback for one client: sends a greeting, keeps what it
    receives, and answers every received line end with `answer`."""

    def __init__(self, greeting=b"", answer=b""):
        self.listener = socket.socket()
        self.listener.bind(("127.0.0.1", 0))
        self.listener.listen(1)
        self.listener.settimeout(30)
        self.port = self.listener.getsockname()[1]
        self.greeting, self.answer = greeting, answer
        self.received = bytearray()
        self.conn = None
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        try:
            self.conn, _ = self.listener.accept()
            self.conn.settimeout(30)
            self.conn.sendall(self.greeting)
            for data in iter(lambda: self.conn.recv(4096), b""):
                self.received.extend(data)
                if b"\n" in data and self.answer:
                    self.conn.sendall(self.answer)
        except OSError:
            pass

    def wait_for(self, data, timeout=10.0):
        if not wait_until(lambda: data in bytes(self.received), timeout):
            raise AssertionError("the service received only %r" % bytes(self.received))

    def close(self):
        if self.conn:
            self.conn.close()
        self.listener.close()


def dumps(err, dialog):
    """Every `dump` of a dialog on standard error, in order: {control: (enabled, checked, text)}."""
    blocks, current = [], None
    for line in err.decode("latin-1").splitlines():
        parts = line.split(" ", 5)
        if len(parts) >= 5 and parts[0] == dialog:
            current = {} if current is None else current
            current[int(parts[1])] = (parts[3] == "1", parts[4] == "1", parts[5] if len(parts) > 5 else "")
        elif current is not None:
            blocks.append(current)
            current = None
    return blocks + ([current] if current is not None else [])


def have(tool):
    return shutil.which(tool) is not None
