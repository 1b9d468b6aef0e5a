#!/bin/sh
# Answers a CGI call through the pipe files. korvel waits for it ("y" in cgi-dos.map).
#
# $1 is the output file korvel made for this call (in the site directory, e.g. site/ch0_01);
# the other arguments are the words of the query. The program writes its answer into $1 and
# then the name of the file to send back into "$1.tok"; korvel sends that file as it is, so
# the answer carries its own status line. The request line and header lines are in "$1.url".
# The query words are data: they are only ever quoted, never evaluated.

out=$1
shift

html() {
  sed -e 's/&/\&amp;/g' -e 's/</\&lt;/g' -e 's/>/\&gt;/g' -e 's/"/\&quot;/g'
}

{
  printf 'HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n'
  printf '<html><head><title>Hello from a CGI program</title></head>\n<body>\n'
  printf '<h1>Hello</h1>\n<p>The program received %d words:</p>\n<ol>\n' "$#"
  for word in "$@"; do
    printf '<li><tt>%s</tt></li>\n' "$(printf '%s' "$word" | html)"
  done
  printf '</ol>\n<p>The request, as korvel wrote it into <tt>%s.url</tt>:</p>\n<pre>' "${out##*/}"
  tr -d '\r' < "$out.url" | html
  printf '</pre>\n<p><a href="/cgi.htm">Back</a></p>\n</body></html>\n'
} > "$out"

printf '%s' "$out" > "$out.tok"
