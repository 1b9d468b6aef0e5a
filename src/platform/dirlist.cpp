// Directory listings into a dialog's list box, the way the file-choosing dialogs list a disk:
// subdirectories as "[name]" (with "[..]" above the root), files that match a pattern, and
// units as "[-c-]". A POSIX disk has one unit, the root, shown as "[-c-]" because a "c:"
// prefix is what the path translation reads as the root.
//
// The listing path is "directory/pattern"; the directory is listed, its absolute path goes
// into the path control, and the listing path keeps only the pattern, as the dialogs
// expect. Unlike its Windows namesake, the listing never changes the working directory.

#include <dirent.h>
#include <fnmatch.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstring>
#include <string>

#include "platform/files.h"
#include "platform/ui.h"

namespace {

constexpr const char* kRootUnit = "[-c-]";

void SplitListing(const std::string& listing, std::string& directory, std::string& pattern) {
    size_t slash = listing.find_last_of("/\\");
    if (slash == std::string::npos) {
        directory = ".";
        pattern = listing;
    } else {
        directory = listing.substr(0, slash + 1);
        pattern = listing.substr(slash + 1);
    }
    if (pattern.empty()) pattern = "*";
}

bool IsDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool IsRegularFile(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

void AddItem(HWND dialog, int listId, const std::string& item) {
    SendDlgItemMessageA(dialog, listId, LB_ADDSTRING, 0, (LPARAM)item.c_str());
}

// What a listing holds: with DDL_EXCLUSIVE only the kinds asked for, otherwise files always.
struct Wanted {
    bool units, directories, files;
};

Wanted WantedBy(UINT attributes) {
    bool exclusive = (attributes & DDL_EXCLUSIVE) != 0;
    return Wanted{(attributes & DDL_DRIVES) != 0, (attributes & DDL_DIRECTORY) != 0,
                  exclusive ? (attributes & DDL_ARCHIVE) != 0 : true};
}

void ListEntries(HWND dialog, int listId, const std::string& directory, const std::string& pattern, Wanted wanted) {
    DIR* dir = opendir(directory.c_str());
    if (!dir) return;
    bool directories = wanted.directories, files = wanted.files;
    while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name == ".") continue;
        std::string path = directory + "/" + name;
        if (IsDirectory(path)) {
            if (directories && (name != ".." || directory != "/")) AddItem(dialog, listId, "[" + name + "]");
        } else if (files && IsRegularFile(path) && fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) == 0) {
            AddItem(dialog, listId, name);
        }
    }
    closedir(dir);
}

}  // namespace

int DlgDirListA(HWND dialog, char* pathSpec, int listId, int pathId, UINT attributes) {
    if (!pathSpec) return FALSE;
    std::string directory, pattern;
    SplitListing(pathSpec, directory, pattern);
    char resolved[PATH_MAX];
    if (!realpath(HostPath(directory.c_str()).c_str(), resolved) || !IsDirectory(resolved)) return FALSE;
    if (listId) {
        Wanted wanted = WantedBy(attributes);
        SendDlgItemMessageA(dialog, listId, LB_RESETCONTENT, 0, 0);
        if (wanted.units) AddItem(dialog, listId, kRootUnit);
        if (wanted.directories || wanted.files) ListEntries(dialog, listId, resolved, pattern, wanted);
    }
    if (pathId) SetDlgItemTextA(dialog, pathId, resolved);
    strcpy(pathSpec, pattern.c_str());
    return TRUE;
}
