#!/bin/sh
# Signs the guest list. korvel does not wait for it ("n" in cgi-dos.map): the visitor gets
# stdack.htm as soon as the program has started.
#
# $1 is the guest list (a word of the map line); the other arguments are the words of the
# query, which are data: they are only ever quoted, never evaluated.

list=$1
shift
printf '%s  %s\n' "$(date '+%Y-%m-%d %H:%M')" "$*" >> "$list"
