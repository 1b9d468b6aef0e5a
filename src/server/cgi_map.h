// The program table of the CGI gateway, cgi-dos.map in the working directory. One program a
// line, words separated by blanks or control characters:
//
//     key wait show program [argument ...]
//
// key is compared exactly with the call's key ("cgi-dos..."), and a word beginning with '*'
// matches every key; wait is yes when it begins with 'y' or 'Y'; show runs the program
// minimised when it begins with 'h' or 'H'. The first matching line with all four words wins.
// A line with no word, a line longer than 200 characters or the end of the file ends the
// search; a matching line that lacks a word is reported and the search goes on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "platform/wintypes.h"

constexpr const char* kCgiMapFile = "cgi-dos.map";
// Longest line of the map, line feed included.
constexpr int16_t kCgiMapLineLimit = 200;

struct CgiMapMatch {
    int16_t number = 0;   // line number of the match, from 1
    bool wait = false;    // the program's answer is awaited through the pipe files
    int16_t show = 0;     // the WinExec show mode
    char program[kCgiMapLineLimit + 1] = "";  // word 4
    int16_t rest = 0;     // where the scan stopped after word 4: words 5 and later follow
    int16_t last = 0;     // index of the last byte of the line (its line feed)
};

// Searches the map for key (keyLength characters, not NUL-terminated). Each line is read into
// `line`, which holds the matching line when the result is true. Prints the missing-word
// lines.
bool FindCgiProgram(HWND window, FILE* map, const char* key, size_t keyLength, char (&line)[kCgiMapLineLimit],
                    CgiMapMatch& match);
