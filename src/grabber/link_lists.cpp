// The link lists and GetSet.
//
// A cached block starts every 32768 bytes of the file while it is 64 records (32896 bytes)
// long, so neighbouring blocks overlap by 128 bytes. The placement is kept as it has always
// been: the files are private to one crawl and are read back only through GetSet. The block
// in the cache is written back on every block change, changed or not, and never at the end.

#include "grabber/grab.h"
#include "grabber/link_lists.h"

#include <cstring>
#include <new>

#include "base/app.h"
#include "base/print.h"
#include "grabber/fetch.h"
#include "platform/files.h"
#include "settings/settings.h"


namespace {

constexpr long kBlockStride = 32768;

// A record read back ends each of its texts within its field, whatever the file held.
void Terminate(UrlRecord* record) {
    record->file[kUrlFileSize - 1] = '\0';
    record->localName[kLocalNameSize - 1] = '\0';
    record->base[kUrlBaseSize - 1] = '\0';
    record->host[kUrlHostSize - 1] = '\0';
}

void Transfer(UrlRecord* record, uint16_t op, FILE* file) {
    if (op == kSetRecord) {
        fwrite(record, sizeof *record, 1, file);
    } else {
        if (fread(record, sizeof *record, 1, file) != 1) memset(record, 0, sizeof *record);
        Terminate(record);
    }
}

bool OpenList(LinkList& list, const char* name) {
    char path[256];
    PathJoin(path, Settings.Url.HomeDir, name);
    list.file = FileOpen(path, "w+b");
    if (!list.file) Print(MainWindow, "Unable to open file %s\n", name);
    return list.file != nullptr;
}

void GiveCache(LinkList& list, const char* name) {
    list.cache = new (std::nothrow) UrlRecord[kRecordsPerBlock]();
    if (!list.cache) Print(MainWindow, "Unable to allocate memory for %s\n", name);
    list.block = 0;
}

void Release(LinkList& list) {
    if (list.file) fclose(list.file);
    list.file = nullptr;
    delete[] list.cache;
    list.cache = nullptr;
}

}  // namespace

int16_t GetSet(UrlRecord* record, uint16_t op, int16_t index, FILE* list) {
    if (!list) {
        Print(MainWindow, "GetSet, File = NULL\n");
        return 0;
    }
    LinkList* owner = list == Grab.PageList.file ? &Grab.PageList : list == Grab.ImageList.file ? &Grab.ImageList : nullptr;
    if (!owner) {
        Print(MainWindow, "GetSet, invalid File\n");
        return 0;
    }
    if (index < 0) {
        Print(MainWindow, "GetSet, invalid index %d\n", index);
        return 0;
    }
    int16_t block = (int16_t)(index / kRecordsPerBlock);
    int slot = index % kRecordsPerBlock;
    int16_t old = owner->block;
    owner->block = block;
    if (!owner->cache) {
        fseek(list, (long)index * (long)sizeof(UrlRecord), SEEK_SET);
        Transfer(record, op, list);
        return 1;
    }
    if (old != block) {
        fseek(list, old * kBlockStride, SEEK_SET);
        fwrite(owner->cache, sizeof(UrlRecord), kRecordsPerBlock, list);
        fseek(list, block * kBlockStride, SEEK_SET);
        fread(owner->cache, sizeof(UrlRecord), kRecordsPerBlock, list);
    }
    if (op == kSetRecord) {
        owner->cache[slot] = *record;
    } else {
        *record = owner->cache[slot];
        Terminate(record);
    }
    return 1;
}

bool OpenLinkLists() {
    ReleaseLinkLists();
    if (!OpenList(Grab.PageList, "http.tmp")) return false;
    if (!OpenList(Grab.ImageList, "img.tmp")) {
        Release(Grab.PageList);
        return false;
    }
    GiveCache(Grab.PageList, "obj.cache");
    GiveCache(Grab.ImageList, "img.cache");
    return true;
}

void ReleaseLinkLists() {
    Release(Grab.ImageList);
    Release(Grab.PageList);
}
