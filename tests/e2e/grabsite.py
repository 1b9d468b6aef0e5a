"""Sites for the grab tests: files served on loopback by a real web server that is not ours
(python3 -m http.server in a subprocess, or one of Python's library in a thread for requests
through a proxy); a grab run of the real binary; and the saved pages read back."""

import http.server
import os
import re
import subprocess
import sys
import threading

from korvel import Korvel, can_connect, free_port, read_file, temp_dir, wait_until, write_files

BANNER = b"*************\n* End Of URL* Reference= "


def port_text(port):
    """A port as the grabber writes it into URLs: a signed 16-bit number widened with its sign,
    so every port above 32767 (all of Linux's ephemeral ports) prints as a large number."""
    return str(port if port < 32768 else port - 65536 + 2 ** 32)


class PythonServer:
    """python3 -m http.server serving root on 127.0.0.1, stopped when the test ends. It answers
    an HTTP/1.0 request with a status line and headers (Content-type, Content-Length), and keeps
    reading header lines after a request line without a version. Its request log is kept."""

    def __init__(self, test, root=None, files=None):
        self.root = root or temp_dir(test, "kg-site-")
        self.port = free_port()
        write_files(self.root, {name: text.replace("{port}", str(self.port)) if isinstance(text, str) else text
                                for name, text in (files or {}).items()})
        self.log_path = os.path.join(temp_dir(test, "kg-log-"), "requests.log")
        with open(self.log_path, "wb") as log:
            self.process = subprocess.Popen([sys.executable, "-m", "http.server", str(self.port), "--bind",
                                             "127.0.0.1", "--directory", self.root], stdin=subprocess.DEVNULL,
                                            stdout=log, stderr=subprocess.STDOUT)
        test.addCleanup(self.close)
        assert wait_until(lambda: can_connect(self.port)), "python3 -m http.server did not start"

    def url(self, path):
        return "http://127.0.0.1:%d%s" % (self.port, path)

    def requests(self):
        """The request lines in the order they came (the log is flushed per line)."""
        return re.findall(rb'"([A-Z]+ [^"]*)" \d{3}', read_file(self.log_path))

    def close(self):
        self.process.terminate()
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait(5)


class OriginServer:
    """An HTTP server of Python's standard library in a thread, for requests that come through a
    proxy: it also accepts the absolute form (GET http://host:port/path) and serves root."""

    def __init__(self, test, root):
        self.lines = lines = []

        class Handler(http.server.SimpleHTTPRequestHandler):
            def __init__(self, *args, **kwargs):
                super().__init__(*args, directory=root, **kwargs)

            def parse_request(self):
                ok = super().parse_request()
                lines.append(self.requestline)
                self.path = re.sub(r"^http://[^/]*", "", self.path)
                return ok

            def log_message(self, *args):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.port = self.server.server_address[1]
        thread = threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True)
        thread.start()
        test.addCleanup(thread.join, 10)
        test.addCleanup(self.server.server_close)
        test.addCleanup(self.server.shutdown)


class Grab:
    """One grab by the real binary: korvel --headless WORDS, with the grab directory as
    Url.HomeDir, run until it quits by itself (unless wait is false)."""

    WORK_FILES = {"http.tmp", "img.tmp", "tmp.txt", "tmp2.txt", "tmp3.txt"}

    def __init__(self, test, words, url_settings=None, standard=1, timeout=120.0, wait=True, home=None, workdir=None,
                 prefix=()):
        self.home = home or temp_dir(test, "kg-")
        settings = {"Url": dict({"HomeDir": self.home, "LeavingTimeout": 0, "Retry": 0}, **(url_settings or {})),
                    "Standard": {"Url": standard, "Server": standard}}
        self.korvel = Korvel(words, settings=settings, workdir=workdir, tags=True, prefix=prefix)
        test.addCleanup(self.korvel.close)
        self.code = self.korvel.wait_exit(timeout) if wait else None
        self.out = self.korvel.out

    def file(self, name):
        return read_file(os.path.join(self.home, name))

    def saved(self):
        """Every file of the grab directory except the grab's working files."""
        return sorted(n for n in os.listdir(self.home) if n not in self.WORK_FILES)

    def report(self):
        return self.file("kvdir.htm")


def run_grab(test, words, **kwargs):
    """A grab that must end by itself, with exit code 0 and the banner."""
    g = Grab(test, words, **kwargs)
    test.assertEqual(g.code, 0, g.out[-3000:].decode("latin-1"))
    test.assertIn(BANNER, g.out)
    return g


def report_documents(report):
    """The (URL, saved path) pairs of a grab report page."""
    return re.findall(rb'<a href="([^"]*)">Document [^<]*</a> <a href= "[^"]*">save as ([^<]*)</a>', report)
