#!/usr/bin/env python3
"""Times a two-level korvel grab against wget -r -l 2 -k -p of the same generated site.

A site of 200 pages (an index, 11 sections of 17 pages, an about page) with one image per page
is written to a temporary directory and served on 127.0.0.1 by python3 -m http.server. Then, in
one run, korvel grabs it with -o 2 and wget mirrors it two levels deep with its links converted
and its page requisites; both figures are printed. This measures; it asserts nothing.

    bench/grab_bench.py [--korvel build/korvel] [--runs 3]
"""

import argparse
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

SECTIONS = 11
PAGES_PER_SECTION = 17


def generate(root):
    def write(name, data):
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data if isinstance(data, bytes) else data.encode())

    def image(name):
        write("img/%s.gif" % name, b"GIF89a" + name.encode() + bytes(range(256)) * 4)
        return '<img src="/img/%s.gif">' % name

    text = "<p>" + "Some words of text to make a page of ordinary size. " * 30 + "</p>\n"
    pages = 1
    index = "<html><body><h1>Index</h1>" + image("index") + text
    for s in range(SECTIONS):
        index += '<a href="s%d/index.htm">section %d</a>\n' % (s, s)
        section = "<html><body><h2>Section %d</h2>%s%s" % (s, image("s%d" % s), text)
        for p in range(PAGES_PER_SECTION):
            name = "p%03d" % (s * PAGES_PER_SECTION + p)
            section += '<a href="%s.htm">%s</a>\n' % (name, name)
            write("s%d/%s.htm" % (s, name), "<html><body><h3>%s</h3>%s%s<a href=\"index.htm\">up</a> "
                  "<a href=\"/index.htm\">home</a></body></html>\n" % (name, image(name), text))
            pages += 1
        write("s%d/index.htm" % s, section + '<a href="/index.htm">home</a></body></html>\n')
        pages += 1
    index += '<a href="about.htm">about</a></body></html>\n'
    write("about.htm", "<html><body>About" + image("about") + text + "</body></html>\n")
    write("index.htm", index)
    return pages + 1


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def serve(root):
    port = free_port()
    server = subprocess.Popen([sys.executable, "-m", "http.server", str(port), "--bind", "127.0.0.1", "--directory",
                               root], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    deadline = time.monotonic() + 10
    while time.monotonic() < deadline:
        try:
            socket.create_connection(("127.0.0.1", port), timeout=1).close()
            return server, port
        except OSError:
            time.sleep(0.05)
    server.kill()
    sys.exit("the site server did not start")


def count_files(directory, skip=()):
    return sum(1 for _, _, names in os.walk(directory) for n in names if n not in skip)


def time_korvel(binary, url):
    work = tempfile.mkdtemp(prefix="bench-korvel-")
    home = os.path.join(work, "grab")
    os.makedirs(home)
    with open(os.path.join(work, "korvel.ini"), "w") as f:
        # HTTP/1.0 requests, no wait after each connection, limits above the site's size.
        f.write("[Url]\nHomeDir=%s\nLeavingTimeout=0\nMaxURL=400\nMaxIMG=400\n[Standard]\nUrl=1\n" % home)
    with open(os.path.join(work, "tag.map"), "w") as f:
        f.write("U <a href=\nI <img src=\n")
    start = time.monotonic()
    subprocess.run([binary, "--headless", "-o", "2", "-u", url], cwd=work, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, timeout=600, check=True)
    elapsed = time.monotonic() - start
    files = count_files(home, skip={"http.tmp", "img.tmp", "tmp.txt", "tmp2.txt", "tmp3.txt", "kvdir.htm"})
    shutil.rmtree(work, True)
    return elapsed, files


def time_wget(url):
    work = tempfile.mkdtemp(prefix="bench-wget-")
    start = time.monotonic()
    subprocess.run(["wget", "-q", "-r", "-l", "2", "-k", "-p", "-nH", "-P", work, url], stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, timeout=600)
    elapsed = time.monotonic() - start
    files = count_files(work)
    shutil.rmtree(work, True)
    return elapsed, files


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--korvel", default=os.path.join(here, "..", "build", "korvel"))
    parser.add_argument("--runs", type=int, default=5, help="runs of each tool; the best is printed")
    args = parser.parse_args()
    if not os.access(args.korvel, os.X_OK):
        sys.exit("no korvel binary at %s (build it first, or give --korvel)" % args.korvel)
    if not shutil.which("wget"):
        sys.exit("wget is not installed")

    root = tempfile.mkdtemp(prefix="bench-site-")
    try:
        pages = generate(root)
        server, port = serve(root)
        try:
            url = "http://127.0.0.1:%d/index.htm" % port
            korvel = min(time_korvel(args.korvel, url) for _ in range(args.runs))
            wget = min(time_wget(url) for _ in range(args.runs))
        finally:
            server.terminate()
            server.wait(10)
    finally:
        shutil.rmtree(root, True)
    print("site: %d pages, %d images, served by python3 -m http.server on 127.0.0.1" % (pages, pages))
    print("korvel -o 2            : %6.2f s, %d files saved" % korvel)
    print("wget -r -l 2 -k -p     : %6.2f s, %d files saved" % wget)


if __name__ == "__main__":
    main()
