#!/usr/bin/env python3
"""Writes the seed corpus of the fuzz targets (tests/fuzz/corpus/<target>/<name>).

The seeds are the program's documented cases put in each target's input format (see the head
of each *_fuzz.cpp): request lines, response headers, pages, URLs, settings files and echo
packets. Run it after changing a format or a case; the files it writes are kept in the
repository, so the fuzzers and the test suite never need it.
"""

import os
import shutil

HERE = os.path.dirname(os.path.abspath(__file__))


def options(bits):
    """An option byte: the low nibble carries the bits, printable from '0' to '?'."""
    return bytes([0x30 + bits])


def counted(data):
    assert len(data) < 256
    return bytes([len(data)]) + data


def pieces(data, size=255):
    return [data[i:i + size] for i in range(0, len(data), size)] or [b""]


# ---- the request target: steps of the peers ------------------------------------------------

class Visit:
    """Steps of the peers: an op byte (op << 3 | peer) and its operand."""

    def __init__(self, bits, modes=0):
        self.data = options(bits) + options(modes)

    def step(self, op, peer=0, operand=b""):
        self.data += bytes([(op << 3) | peer]) + operand
        return self

    def write(self, text, peer=0, op=0):
        for piece in pieces(text):
            self.step(op, peer, counted(piece))
        return self

    def bytewise(self, text, peer=0):
        return self.write(text, peer, 1)

    def close(self, peer=0):
        return self.step(2, peer)

    def half_close(self, peer=0):
        return self.step(3, peer)

    def tick(self, seconds=1):
        return self.step(4, 0, bytes([seconds]))

    def answer(self, text):
        return self.step(5, 0, counted(text))

    def connect(self, peer):
        return self.step(6, peer)

    def lock(self, tokens=False):
        return self.step(7, 0, bytes([1 if tokens else 0]))


HTTP10, KEEP, PROXY, FEW = 1, 2, 4, 8
SIMPLEX, SHOW_COMMANDS, QUIET, CGI_SYNCHRO = 1, 2, 4, 8


def request_seeds():
    long_199 = b"GET /" + b"a" * 191 + b"\r\n"  # 198 bytes and its LF: stays in the line
    long_200 = b"GET /" + b"a" * 192 + b"\r\n"
    extended = b"GET /" + b"f" * 240 + b"?name=x HTTP/1.0\r\n\r\n"
    too_long = b"GET /" + b"g" * 600 + b" HTTP/1.0\r\n\r\n"
    return {
        "file-with-header": Visit(HTTP10).write(b"GET /a.txt HTTP/1.0\r\n\r\n"),
        "home-page": Visit(HTTP10).write(b"GET / HTTP/1.0\r\n\r\n"),
        "directory-http09": Visit(HTTP10).write(b"GET /sub/\r\n"),
        "proxyhost-form": Visit(HTTP10).write(b"GET http://proxyhost/a.txt HTTP/1.0\r\n\r\n"),
        "head-unanswered": Visit(HTTP10).write(b"HEAD / HTTP/1.0\r\n\r\n"),
        "outside-home": Visit(HTTP10).write(b"GET /../korvel.ini HTTP/1.0\r\n\r\n"),
        "mime-from-settings": Visit(HTTP10).write(b"GET /data.xyz HTTP/1.0\r\nAccept: */*\r\n\r\n"),
        "missing-file": Visit(0).write(b"GET /nope.htm HTTP/1.0\r\n\r\n"),
        "mailbox-posts": Visit(HTTP10).write(b"GET /x?y=1 HTTP/1.0\r\n\r\n")
        .write(b"GET /form?name=Jo+Ann&text=Hi%21 HTTP/1.0\r\n\r\n", 1),
        "escapes": Visit(HTTP10).write(b"GET /e?a=%41%7f%1B%80%0A%0d%zz&b=%4/%2 HTTP/1.0\r\n\r\n"),
        "cgi-waited-answered": Visit(HTTP10).write(b"GET /cgi-dosw?a=1&b=2+3 HTTP/1.0\r\nUser-Agent: x\r\n\r\n").tick(1)
        .answer(b"site/a.txt\r\n").tick(1).tick(1),
        "cgi-answer-null": Visit(HTTP10).write(b"GET /cgi-dosa?q HTTP/1.0\r\n\r\n").answer(b"NULL").tick(2),
        "cgi-not-waited": Visit(HTTP10).write(b"GET /cgi-dosn?x=%41 HTTP/1.0\r\n\r\n"),
        "cgi-cannot-start": Visit(HTTP10).write(b"GET /cgi-dosm?x HTTP/1.0\r\n\r\n"),
        "cgi-unknown-and-forms": Visit(HTTP10).write(b"GET /cgi-dosz?x HTTP/1.0\r\n\r\n")
        .write(b"GET /cgi-do?a HTTP/1.0\r\n\r\n", 1).write(b"GET /cgi-dos/x?a HTTP/1.0\r\n\r\n", 2)
        .write(b"GET /cgi-dosbad?a HTTP/1.0\r\n\r\n", 3),
        "cgi-delayed": Visit(HTTP10).write(b"GET /cgi-dosw?one HTTP/1.0\r\n\r\n")
        .write(b"GET /cgi-dosw?two HTTP/1.0\r\n\r\n", 1).tick(1).answer(b"site/home.htm").tick(1).tick(1),
        "line-of-199": Visit(HTTP10).write(long_199),
        "line-of-200": Visit(HTTP10).write(long_200),
        "extended-command-form": Visit(HTTP10).write(extended),
        "extended-command-too-long": Visit(HTTP10).write(too_long),
        "byte-by-byte": Visit(HTTP10, SHOW_COMMANDS).bytewise(b"GET /a.txt HTTP/1.0\r\n\r\n"),
        "while-sending-simplex": Visit(HTTP10 | KEEP, SIMPLEX | QUIET)
        .write(b"GET /big.gif HTTP/1.0\r\n\r\nGET /a.txt HTTP/1.0\r\n\r\n").tick(1).tick(1),
        "cgi-token-locked": Visit(HTTP10, CGI_SYNCHRO).write(b"GET /cgi-dosw?t HTTP/1.0\r\n\r\n").lock(tokens=True)
        .tick(1).answer(b"site/a.txt").lock(tokens=True).close().tick(2).tick(70),
        "keep-alive": Visit(HTTP10 | KEEP).write(b"GET /a.txt HTTP/1.0\r\n\r\n")
        .write(b"GET /big.gif HTTP/1.0\r\n\r\nGET /sub/ HTTP/1.0\r\n\r\n"),
        "interleaved": Visit(HTTP10).write(b"GET /a.t", 0).write(b"GET /home.htm HTTP/1.0\r", 1)
        .write(b"xt HTTP/1.0\r\n\r\n", 0).close(1).half_close(2).write(b"GET / HTTP/1.0\r\n", 3).close(3),
        "locked-file": Visit(HTTP10).lock().write(b"GET /a.txt HTTP/1.0\r\n\r\n").tick(1).lock().tick(1),
        "all-channels-busy": Visit(HTTP10 | FEW).connect(0).connect(1).connect(2).connect(3)
        .write(b"GET /a.txt HTTP/1.0\r\n\r\n", 3).tick(3).tick(3),
        "time-limits": Visit(HTTP10 | KEEP | FEW).connect(0).write(b"GET /a").tick(61).tick(63).tick(63),
        "proxy-relay": Visit(HTTP10 | PROXY).write(b"GET / HTTP/1.0\r\n\r\n")
        .write(b"HTTP/1.0 200 OK\r\nContent-Length: 7\r\n\r\nrelayed", 4).close(4),
        "proxy-origin-first": Visit(PROXY).connect(0).write(b"HTTP/1.0 502 x\r\n\r\n" + b"y" * 240, 4).close(0),
    }


# ---- the response target: what the server answers ------------------------------------------

class Answer:
    """Steps of the origin server: an op byte and its operand."""

    def __init__(self, first, second=0, third=0, disk_page=None):
        self.data = options(first) + options(second) + options(third)
        if disk_page is not None:
            self.data += counted(disk_page)

    def op(self, code, operand=b""):
        self.data += bytes([code]) + operand
        return self

    def send(self, text, code=0):
        for piece in pieces(text):
            self.op(code, counted(piece))
        return self

    def bytewise(self, text):
        return self.send(text, 1)

    def end(self):
        return self.op(2)

    def tick(self, seconds=1):
        return self.op(3, bytes([seconds]))

    def filler(self, blocks):
        return self.op(4, bytes([blocks]))

    def toggle_serving(self):
        return self.op(5)


SAVE_AS, ONE, IMAGES, LEVELS, HTTP09, SHOWN = 0, 1, 2, 3, 4, 8
ANY_TYPE, TRAILER, TWO_LEVELS, RETRY = 1, 2, 4, 8
FROM_DISK, PREFIX_NAMES = 1, 2

START_PAGE = (
    b'<html><base href="http://srv/a/b/"><body background=bg.gif>'
    b'<a href="c.htm">c</a> <A HREF = "../up.htm#top">up</A> <a href=/a/b/d/e.htm>e</a>'
    b'<a href="http://srv/a/b/f.htm">f</a> <a href=http://other/x.htm>x</a> <a href="mailto:me">m</a>'
    b'<img src="i.gif"> <img src=http://srv/img/j.jpg> <input src=k.gif> <area href=map.htm>'
    b'<form action="post.cgi"></form></body></html>'
)
SUB_PAGE = b'<a href="c.htm">again</a> <a href="g.htm">g</a> <img src="i.gif"> <img src=h.gif>'


def html(body, length=True):
    head = b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n"
    if length:
        head += b"Content-Length: %d\r\n" % len(body)
    return head + b"\r\n" + body


def response_seeds():
    return {
        "whole": Answer(SAVE_AS).send(b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: 5\r\n\r\nhello").end(),
        "header-cut-anywhere": Answer(SAVE_AS).send(b"HTTP/1.0 2").send(b"00 OK\r\nContent-Le").send(b"ngth: 5\r")
        .send(b"\n\r\nhe").send(b"llo").end(),
        "header-byte-by-byte": Answer(ONE).bytewise(b"HTTP/1.1 301 Moved\r\nLocation: /x\r\ncontent-TYPE: text/plain\r\n\r\nok").end(),
        "body-shorter-than-announced": Answer(SAVE_AS).send(b"HTTP/1.0 200 OK\r\nContent-Length: 9\r\n\r\nhello").end(),
        "no-length": Answer(SAVE_AS).send(b"HTTP/1.0 404 Not Found\r\n\r\ngone").end(),
        "no-header": Answer(SAVE_AS).send(b"just a body\n").end(),
        "first-line-of-250": Answer(ONE).send(b"<" + b"p" * 250 + b">\nbody\n").end(),
        "long-header-lines": Answer(ONE)
        .send(b"HTTP/1.0 200 OK\r\nX-Long: " + b"v" * 230 + b"\r\nContent-Type: " + b"t" * 120 + b"\r\n\r\nbody").end(),
        "big-body": Answer(ONE).send(b"HTTP/1.0 200 OK\r\nContent-Length: 3840\r\n\r\n").filler(15).end(),
        "http09-request": Answer(ONE | HTTP09).send(b"HTTP/1.0 200 OK\r\n\r\nthe whole answer is the file").end(),
        "shown-on-console": Answer(SHOWN).send(b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n<p>\x01\x7f\xe9</p>\r\n").end(),
        "retry-then-answer": Answer(ONE, RETRY).end().send(html(b"second try")).end(),
        "time-limit": Answer(ONE).send(b"HTTP/1.0 200 OK\r\nContent-Length: 100\r\n\r\npart").tick(63).tick(63),
        "page-and-images": Answer(IMAGES, TRAILER).send(html(START_PAGE)).end().send(b"GIF89a").end().end().end(),
        "levels": Answer(LEVELS).send(html(START_PAGE)).end().send(html(SUB_PAGE, length=False)).end()
        .send(b"HTTP/1.0 200 OK\r\nContent-Type: image/gif\r\n\r\nGIF89a").end(),
        "two-levels-any-type": Answer(LEVELS, ANY_TYPE | TWO_LEVELS | TRAILER)
        .send(b"HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n" + START_PAGE).end().send(html(SUB_PAGE)).end()
        .send(html(b'<a href="c.htm">c</a><a href="../../z.htm">z</a>')).end(),
        "refused-then-served": Answer(IMAGES, RETRY).send(html(b'<img src="a.gif"><img src="b.gif"><img src="c.gif">'))
        .toggle_serving().end().toggle_serving().send(b"GIF89a").end(),
        "start-page-on-disk": Answer(LEVELS, TRAILER, FROM_DISK, b'<a href="http://2mypc/x/y.htm">y</a>'
                                     b'<a href="http://srv/a/z.htm">z</a><img src="http://2mypc/i.gif">')
        .send(html(b"<p>y</p>")).end(),
        "prefix-names": Answer(IMAGES, 0, PREFIX_NAMES).send(html(START_PAGE)).end(),
        "levels-type-not-html": Answer(LEVELS).send(b"HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n" + START_PAGE).end(),
    }


# ---- the page target ----------------------------------------------------------------------

FROM_DISK, FEW_LINKS, RICH_TAGS, WITH_TRAILER = 1, 2, 4, 8
ALL, SAME_PATH, DOWN_PATH, PORT_8080, NO_CACHE = 1, 2, 3, 4, 8

DETECT_CASES = (
    b'<A HREF="x.htm">x</A>\n<a\nhref=x2.htm>\n<A HREF = "x3.htm">\n<a> <body>\n<<a href=x4>\n'
    b'<a hhref="x5">\n<a title="href=y" href="x6">\n<a href = "x7">\n<a href=x8 y>\n'
    b'<a href="my page.htm">\n<a href="">\n<a href="x>y">\n<form action="x9">\n<base href="b/">\n'
    b"<a href='q.htm'>\n<a\thref=\"t\xe9.htm\">\n"
)


def page_seeds():
    links = (
        b'<a href="c/x.html">1</a><a href="../x.html">2</a><a href="./x.html">3</a><a href="/x.html">4</a>'
        b'<a href="http://127.0.0.1/a/b/y.htm#part">5</a><a href="http:/d/x.html">6</a><a href="http:x.html">7</a>'
        b'<a href="http://127.0.0.1:8080/a/b/z.htm">8</a><a href="http://2mypc/c/local.htm">9</a>'
        b'<a href="ftp://srv/d/x.zip">10</a><a href="#top">11</a><a href="mailto:me">12</a>'
        b'<a href="http://elsewhere/a/b/w.htm">13</a><a href="/a/b/c/deep.htm">14</a><a href="d/a:b.html">15</a>'
        b'<img src="i.gif"><img src="http://127.0.0.1/img/j.jpg"><img src=http://2mypc/k.gif><body background="bg.gif">'
        b'<input type=image src="in.gif"><area href="map.htm"><frame src="fr.htm"><script src="s.js"></script>'
    )
    return {
        "detect-cases": options(0) + options(0) + DETECT_CASES,
        "detect-cases-rich-tags": options(RICH_TAGS) + options(ALL) + DETECT_CASES,
        "links-local-scope": options(0) + options(0) + links,
        "links-all-scope-trailer": options(WITH_TRAILER) + options(ALL | PORT_8080) + links,
        "links-same-path": options(RICH_TAGS) + options(SAME_PATH) + links,
        "links-down-path-few": options(FEW_LINKS) + options(DOWN_PATH) + links,
        "links-from-disk": options(FROM_DISK | WITH_TRAILER) + options(0) + links,
        "value-of-495": options(0) + options(0) + b'<a href="' + b"v" * 495 + b'">',
        "value-cut-by-end": options(0) + options(0) + b'<a href="unfinished',
        "many-images": options(FEW_LINKS) + options(0) + b"".join(b'<img src="p%d.gif">' % i for i in range(8)),
        # More than the 64 records of a cached block.
        "many-links": options(0) + options(0) + b"".join(b"<a href=p%d.htm><img src=i%d.gif>" % (i, i) for i in range(100)),
        "many-links-no-cache": options(0) + options(NO_CACHE) + b"".join(b"<a href=q%d><img src=j%d>" % (i, i) for i in range(80)),
    }


# ---- the URL target -----------------------------------------------------------------------

AUTO_NAME, NO_INDEX, INDEX, LONG_PREFIX = 1, 2, 4, 8

ANALYSED_URLS = [
    b"http://srv", b"http://srv:8080/d/", b"http://srv/d/x.html", b"ftp://srv/d/x.zip", b"ftp://srv/d/",
    b"x.html", b"/x.html", b"c/x.html", b"../x.html", b"./x.html", b"http:/d/x.html", b"http:x.html",
    b"mailto:me", b"d/a:b.html", b"http://srv:99999/", b"http://user@srv/x", b"x.html#top", b"http:/",
    b"http://", b"/../../x/", b"../../../../x.htm", b"./../a/",
]
NAMES = [b"Index.HTML", b"welcome.html", b"README", b"", b"~~~", b"a.b.c", b"photo.jpeg", b"x.html?q=1#top"]


def url_seeds():
    lines = lambda urls: b"".join(u + b"\n" for u in urls)
    return {
        "analyser-cases": options(AUTO_NAME) + b"/a/b/\n" + lines(ANALYSED_URLS),
        "names-auto": options(AUTO_NAME) + b"/\n" + lines(NAMES),
        "names-prefix": options(0) + b"/\n" + lines(NAMES),
        "names-prefix-no-index": options(NO_INDEX | LONG_PREFIX) + b"/\n" + lines(NAMES),
        "names-index-overflows": options(AUTO_NAME | INDEX) + b"/\nzz\n" + lines(NAMES),
        "names-index-wraps": options(INDEX) + b"/\nzz0\n" + lines(NAMES),
        "names-index-typed": options(AUTO_NAME | INDEX) + b"/\nz~?x\n" + lines(NAMES),
        "levels-too-deep": options(AUTO_NAME) + b"/a/\n" + lines([b"../../x/y.htm", b"../x/", b"../y.htm"]),
        "deep-reference": options(AUTO_NAME) + b"/1/2/3/4/5/6/7/8/9/10/11/12/13/14/15/16/17/18/19/20/\n"
        + lines([b"../x.htm", b"a/b.htm"]),
        "long-parts": options(AUTO_NAME) + b"/a/b/\n"
        + lines([b"http://" + b"h" * 80 + b"/x", b"http://srv/" + b"d" * 210 + b"/x", b"f" * 210, b"/" + b"e" * 205 + b"/"]),
    }


# ---- the config target --------------------------------------------------------------------

KORVEL_INI = b"""; settings written by hand
[Server]
Mode=1cb
ServerPort=8080
LeavingTimeout=-1
WaitingTimeout=0x10
ProxyHost = "proxy.example"
HomeDir=\\korvel\\site
HowManyClients=30
[Client]
ClientHost='me'
[Url]
MaxURL=65535
Prefix=averyveryverylongprefix
Url=http://srv/a/b/index.htm
file:=file:///d|
[CGI]
CGIMax=2
CGISynchro=1
[Ping]
Page=yes
[intl]
iDate=2
sDate=.
iTime=1
sTime=h
s1159=morning
s2359=pm
[Mime]
css=text/css
txt = text/plain
xyz=
[server]
Mode=zz
"""


SAVE = 4


def config_seeds():
    return {
        "korvel-ini": options(0) + KORVEL_INI,
        "korvel-ini-crlf-saved": options(SAVE) + KORVEL_INI.replace(b"\n", b"\r\n"),
        "korvel-ini-saved": options(SAVE) + b"; only comments\n\n[Url]\nRetry=3",
        "intl-only": options(0) + b"[intl]\niDate=1\nsDate=-\niTime=0\ns1159=\xe0m\ns2359=\n",
        "mime-only": options(0) + b"[Mime]\nHTM=text/html\n=empty\n[Mime\nx=y",
        "tag-map": options(1) + b"* tag table\n; comment\n\nU <a href=\nI <img src=\nM <base x= Y\nU <frame src= N extra\n",
        "tag-map-lowercase-kind": options(1) + b"U <a href=\nu <a href=\nI <img src=\n",
        "tag-map-missing-words": options(1) + b"I <img\nU\n",
        "tag-map-full-table": options(1) + b"".join(b"U <t%d href=\n" % i for i in range(12)),
        "tag-map-long-words": options(1) + b"U <" + b"t" * 30 + b" href=\nI <img " + b"s" * 30 + b"=\n",
        "cgi-map": options(2) + b"cgi-dosw yes hide prog.exe -a\ncgi-dosx no show other.exe one two\n* y s all.exe\n",
        "cgi-map-missing-words": options(2) + b"cgi-dosx\ncgi-dosx yes\ncgi-dosx yes hide\n\ncgi-dos y h after.exe\n",
        "all-three": options(3) + b"[intl]\niDate=1\nU <a href=\ncgi-dosx yes hide p.exe\n",
    }


# ---- the ICMP target ----------------------------------------------------------------------

PAGE, LISTEN, AUTO, REPLY_TYPE = 1, 2, 4, 8
ECHO_OFF, HIDDEN = 1, 2


def icmp_input(first, second, text, steps):
    data = options(first) + options(second) + text + b"\n"
    for kind, payload in steps:
        data += bytes([kind]) + (b"" if kind == 1 else counted(payload))
    return data


REPLY_ABCDE = bytes.fromhex("00000000000000006162636465000000")
ECHO_ABCDE = bytes.fromhex("08000C780100C0C06162636465000000")  # the documented echo of "abcde", sequence 1
ECHO_HELLO = bytes.fromhex("0800E82C5C0070006865 6C6C6F000000".replace(" ", ""))  # page mode, sequence 7
REPLY_HELLO = b"\x00" + ECHO_HELLO[1:]


def icmp_seeds():
    return {
        "reply": icmp_input(0, 0, b"abcde", [(3, REPLY_ABCDE)]),
        "reply-bad-checksum": icmp_input(0, 0, b"abcde", [(2, REPLY_ABCDE)]),
        "reply-twice": icmp_input(AUTO, 0, b"abcde", [(3, REPLY_ABCDE), (3, REPLY_ABCDE), (1, b""), (3, REPLY_ABCDE)]),
        "reply-in-two-datagrams": icmp_input(0, 0, b"abcde", [(2, REPLY_ABCDE[:8]), (0, REPLY_ABCDE[8:])]),
        "other-tags": icmp_input(0, 0, b"abcde", [(0, ECHO_ABCDE), (0, b"\x00"), (0, b"")]),
        "timeouts": icmp_input(0, 0, b"", [(1, b"")] * 12),
        "auto-timeouts": icmp_input(AUTO, 0, b"x", [(1, b"")] * 6 + [(3, b"\x00" * 12)]),
        "echo-off-hidden": icmp_input(0, ECHO_OFF | HIDDEN, b"abcde", [(3, REPLY_ABCDE)]),
        "page-sender": icmp_input(PAGE, 0, b"hello", [(3, REPLY_HELLO)]),
        "page-reply-type": icmp_input(PAGE | REPLY_TYPE, 0, b"hello", [(3, REPLY_HELLO), (1, b"")]),
        "page-listener": icmp_input(PAGE | LISTEN, 0, b"", [(0, ECHO_HELLO), (0, REPLY_HELLO), (0, b"\x00\x00\x00\x00\xf0\x0f\x00\x00" + b"m" * 200), (1, b"")]),
        "long-data": icmp_input(0, 0, b"d" * 90, [(3, b"\x00" * 8 + b"d" * 92)]),
    }


def main():
    targets = {
        "request": {name: visit.data for name, visit in request_seeds().items()},
        "response": {name: answer.data for name, answer in response_seeds().items()},
        "page": page_seeds(),
        "url": url_seeds(),
        "config": config_seeds(),
        "icmp": icmp_seeds(),
    }
    for target, seeds in targets.items():
        folder = os.path.join(HERE, "corpus", target)
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        for name, data in seeds.items():
            with open(os.path.join(folder, name), "wb") as f:
                f.write(data)
        print(f"{target}: {len(seeds)} seeds")


if __name__ == "__main__":
    main()
