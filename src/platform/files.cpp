#include "platform/files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
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
std::string_view StripDirectoryDots(std::string_view component) {
    if (component == "." || component == "..") return component;
    size_t end = component.find_last_not_of('.');
    return end == std::string_view::npos ? std::string_view() : component.substr(0, end + 1);
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

// A file written whole again over its old self, as fopen "w+" would give it, but without
// emptying it first: the new bytes overwrite the old ones in place, reads and the end stop at
// what has been written, and closing cuts the file to that length. The descriptor's offset is
// kept here, since the stream above asks for it as it would of a real file.
struct Rewrite {
    int fd;
    off64_t position = 0;
    off64_t written = 0;  // the file's length as the stream sees it
    off64_t onDisk = 0;   // what the file holds, old bytes past `written` included
};

ssize_t RewriteRead(void* cookie, char* buffer, size_t size) {
    Rewrite& r = *static_cast<Rewrite*>(cookie);
    if (r.position >= r.written) return 0;
    size = (size_t)std::min<off64_t>((off64_t)size, r.written - r.position);
    ssize_t got = pread(r.fd, buffer, size, r.position);
    if (got > 0) r.position += got;
    return got;
}

// Bytes skipped by a seek past the end read as zeros, as in a file emptied first.
bool FillGap(Rewrite& r) {
    static const char zeros[4096] = {};
    while (r.written < r.position) {
        size_t length = (size_t)std::min<off64_t>(sizeof zeros, r.position - r.written);
        ssize_t put = pwrite(r.fd, zeros, length, r.written);
        if (put <= 0) return false;
        r.written += put;
    }
    return true;
}

ssize_t RewriteWrite(void* cookie, const char* buffer, size_t size) {
    Rewrite& r = *static_cast<Rewrite*>(cookie);
    if (!FillGap(r)) return -1;
    ssize_t put = pwrite(r.fd, buffer, size, r.position);
    if (put <= 0) return -1;
    r.position += put;
    r.written = std::max(r.written, r.position);
    r.onDisk = std::max(r.onDisk, r.written);
    return put;
}

int RewriteSeek(void* cookie, off64_t* offset, int whence) {
    Rewrite& r = *static_cast<Rewrite*>(cookie);
    if (whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) {
        errno = EINVAL;
        return -1;
    }
    off64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? r.position : r.written;
    if (base + *offset < 0) {
        errno = EINVAL;
        return -1;
    }
    r.position = base + *offset;
    *offset = r.position;
    return 0;
}

int RewriteClose(void* cookie) {
    Rewrite* r = static_cast<Rewrite*>(cookie);
    int result = 0;
    if (r->onDisk > r->written && ftruncate(r->fd, r->written) != 0) result = -1;
    if (close(r->fd) != 0) result = -1;
    delete r;
    return result;
}

}  // namespace

std::string HostPath(const char* path) {
    std::string text = path;
    for (char& c : text) {
        if (c == '\\') c = '/';
    }
    if (HasDrivePrefix(text)) text.erase(0, 2);

    std::string_view view = text;
    std::string host;
    host.reserve(text.size());
    size_t start = 0;
    for (size_t slash = view.find('/'); slash != std::string_view::npos; slash = view.find('/', start)) {
        host.append(StripDirectoryDots(view.substr(start, slash - start)));
        host += '/';
        start = slash + 1;
    }
    host.append(view.substr(start));
    return host;
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

bool FileOpensForReading(const char* path) {
    int fd = open(HostPath(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    bool directory = IsDirectory(fd);
    close(fd);
    if (directory) errno = EISDIR;
    return !directory;
}

FILE* FileOpenAnew(const char* path) {
    int fd = open(HostPath(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return nullptr;
    struct stat info;
    if (fstat(fd, &info) != 0) {
        close(fd);
        return nullptr;
    }
    Rewrite* rewrite = new Rewrite{fd};
    rewrite->onDisk = info.st_size;
    FILE* file = fopencookie(rewrite, "w+", {RewriteRead, RewriteWrite, RewriteSeek, RewriteClose});
    if (!file) {
        close(fd);
        delete rewrite;
    }
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
