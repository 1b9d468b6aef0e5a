"""What the benchmarks share: tools found or installed, free ports, a korvel server in a
directory of its own, wrk runs summarised in one line, and process figures from /proc."""
import os
import shutil
import socket
import subprocess
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
DEFAULT_KORVEL = os.path.join(HERE, "..", "build", "korvel")

# wrk's summary in one line, with every kind of failure counted.
WRK_SCRIPT = """
function done(summary, latency, requests)
  io.write(string.format("requests=%d errors=%d timeouts=%d non200=%d p99ms=%.2f seconds=%.3f\\n",
    summary.requests, summary.errors.connect + summary.errors.read + summary.errors.write + summary.errors.status,
    summary.errors.timeout, summary.errors.status, latency:percentile(99) / 1000, summary.duration / 1e6))
end
"""


def ensure_tools(*commands):
    """Finds each command, installing its Debian package when run as root; returns the missing."""
    missing = [c for c in commands if not found(c)]
    if missing and os.geteuid() == 0:
        subprocess.run(["apt-get", "install", "-y", "-qq", "--no-install-recommends"] +
                       missing, stdout=subprocess.DEVNULL, env=dict(os.environ, DEBIAN_FRONTEND="noninteractive"))
    return [c for c in commands if not found(c)]


def found(command):
    """A command on the PATH, in /usr/sbin (lighttpd), or /usr/bin/time (a shell keyword too)."""
    return os.path.exists("/usr/bin/" + command) or os.path.exists("/usr/sbin/" + command) or bool(
        shutil.which(command))


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_for_port(port, seconds=10):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        try:
            socket.create_connection(("127.0.0.1", port), timeout=1).close()
            return True
        except OSError:
            time.sleep(0.05)
    return False


def proc_status(pid, field):
    """A figure in KiB from /proc/PID/status (VmRSS, VmHWM), or -1."""
    try:
        with open("/proc/%d/status" % pid) as f:
            for line in f:
                if line.startswith(field + ":"):
                    return int(line.split()[1])
    except OSError:
        pass
    return -1


def descriptors(pid):
    return len(os.listdir("/proc/%d/fd" % pid))


class Server:
    """A server process on a free loopback port, serving `files` from a site directory in a
    temporary directory of its own."""

    def __init__(self, prefix, files):
        self.dir = tempfile.mkdtemp(prefix=prefix)
        self.site = os.path.join(self.dir, "site")
        os.makedirs(self.site)
        for name, data in files.items():
            with open(os.path.join(self.site, name), "wb") as f:
                f.write(data)
        self.port = free_port()
        self.process = None

    def start(self, args):
        self.process = subprocess.Popen(args, cwd=self.dir, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        wait_for_port(self.port)

    @property
    def pid(self):
        return self.process.pid

    def sample(self):
        return descriptors(self.pid), proc_status(self.pid, "VmRSS")

    def stop(self):
        self.process.terminate()
        self.process.wait(10)
        shutil.rmtree(self.dir, ignore_errors=True)


class KorvelServer(Server):
    """korvel --headless -server with the [Server] settings given."""

    def __init__(self, binary, files, settings):
        super().__init__("korvel-bench-", files)
        with open(os.path.join(self.dir, "korvel.ini"), "w") as f:
            f.write("[Server]\nServerPort=%d\nHomeDir=site\n%s\n[Standard]\nServer=1\n" % (self.port, settings))
        self.start([binary, "--headless", "-server"])


def wrk(port, path, seconds, clients, keep=False, timeout="5s"):
    """One wrk run; returns its summary fields as numbers (empty when wrk printed none)."""
    with tempfile.NamedTemporaryFile("w", suffix=".lua", delete=False) as script:
        script.write(WRK_SCRIPT)
    args = ["wrk", "-t%d" % min(clients, 2), "-c%d" % clients, "-d%ds" % seconds, "--timeout", timeout,
            "-s", script.name]
    if not keep:
        args += ["-H", "Connection: close"]
    out = subprocess.run(args + ["http://127.0.0.1:%d/%s" % (port, path)], capture_output=True, text=True,
                         timeout=seconds + 60).stdout
    os.unlink(script.name)
    lines = [l for l in out.splitlines() if l.startswith("requests=")]
    if not lines:
        return {}
    return {k: float(v) for k, v in (kv.split("=") for kv in lines[-1].split())}
