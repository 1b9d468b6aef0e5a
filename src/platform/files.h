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

// True when FileOpen(path, "rb") would open the file (errno as it would leave it when not),
// found without making a stream: the server asks it of every file it is about to send.
bool FileOpensForReading(const char* path);

// FileOpen(path, "w+b") for a file that is written whole again and again (the pages a grab
// rewrites, its work files): the stream reads, seeks and ends as a file emptied at the open,
// but the new bytes overwrite the old ones in place and the close cuts the file to the length
// written. Emptying a file costs ext4 much: it frees the blocks (a discard on some disks) and
// writes the file out to the disk when it is closed (a guard against losing both versions in a
// crash), and a new file instead costs an inode search that slows with every file removed. The
// stream has no descriptor (fileno gives -1).
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
