#!/usr/bin/env python3
"""Measures korvel beside the tools a user would pick instead, in one run, and prints a table
of medians with the ratios. It measures; it asserts nothing.

    python3 bench/compare.py [--korvel build/korvel] [--runs 5] [--seconds 3] [--only server|grab]

Serving (wrk, Connection: close, HTTP/1.0 answers, LeavingTimeout=0, ServerLog=0):
  a 1 KiB file to 1 and to 24 clients, korvel beside lighttpd and beside `sendloop --whole`
  (a bare poll loop that answers with one read and one send, the floor under any poll-loop
  server of small files); a 100 KiB file to 24 clients, korvel beside sendloop.cpp (a bare
  poll loop of 200-byte reads and 200-byte sends, the floor under korvel's way of sending) and
  lighttpd; each server's peak resident memory afterwards. A second table puts the floors
  beside lighttpd.
Grabbing (two levels, served by python3 -m http.server):
  a generated site of 200 pages with an image each, and the valgrind HTML manual of Debian's
  valgrind package when it is installed; korvel -o 2 beside wget -r -l 2 -k -p: wall time,
  documents saved and peak resident memory.
The runs of the tools alternate, so that the machine's noise falls on all of them alike.
Needs wrk, lighttpd, wget and g++ (installed from Debian's packages when run as root).
"""
import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import benchlib

ONE_KIB = b"k" * 1024
HUNDRED_KIB = bytes(range(256)) * 400
KORVEL_SERVER_SETTINGS = "HowManyClients=25\nLeavingTimeout=0\nServerLog=0\nMode=1c9"
GRAB_WORK_FILES = {"http.tmp", "img.tmp", "tmp.txt", "tmp2.txt", "tmp3.txt", "kvdir.htm"}


# ---- Servers ----------------------------------------------------------------------------------

class Lighttpd(benchlib.Server):
    def __init__(self, files):
        super().__init__("lighttpd-bench-", files)
        conf = os.path.join(self.dir, "lighttpd.conf")
        with open(conf, "w") as f:
            f.write('server.document-root = "%s"\nserver.port = %d\nserver.bind = "127.0.0.1"\n'
                    'server.errorlog = "%s/error.log"\nmimetype.assign = (".bin" => "application/octet-stream")\n'
                    % (self.site, self.port, self.dir))
        self.start([shutil.which("lighttpd") or "/usr/sbin/lighttpd", "-D", "-f", conf])


class SendLoop(benchlib.Server):
    def __init__(self, files, binary, *options):
        super().__init__("sendloop-bench-", files)
        self.start([binary, str(self.port), self.site] + list(options))


def build_sendloop(work):
    binary = os.path.join(work, "sendloop")
    subprocess.run(["g++", "-O2", "-o", binary, os.path.join(benchlib.HERE, "sendloop.cpp")], check=True)
    return binary


def serve_jobs(korvel, runs, seconds, work):
    files = {"1k.bin": ONE_KIB, "100k.bin": HUNDRED_KIB}
    sendloop = build_sendloop(work)
    servers = {"korvel": benchlib.KorvelServer(korvel, files, KORVEL_SERVER_SETTINGS),
               "lighttpd": Lighttpd(files),
               "sendloop": SendLoop(files, sendloop),
               "sendloop --whole": SendLoop(files, sendloop, "--whole")}
    jobs = [("1 KiB, 1 client", "1k.bin", 1, ["korvel", "lighttpd", "sendloop --whole"]),
            ("1 KiB, 24 clients", "1k.bin", 24, ["korvel", "lighttpd", "sendloop --whole"]),
            ("100 KiB, 24 clients", "100k.bin", 24, ["korvel", "sendloop", "lighttpd"])]
    results = {}  # (job, server) -> list of wrk summaries
    try:
        for _ in range(runs):
            for job, path, clients, names in jobs:
                for name in names:
                    summary = benchlib.wrk(servers[name].port, path, seconds, clients)
                    results.setdefault((job, name), []).append(summary)
        rss = {name: benchlib.proc_status(s.pid, "VmHWM") for name, s in servers.items()}
    finally:
        for s in servers.values():
            s.stop()
    return jobs, results, rss


def rate(summary):
    return summary.get("requests", 0) / summary["seconds"] if summary.get("seconds") else 0.0


def print_serving(jobs, results, rss):
    print("| job | korvel | peer | ratio |")
    print("|---|---|---|---|")
    for job, _, clients, names in jobs:
        mine = results[(job, "korvel")]
        for peer in names[1:]:
            theirs = results[(job, peer)]
            k, p = statistics.median(map(rate, mine)), statistics.median(map(rate, theirs))
            detail = lambda runs: "%d failed, p99 %.1f ms" % (
                sum(r.get("errors", 0) + r.get("timeouts", 0) for r in runs),
                statistics.median(r.get("p99ms", 0) for r in runs))
            print("| %s | %s req/s (%s) | %s %s req/s (%s) | %.2f× |" % (
                job, format(int(k), ","), detail(mine), peer, format(int(p), ","), detail(theirs),
                k / p if p else 0))
    print("| server peak RSS after the loads | %s KiB | lighttpd %s KiB | %.2f× |" % (
        format(rss["korvel"], ","), format(rss["lighttpd"], ","), rss["korvel"] / rss["lighttpd"]))


def print_floors(jobs, results):
    print()
    print("| job | floor | lighttpd | ratio |")
    print("|---|---|---|---|")
    for job, _, _, names in jobs:
        theirs = statistics.median(map(rate, results[(job, "lighttpd")]))
        for floor in names[1:]:
            if floor == "lighttpd":
                continue
            mine = statistics.median(map(rate, results[(job, floor)]))
            print("| %s | %s %s req/s | %s req/s | %.2f× |" % (
                job, floor, format(int(mine), ","), format(int(theirs), ","), mine / theirs if theirs else 0))


# ---- Grabs ------------------------------------------------------------------------------------

def generate_site(root, sections=11, pages_per_section=17):
    """An index, 11 sections of 17 pages and an about page, each page with one image."""
    def write(name, data):
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data if isinstance(data, bytes) else data.encode())

    def image(name):
        write("img/%s.gif" % name, b"GIF89a" + name.encode() + bytes(range(256)) * 4)
        return '<img src="/img/%s.gif">' % name

    text = "<p>" + "Some words of text to make a page of ordinary size. " * 30 + "</p>\n"
    index = "<html><body><h1>Index</h1>" + image("index") + text
    for s in range(sections):
        index += '<a href="s%d/index.htm">section %d</a>\n' % (s, s)
        section = "<html><body><h2>Section %d</h2>%s%s" % (s, image("s%d" % s), text)
        for p in range(pages_per_section):
            name = "p%03d" % (s * pages_per_section + p)
            section += '<a href="%s.htm">%s</a>\n' % (name, name)
            write("s%d/%s.htm" % (s, name), "<html><body><h3>%s</h3>%s%s<a href=\"index.htm\">up</a> "
                  "<a href=\"/index.htm\">home</a></body></html>\n" % (name, image(name), text))
        write("s%d/index.htm" % s, section + '<a href="/index.htm">home</a></body></html>\n')
    index += '<a href="about.htm">about</a></body></html>\n'
    write("about.htm", "<html><body>About" + image("about") + text + "</body></html>\n")
    write("index.htm", index)


def timed(args, cwd):
    """Runs a command; returns its wall time and its peak resident memory in KiB. GNU time
    starts it, since a child forked from this Python process would carry Python's peak."""
    with tempfile.NamedTemporaryFile("r", suffix=".rss") as rss:
        start = time.monotonic()
        subprocess.run(["/usr/bin/time", "-f", "%M", "-o", rss.name] + args, cwd=cwd, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        seconds = time.monotonic() - start
        return seconds, int(rss.read().split()[-1])


def count_files(directory, skip=()):
    return sum(1 for _, _, names in os.walk(directory) for n in names if n not in skip)


def grab_korvel(korvel, url):
    work = tempfile.mkdtemp(prefix="grab-korvel-")
    home = os.path.join(work, "grab")
    os.makedirs(home)
    with open(os.path.join(work, "korvel.ini"), "w") as f:
        f.write("[Url]\nHomeDir=%s\nLeavingTimeout=0\nMaxURL=2000\nMaxIMG=2000\n[Standard]\nUrl=1\n" % home)
    with open(os.path.join(work, "tag.map"), "w") as f:
        f.write("U <a href=\nI <img src=\n")
    seconds, rss = timed([korvel, "--headless", "-o", "2", "-u", url], work)
    files = count_files(home, GRAB_WORK_FILES)
    shutil.rmtree(work, True)
    return seconds, rss, files


def grab_wget(url):
    work = tempfile.mkdtemp(prefix="grab-wget-")
    seconds, rss = timed(["wget", "-q", "-r", "-l", "2", "-k", "-p", "-nH", "-P", work, url], work)
    files = count_files(work)
    shutil.rmtree(work, True)
    return seconds, rss, files


def grab_jobs(korvel, runs):
    sites = []
    generated = tempfile.mkdtemp(prefix="grab-site-")
    generate_site(generated)
    sites.append(("generated site, 200 pages", generated, "index.htm"))
    manual = "/usr/share/doc/valgrind/html"
    if os.path.exists(os.path.join(manual, "index.html")):
        sites.append(("valgrind HTML manual", manual, "index.html"))
    rows = []
    for name, root, start in sites:
        port = benchlib.free_port()
        server = subprocess.Popen([sys.executable, "-m", "http.server", str(port), "--bind", "127.0.0.1",
                                   "--directory", root], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        benchlib.wait_for_port(port)
        url = "http://127.0.0.1:%d/%s" % (port, start)
        mine, theirs = [], []
        try:
            for _ in range(runs):
                mine.append(grab_korvel(korvel, url))
                theirs.append(grab_wget(url))
        finally:
            server.terminate()
            server.wait(10)
        rows.append((name, mine, theirs))
    shutil.rmtree(generated, True)
    return rows


def print_grabs(rows):
    for name, mine, theirs in rows:
        k = statistics.median(r[0] for r in mine)
        w = statistics.median(r[0] for r in theirs)
        print("| grab -o 2, %s | %.3f s, %d files | wget -r -l 2 -k -p %.3f s, %d files | %.2f× the time |" % (
            name, k, mine[0][2], w, theirs[0][2], k / w if w else 0))
        kr = max(r[1] for r in mine)
        wr = max(r[1] for r in theirs)
        print("| grab peak RSS, %s | %s KiB | wget %s KiB | %.2f× |" % (name, format(kr, ","), format(wr, ","),
                                                                      kr / wr if wr else 0))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--korvel", default=benchlib.DEFAULT_KORVEL)
    parser.add_argument("--runs", type=int, default=5, help="runs of every measurement; medians are printed")
    parser.add_argument("--seconds", type=int, default=3, help="length of one wrk run")
    parser.add_argument("--only", choices=["server", "grab"])
    args = parser.parse_args()
    korvel = os.path.abspath(args.korvel)
    if not os.access(korvel, os.X_OK):
        sys.exit("no korvel binary at %s (make program, or give --korvel)" % korvel)
    missing = benchlib.ensure_tools("wrk", "lighttpd", "wget", "g++", "time")
    if missing:
        sys.exit("missing: %s (run as root to install them)" % " ".join(missing))
    print("%s, %d cores, %d runs of each, medians\n" % (time.strftime("%Y-%m-%d"), os.cpu_count(), args.runs))
    work = tempfile.mkdtemp(prefix="korvel-compare-")
    try:
        served = serve_jobs(korvel, args.runs, args.seconds, work) if args.only != "grab" else None
        if served:
            print_serving(*served)
        if args.only != "server":
            if args.only == "grab":
                print("| job | korvel | peer | ratio |")
                print("|---|---|---|---|")
            print_grabs(grab_jobs(korvel, args.runs))
        if served:
            print_floors(*served[:2])
    finally:
        shutil.rmtree(work, True)


if __name__ == "__main__":
    main()
