// Files, through the one path translation of the program.
//
// The routines build paths the DOS way (a "c:" drive, '\' separators, "dir.\name"). Every
// path goes through HostPath before it reaches the file system: '\' is a separator like '/',
// a drive prefix is dropped, and a directory component with trailing dots ("korvel.") loses
// them as DOS resolves it. Where a routine joins a path itself, it uses kDirSep, so console
// lines show ordinary POSIX paths.
//
// "Open denying write" is emulated: a file that another process holds open for writing fails
// to open with errno EACCES (Linux refuses a read lease exactly then). A file that is only
// open for reading elsewhere is not locked.
#pragma once

#include <cstdio>
#include <string>

constexpr char kDirSep = '/';
constexpr const char* kDirSepText = "/";

// The host path for a path written by a routine or read from the settings.
std::string HostPath(const char* path);

// fopen through the translation. The Windows mode letter 't' is accepted (text and binary
// modes are the same on POSIX).
FILE* FileOpen(const char* path, const char* mode);

// FileOpen(path, "w+b") for a file that is written whole again and again (the pages a grab
// rewrites): a non-empty file is replaced by a new one with the same permissions instead of
// being emptied in place. ext4 writes a file that was emptied and written again out to the
// disk when it is closed (a guard against losing both versions in a crash), which costs
// milliseconds a file. A file with other names, one reached through a symbolic link and one
// that may not be written are emptied in place as before. A handle still open on the old file
// keeps reading the old content, so only files that nothing holds open may use it.
FILE* FileOpenAnew(const char* path);

// fopen that also denies other writers: returns null with errno EACCES while another process
// has the file open for writing.
FILE* FileOpenDenyWrite(const char* path, const char* mode);

// Length of an open file in bytes, or -1.
long FileLength(FILE* file);

// Removes a file through the translation; 0 on success.
int FileRemove(const char* path);

// True when the path names an existing regular file or directory.
bool FileExists(const char* path);
