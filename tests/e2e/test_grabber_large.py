"""A larger grab: a generated site of 121 pages and 121 images, three levels deep, with the
default page and image limits."""

import os
import re
import unittest

from grabsite import PythonServer, links_of, port_text, report_documents, run_grab
from korvel import read_file

SECTIONS = 10
LEAVES_PER_SECTION = 11


def image(name):
    return b"GIF89a" + name.encode() + bytes(range(64))


def generate_site():
    """index.htm links to ten sections, each section to eleven leaves; every page shows an image
    of its own, and every leaf links to its neighbours, its section and the index."""
    files = {}
    leaves = ["s%d/leaf%03d.htm" % (s, s * LEAVES_PER_SECTION + i) for s in range(SECTIONS)
              for i in range(LEAVES_PER_SECTION)]
    files["index.htm"] = ("<html><body><h1>Index</h1><img src=\"img/index.gif\">\n"
                          + "".join('<a href="s%d/index.htm">section %d</a>\n' % (s, s) for s in range(SECTIONS))
                          + "</body></html>\n")
    files["img/index.gif"] = image("index")
    for s in range(SECTIONS):
        mine = [leaf for leaf in leaves if leaf.startswith("s%d/" % s)]
        files["s%d/index.htm" % s] = ("<html><body><h2>Section %d</h2><img src=\"../img/s%d.gif\">\n" % (s, s)
                                      + "".join('<a href="%s">%s</a>\n' % (os.path.basename(leaf), leaf) for leaf in mine)
                                      + '<a href="../index.htm">up</a></body></html>\n')
        files["img/s%d.gif" % s] = image("s%d" % s)
    for n, leaf in enumerate(leaves):
        neighbours = [leaves[m] for m in (n - 1, n + 1) if 0 <= m < len(leaves)]
        name = os.path.basename(leaf)[:-4]
        files[leaf] = ("<html><body><p>%s %s</p><img src=\"../img/%s.gif\">\n" % (leaf, "text " * 40, name)
                       + "".join('<a href="/%s">next door</a>\n' % other for other in neighbours)
                       + '<a href="index.htm">section</a> <a href="../index.htm">index</a></body></html>\n')
        files["img/%s.gif" % name] = image(name)
    return files


class LargeSite(unittest.TestCase):
    def test_three_levels_of_a_generated_site_with_the_default_limits(self):
        files = generate_site()
        pages = [n for n in files if n.endswith(".htm")]
        images = [n for n in files if n.endswith(".gif")]
        self.assertGreaterEqual(len(pages), 120)
        self.assertGreaterEqual(len(images), 120)
        server = PythonServer(self, files=files)

        g = run_grab(self, ["-o", "3", "-u", server.url("/index.htm")], timeout=240)
        self.assertTrue(g.out.endswith(b"*************\n* End Of URL* Reference= 01index.htm\n*************\n"
                                       b"\nServer is closed\n"), g.out[-400:])

        # Every document of the site is in the report, with its saved copy.
        documents = report_documents(g.report())
        prefix = "http://127.0.0.1:%s/" % port_text(server.port)
        reported = {url.decode()[len(prefix):] for url, saved in documents}
        self.assertEqual(reported, set(files))
        for url, saved in documents:
            self.assertTrue(os.path.isfile(saved.decode()), saved)
        self.assertEqual(g.report().count(b" File_OK"), len(documents))

        # The saved copies hold what the server sent, the pages with their links rewritten.
        for url, saved in documents:
            name = url.decode()[len(prefix):]
            data = read_file(saved)
            if name.endswith(".gif"):
                self.assertEqual(data, files[name])
            else:
                for tag, value in links_of(data):
                    local = value.split("#")[0]
                    self.assertTrue(value.startswith("http://") or os.path.isfile(os.path.join(g.home, local)),
                                    "%s in %s" % (value, name))
        self.assertEqual(len(re.findall(rb"\nasking for image ", g.out)), len(images))

        # The cache blocks of a link list overlap by 128 bytes (kept as it always was), so once
        # the page list passes 64 records, record 63 reads back with the head of record 64 over
        # its host and port: its fetch finds no host. Its neighbours list the page again at the
        # next level, which is why every document still arrives.
        self.assertEqual(g.out.count(b"OpenClient, Unable to Resolve \n0 bytes received\n0 bytes sent\n"), 1)
        self.assertIn(b"Order n\xb03, 1 URL(s) detected\n", g.out)


if __name__ == "__main__":
    unittest.main()
