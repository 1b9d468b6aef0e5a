"""Sites for the grab tests: files written into a directory and served on loopback by a real
web server that is not ours (python3 -m http.server in a subprocess) or by korvel's own
server; a grab run of the real binary; and the saved pages read back."""

import html.parser
import http.server
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time

from korvel import Korvel, free_port

# The built-in tag entries written as a tag.map, so start-up has nothing to report.
TAG_MAP = "U <a href=\nU <area href=\nM <form action=\nM <base x= Y\nI <img src=\nI <body background=\nI <input src=\n"
BANNER = b"*************\n* End Of URL* Reference= "


def port_text(port):
    """A port as the grabber writes it into URLs: a signed 16-bit number widened with its sign,
    so every port above 32767 (all of Linux's ephemeral ports) prints as a large number."""
    return str(port if port < 32768 else port - 65536 + 2 ** 32)


def write_files(root, files):
    for name, content in files.items():
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(content if isinstance(content, bytes) else content.encode("latin-1"))


def wait_listening(port, timeout=10.0):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        try:
            with socket.create_connection(("127.0.0.1", port), timeout=1):
                return
        except OSError:
            time.sleep(0.05)
    raise AssertionError("nothing listens on port %d" % port)


class PythonServer:
    """python3 -m http.server serving root on 127.0.0.1. It answers an HTTP/1.0 request with a
    status line and headers (Content-type, Content-Length), and a request without a version
    (HTTP 0.9) with the body alone. Its log of request lines is kept."""

    def __init__(self, root):
        self.port = free_port()
        self.log_path = os.path.join(tempfile.mkdtemp(prefix="kg-log-"), "requests.log")
        self.log = open(self.log_path, "wb")
        self.process = subprocess.Popen([sys.executable, "-m", "http.server", str(self.port), "--bind", "127.0.0.1",
                                         "--directory", root], stdin=subprocess.DEVNULL, stdout=self.log,
                                        stderr=subprocess.STDOUT)
        wait_listening(self.port)

    def url(self, path):
        return "http://127.0.0.1:%d%s" % (self.port, path)

    def requests(self):
        """The request lines in the order they came (the log is flushed per line)."""
        with open(self.log_path, "rb") as f:
            return re.findall(rb'"([A-Z]+ [^"]*)" \d{3}', f.read())

    def close(self):
        self.process.terminate()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait(5)
        self.log.close()
        shutil.rmtree(os.path.dirname(self.log_path), True)


class OriginServer:
    """An HTTP server of Python's standard library in a thread, for requests that come through a
    proxy: it also accepts the absolute form (GET http://host:port/path) and serves root."""

    def __init__(self, root):
        self.lines = []
        lines = self.lines

        class Handler(http.server.SimpleHTTPRequestHandler):
            def __init__(self, *args, **kwargs):
                super().__init__(*args, directory=root, **kwargs)

            def parse_request(self):
                ok = super().parse_request()
                lines.append(self.requestline)
                if ok:
                    self.path = re.sub(r"^http://[^/]*", "", self.path)
                return ok

            def log_message(self, *args):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.port = self.server.server_address[1]
        self.thread = threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True)
        self.thread.start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()
        self.thread.join(10)


def korvel_server(root, standard=1, extra=None):
    """korvel's own HTTP server on root; returns (Korvel, port)."""
    port = free_port()
    settings = {"Server": {"ServerPort": port, "HomeDir": root, "LeavingTimeout": 0, "HowManyClients": 9},
                "Standard": {"Server": standard}}
    for section, keys in (extra or {}).items():
        settings.setdefault(section, {}).update(keys)
    k = Korvel(["-server"], settings=settings, workdir=quiet_workdir())
    k.own_dir = True  # removed with the process
    k.wait_for("Server is ready on port %d\n" % port)
    return k, port


def quiet_workdir(directory=None):
    """A working directory for korvel with a tag.map in it, written before the program starts."""
    directory = directory or tempfile.mkdtemp(prefix="kg-work-")
    with open(os.path.join(directory, "tag.map"), "w") as f:
        f.write(TAG_MAP)
    return directory


class Grab:
    """One grab by the real binary: korvel --headless WORDS, with the grab directory as
    Url.HomeDir, run until it quits by itself."""

    def __init__(self, words, url_settings=None, standard=1, extra=None, timeout=120.0, wait=True, home=None,
                 workdir=None):
        self.home = home or tempfile.mkdtemp(prefix="kg-")
        settings = {"Url": {"HomeDir": self.home, "LeavingTimeout": 0, "Retry": 0},
                    "Standard": {"Url": standard, "Server": standard}}
        settings["Url"].update(url_settings or {})
        for section, keys in (extra or {}).items():
            settings.setdefault(section, {}).update(keys)
        self.korvel = Korvel(words, settings=settings, workdir=quiet_workdir(workdir))
        self.korvel.own_dir = workdir is None
        try:
            self.code = self.korvel.wait_exit(timeout) if wait else None
        except BaseException:
            self.close()
            raise
        self.out = self.korvel.out

    def file(self, name):
        with open(os.path.join(self.home, name), "rb") as f:
            return f.read()

    def exists(self, name):
        return os.path.isfile(os.path.join(self.home, name))

    def saved(self):
        """Every file of the grab directory except the grab's working files."""
        work = {"http.tmp", "img.tmp", "tmp.txt", "tmp2.txt", "tmp3.txt"}
        return sorted(n for n in os.listdir(self.home) if n not in work)

    def report(self):
        return self.file("kvdir.htm")

    def close(self):
        self.korvel.close()
        shutil.rmtree(self.home, True)


def run_grab(test, words, **kwargs):
    """A grab for a unittest.TestCase: it must end by itself, with exit code 0 and the banner."""
    g = Grab(words, **kwargs)
    test.addCleanup(g.close)
    test.assertEqual(g.code, 0, g.out[-3000:].decode("latin-1"))
    test.assertIn(BANNER, g.out)
    return g


class LinkParser(html.parser.HTMLParser):
    LINKS = {("a", "href"), ("area", "href"), ("img", "src"), ("body", "background"), ("input", "src")}

    def __init__(self):
        super().__init__(convert_charrefs=False)
        self.links = []

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if (tag, name) in self.LINKS and value is not None:
                self.links.append((tag, value))


def links_of(data):
    """(tag, value) of every link of a page, as a browser reads them."""
    parser = LinkParser()
    parser.feed(data.decode("latin-1"))
    parser.close()
    return parser.links


def report_documents(report):
    """The (URL, saved path) pairs of a grab report page."""
    return re.findall(rb'<a href="([^"]*)">Document [^<]*</a> <a href= "[^"]*">save as ([^<]*)</a>', report)
