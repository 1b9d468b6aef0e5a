// The small file routines of the grabber: copying, cutting a rewritten page to its new
// length, and path joining and splitting.

#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "grabber/fetch.h"
#include "platform/files.h"

namespace {

// Large enough that the file routines move most of a page in one system call.
constexpr size_t kCopyBlock = 65536;

// Copies `count` bytes of from into to (all of it when count is negative).
void CopyBytes(FILE* from, FILE* to, long count) {
    static char block[kCopyBlock];
    while (count != 0) {
        size_t want = count < 0 || (size_t)count > sizeof block ? sizeof block : (size_t)count;
        size_t n = fread(block, 1, want, from);
        if (n == 0) return;
        fwrite(block, 1, n, to);
        if (n < want) return;  // the end of the file (or an error, which a retry would repeat)
        if (count > 0) count -= (long)n;
    }
}

int16_t EndError(FILE* file, const char* text) {
    Print(MainWindow, "%s", text);
    fclose(file);
    return -1;
}

}  // namespace

int16_t CopyFile(const char* source, const char* target) {
    FILE* from = FileOpen(source, "rb");
    if (!from) {
        Print(MainWindow, "CopyFile, unable to open source file %s\n", source);
        return 0;
    }
    FILE* to = FileOpenAnew(target);
    if (!to) {
        Print(MainWindow, "CopyFile, unable to open destination file %s\n", target);
        fclose(from);
        return 0;
    }
    CopyBytes(from, to, -1);
    fclose(from);
    fclose(to);
    return 1;
}

// A page rewritten in place may leave old bytes behind its new end; this cuts them off.
int16_t CheckFileEnd(FILE* file, const char* target, const char* scratch) {
    long position = ftell(file);
    if (position < 0) return EndError(file, "CheckFileEnd fgetpos Error !!!\n");
    if (fseek(file, 0, SEEK_END) != 0) return EndError(file, "CheckFileEnd fseek Error !!!\n");
    long end = ftell(file);
    if (end < 0) return EndError(file, "CheckFileEnd fgetpos Error !!!\n");
    if (end == position) {
        fclose(file);
        return 0;
    }
    if (fseek(file, 0, SEEK_SET) != 0) return EndError(file, "CheckFileEnd fseek Error !!!\n");
    FILE* cut = FileOpenAnew(scratch);
    if (!cut) {
        Print(MainWindow, "CheckFileEnd, unable to open destination file %s\n", scratch);
        fclose(file);
        return -1;
    }
    CopyBytes(file, cut, position);
    fclose(cut);
    fclose(file);
    CopyFile(scratch, target);
    return 1;
}

char* PathJoin(char* buffer, size_t size, const char* dir, const char* name) {
    snprintf(buffer, size, "%s%c%s", dir, kDirSep, name);
    return buffer;
}

const char* BaseName(const char* path) {
    const char* name = path;
    for (const char* c = path; *c; ++c)
        if (*c == '/' || *c == '\\') name = c + 1;
    return name;
}

void ToDosSlashes(char* text) {
    for (char* c = text; *c; ++c)
        if (*c == '/') *c = '\\';
}

void ToUnixSlashes(char* text) {
    for (char* c = text; *c; ++c)
        if (*c == '\\') *c = '/';
}
