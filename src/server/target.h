// Decoding the target of a request line into the path to serve, the Mailbox form text and
// the CGI call text.
#pragma once

#include <string>

struct DecodedTarget {
    std::string path;  // the target with every '/' turned into the directory separator
    std::string form;  // the form text of a Mailbox post ("\form<br>name= Jo Ann<br>...")
    std::string call;  // the CGI call: the key, then the arguments separated by blanks
    bool query = false;  // a '?' was seen
    bool cgi = false;    // the last path component before the '?' begins with "cgi-dos"
};

DecodedTarget DecodeTarget(const std::string& target);

// True when a component of the target is "..": such a target is answered like a file that
// does not exist, so no request reads outside the home directory.
bool LeavesHome(const std::string& target);

// True when the target names one of the CGI gateway's working files: a waited call's output
// file "chN_NN", its ".url" (the caller's request line and header lines, cookies and
// credentials included) and its ".tok", the ".tok" of a file being written ("chN.tok"), and
// a request body "extN.txt". They belong to other visitors, so such a target is answered like
// a file that does not exist, whatever directory it puts the name in.
bool NamesGatewayFile(const std::string& target);
