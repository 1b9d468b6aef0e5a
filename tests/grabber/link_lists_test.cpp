// The link lists: GetSet with and without its cache, and the record layout on disk.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "grabber/grab.h"
#include "grabber/grab_fixture.h"
#include "grabber/link_lists.h"
#include "support/temp_dir.h"

namespace {

using grab_testing::GrabTest;
using testing_support::ReadFile;

class LinkLists : public GrabTest {
protected:
    static UrlRecord Numbered(int i) {
        std::string name = "p" + std::to_string(i) + ".htm";
        return Record("srv", "/d/", name.c_str(), (int16_t)(8000 + i), "01x.htm");
    }
    std::string PageFile() {
        fflush(Grab.PageList.file);
        return ReadFile(HomeFile("http.tmp"));
    }
};

TEST_F(LinkLists, RefusesFilesThatAreNotOneOfTheLists) {
    ASSERT_TRUE(OpenLinkLists());
    UrlRecord r{};
    EXPECT_EQ(GetSet(&r, kSetRecord, 0, nullptr), 0);
    EXPECT_EQ(TakePrinted(), "GetSet, File = NULL\n");
    FILE* other = tmpfile();
    EXPECT_EQ(GetSet(&r, kSetRecord, 0, other), 0);
    EXPECT_EQ(TakePrinted(), "GetSet, invalid File\n");
    fclose(other);
    EXPECT_EQ(GetSet(&r, kGetRecord, -1, Grab.PageList.file), 0) << "a negative index would leave the cache";
}

TEST_F(LinkLists, ARecordIsItsFieldsAtFixedOffsets) {
    ASSERT_TRUE(OpenLinkLists());
    delete[] Grab.PageList.cache;  // direct reads and writes
    Grab.PageList.cache = nullptr;
    UrlRecord r = Record("host", "/b/", "f.htm", -2, "01f.htm");
    r.isHtml = 1;
    ASSERT_EQ(GetSet(&r, kSetRecord, 2, Grab.PageList.file), 1);
    std::string file = PageFile();
    ASSERT_EQ(file.size(), 3u * 514);
    std::string record = file.substr(2 * 514);
    EXPECT_EQ(record.substr(0, 6), std::string("f.htm\0", 6));
    EXPECT_EQ(record.substr(208, 8), std::string("01f.htm\0", 8));
    EXPECT_EQ(record.substr(221, 4), std::string("/b/\0", 4));
    EXPECT_EQ(record.substr(429, 5), std::string("host\0", 5));
    EXPECT_EQ(record.substr(510, 3), std::string("\xfe\xff\x01", 3)) << "the port little-endian, then isHtml";
    UrlRecord back{};
    ASSERT_EQ(GetSet(&back, kGetRecord, 2, Grab.PageList.file), 1);
    EXPECT_EQ(memcmp(&back, &r, sizeof r), 0);
}

TEST_F(LinkLists, CachedBlocksStartEvery32768BytesAndOverlapBy128) {
    ASSERT_TRUE(OpenLinkLists());
    for (int i = 0; i < 64; ++i) {
        UrlRecord r = Numbered(i);
        ASSERT_EQ(GetSet(&r, kSetRecord, (int16_t)i, Grab.PageList.file), 1);
    }
    EXPECT_EQ(PageFile().size(), 0u) << "block 0 stays in the cache";

    // Bytes already in the file where block 1 begins are what the cache reads for record 64.
    UrlRecord probe{};
    UrlRecord r64 = Numbered(64);
    ASSERT_EQ(GetSet(&r64, kSetRecord, 64, Grab.PageList.file), 1);
    std::string file = PageFile();
    ASSERT_EQ(file.size(), 64u * 514) << "block 0 written at offset 0";
    UrlRecord r0 = Numbered(0);
    EXPECT_EQ(memcmp(file.data(), &r0, sizeof r0), 0);
    EXPECT_EQ(Grab.PageList.block, 1);

    // Back to block 0: block 1 is written from 32768, over the last 128 bytes of record 63.
    ASSERT_EQ(GetSet(&probe, kGetRecord, 0, Grab.PageList.file), 1);
    file = PageFile();
    ASSERT_EQ(file.size(), 32768u + 64 * 514);
    EXPECT_EQ(memcmp(file.data() + 32768, &r64, sizeof r64), 0);
    ASSERT_EQ(GetSet(&probe, kGetRecord, 63, Grab.PageList.file), 1);
    UrlRecord r63 = Numbered(63);
    EXPECT_STREQ(probe.file, r63.file) << "the head of record 63 is intact";
    EXPECT_EQ(memcmp(reinterpret_cast<const char*>(&probe) + 386, &r64, 128), 0)
        << "its last 128 bytes are the head of record 64";
    EXPECT_NE(probe.port, r63.port);
    ASSERT_EQ(GetSet(&probe, kGetRecord, 64, Grab.PageList.file), 1);
    EXPECT_EQ(memcmp(&probe, &r64, sizeof r64), 0);
}

TEST_F(LinkLists, ReadsFromTheFileAlwaysEndTheirTexts) {
    ASSERT_TRUE(OpenLinkLists());
    delete[] Grab.ImageList.cache;
    Grab.ImageList.cache = nullptr;
    std::string junk(514, 'x');
    fwrite(junk.data(), 1, junk.size(), Grab.ImageList.file);
    UrlRecord r;
    ASSERT_EQ(GetSet(&r, kGetRecord, 0, Grab.ImageList.file), 1);
    EXPECT_EQ((std::vector<size_t>{strlen(r.file), strlen(r.localName), strlen(r.base), strlen(r.host)}),
              (std::vector<size_t>{207, 12, 207, 80}));
    ASSERT_EQ(GetSet(&r, kGetRecord, 5, Grab.ImageList.file), 1) << "a record beyond the end reads empty";
    EXPECT_STREQ(r.file, "");
}

}  // namespace
