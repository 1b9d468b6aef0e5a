#include "platform/files.h"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A drive prefix is one letter and a colon at the very start ("c:\tmp", "c:tmp").
bool HasDrivePrefix(const std::string& path) {
    return path.size() >= 2 && isalpha((unsigned char)path[0]) && path[1] == ':';
}

// DOS ignores trailing dots of a directory name: "korvel." names the directory "korvel".
// "." and ".." keep theirs, and so does the last component ("01readme." is a file name).
std::string StripDirectoryDots(const std::string& component) {
    if (component == "." || component == "..") return component;
    size_t end = component.find_last_not_of('.');
    return end == std::string::npos ? std::string() : component.substr(0, end + 1);
}

// Text and binary modes are the same here.
std::string HostMode(const char* mode) {
    std::string host;
    for (const char* c = mode; *c; ++c) {
        if (*c != 't') host += *c;
    }
    return host;
}

bool IsPlainReadMode(const char* mode) { return mode[0] == 'r' && !strchr(mode, '+'); }

// Breaking our lease sends SIGIO, whose default action would end the program. The lease is
// dropped at once, so the signal carries nothing we need.
void IgnoreLeaseBreaks() {
    static bool ignored = false;
    if (ignored) return;
    signal(SIGIO, SIG_IGN);
    ignored = true;
}

// Linux refuses a read lease exactly while some process has the file open for writing. A
// file system without leases (or a file we may not lease) is never taken as being written.
bool OpenForWritingElsewhere(int fd) {
    IgnoreLeaseBreaks();
    if (fcntl(fd, F_SETLEASE, F_RDLCK) == 0) {
        fcntl(fd, F_SETLEASE, F_UNLCK);
        return false;
    }
    return errno == EAGAIN;
}

// A directory is not a file: opening one fails (EISDIR), as it does on Windows, so a request
// for a directory name is answered like a missing file instead of a read error.
bool IsDirectory(int fd) {
    struct stat info;
    return fstat(fd, &info) == 0 && S_ISDIR(info.st_mode);
}

// Removes a non-empty file that FileOpenAnew will make again; returns the permissions to give
// the new file, or -1 when the file is to be emptied in place instead.
int RemoveToReplace(const std::string& host) {
    struct stat info;
    if (lstat(host.c_str(), &info) != 0) return -1;
    if (!S_ISREG(info.st_mode) || info.st_nlink != 1 || info.st_size == 0) return -1;
    if (access(host.c_str(), W_OK) != 0 || unlink(host.c_str()) != 0) return -1;
    return (int)(info.st_mode & 07777);
}

}  // namespace

std::string HostPath(const char* path) {
    std::string text = path;
    for (char& c : text) {
        if (c == '\\') c = '/';
    }
    if (HasDrivePrefix(text)) text.erase(0, 2);

    std::string host;
    size_t start = 0;
    for (size_t slash = text.find('/'); slash != std::string::npos; slash = text.find('/', start)) {
        host += StripDirectoryDots(text.substr(start, slash - start)) + '/';
        start = slash + 1;
    }
    return host + text.substr(start);
}


// 'e' (close on exec) keeps our files out of the programs that WinExec starts. Only a plain
// read opens a directory; any mode that writes fails on one by itself.
FILE* FileOpen(const char* path, const char* mode) {
    FILE* file = fopen(HostPath(path).c_str(), (HostMode(mode) + "e").c_str());
    if (file && IsPlainReadMode(mode) && IsDirectory(fileno(file))) {
        fclose(file);
        errno = EISDIR;
        return nullptr;
    }
    return file;
}

FILE* FileOpenAnew(const char* path) {
    std::string host = HostPath(path);
    int permissions = RemoveToReplace(host);
    FILE* file = fopen(host.c_str(), "w+be");
    if (file && permissions >= 0) fchmod(fileno(file), (mode_t)permissions);
    return file;
}

FILE* FileOpenDenyWrite(const char* path, const char* mode) {
    if (IsPlainReadMode(mode)) {
        FILE* file = FileOpen(path, mode);  // refuses a directory too
        if (file && OpenForWritingElsewhere(fileno(file))) {
            fclose(file);
            errno = EACCES;
            return nullptr;
        }
        return file;
    }
    // Another mode is looked at through a read-only descriptor first.
    int fd = open(HostPath(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    int refusal = IsDirectory(fd) ? EISDIR : OpenForWritingElsewhere(fd) ? EACCES : 0;
    close(fd);
    if (refusal != 0) {
        errno = refusal;
        return nullptr;
    }
    return FileOpen(path, mode);
}

long FileLength(FILE* file) {
    struct stat info;
    if (!file || fstat(fileno(file), &info) != 0) return -1;
    return (long)info.st_size;
}

int FileRemove(const char* path) { return unlink(HostPath(path).c_str()); }

bool FileExists(const char* path) {
    struct stat info;
    if (stat(HostPath(path).c_str(), &info) != 0) return false;
    return S_ISREG(info.st_mode) || S_ISDIR(info.st_mode);
}
