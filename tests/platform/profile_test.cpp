#include "platform/profile.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/messages.h"
#include "support/temp_dir.h"

using testing_support::TempDir;

namespace {

class ProfileTest : public testing::Test {
protected:
    void SetUp() override { platform::FlushProfileCache(); }
    void TearDown() override { platform::FlushProfileCache(); }

    // The ini file the way the program names it, with '\' separators.
    std::string Ini() const { return dir.path() + "\\korvel.ini"; }
    void WriteIni(const std::string& content) const { dir.Write("korvel.ini", content); }
    std::string IniContent() const { return dir.Read("korvel.ini"); }

    std::string Get(const char* section, const char* key, const char* defaultText = "(default)",
                    DWORD size = 128) const {
        char buffer[128];
        memset(buffer, '#', sizeof buffer);
        DWORD length = GetPrivateProfileStringA(section, key, defaultText, buffer, size, Ini().c_str());
        EXPECT_EQ(length, strlen(buffer));
        return buffer;
    }
    UINT GetInt(const char* section, const char* key, int defaultValue = 42) const {
        return GetPrivateProfileIntA(section, key, defaultValue, Ini().c_str());
    }
    BOOL Write(const char* section, const char* key, const char* value) const {
        return WritePrivateProfileStringA(section, key, value, Ini().c_str());
    }

    TempDir dir;
};

// ---- Reading ----

const char kSettings[] =
    "; korvel settings\n"
    "Orphan=before any section\n"
    "[Server]\n"
    "Mode=1cb\n"
    "  ServerPort = 8080 \t\n"
    "ServerPort=9090\n"
    "HomeDir = \"\\korvel\\site\"  \n"
    "Prefix='kv'\n"
    "Spaced=\"  two  \"\n"
    "Mismatch=\"left'\n"
    "Empty=\n"
    "Equals=a=b\n"
    ";Hidden=1\n"
    "   ; Indented=2\n"
    "NoEqualsSign\n"
    "[ server ]\n"
    "OnlyInSecond=yes\n"
    "[Client]\n"
    "ClientHost=far\n";

// Names compare without case and the first match wins; values lose their blanks and one pair
// of quotes; comments and lines without '=' are no keys.
TEST_F(ProfileTest, ReadingFindsKeysAndTheirValuesByTheRules) {
    WriteIni(kSettings);
    const char* const rows[][3] = {
        {"Server", "Mode", "1cb"},           {"SERVER", "mode", "1cb"},
        {"server", "SERVERPORT", "8080"},    {"Server", "OnlyInSecond", "(default)"},
        {"client", "clienthost", "far"},     {"Server", "ClientHost", "(default)"},
        {"Server", "Orphan", "(default)"},   {"Server", "HomeDir", "\\korvel\\site"},
        {"Server", "Prefix", "kv"},          {"Server", "Spaced", "  two  "},
        {"Server", "Mismatch", "\"left'"},   {"Server", "Empty", ""},
        {"Server", "Equals", "a=b"},         {"Server", "Hidden", "(default)"},
        {"Server", ";Hidden", "(default)"},  {"Server", "Indented", "(default)"},
        {"Server", "NoEqualsSign", "(default)"}, {"Nowhere", "Mode", "(default)"},
    };
    for (const auto& row : rows) EXPECT_EQ(Get(row[0], row[1]), row[2]) << row[0] << "/" << row[1];
}

TEST_F(ProfileTest, CrLfLinesAndALastLineWithoutEnd) {
    WriteIni("[Url]\r\nHomeDir=\\tmp\r\nUrl=host/page \r\nLast=end");
    EXPECT_EQ(Get("Url", "HomeDir"), "\\tmp");
    EXPECT_EQ(Get("Url", "Url"), "host/page");
    EXPECT_EQ(Get("Url", "Last"), "end");
}

TEST_F(ProfileTest, AMissingFileGivesTheDefault) {
    EXPECT_EQ(Get("Server", "Mode"), "(default)");
    EXPECT_EQ(Get("Server", "Mode", nullptr), "");
    EXPECT_FALSE(dir.Exists("korvel.ini"));  // reading creates nothing
}

TEST_F(ProfileTest, CopiesAtMostSizeMinusOneCharacters) {
    WriteIni("[Server]\nMailbox=mailbox\n");
    EXPECT_EQ(Get("Server", "Mailbox", "", 5), "mail");
    EXPECT_EQ(Get("Server", "Mailbox", "", 8), "mailbox");
    EXPECT_EQ(Get("Server", "Mailbox", "", 1), "");
    EXPECT_EQ(Get("Server", "Missing", "defaulted", 4), "def");

    char untouched = 'x';
    EXPECT_EQ(GetPrivateProfileStringA("Server", "Mailbox", "", &untouched, 0, Ini().c_str()), 0u);
    EXPECT_EQ(untouched, 'x');
}

// Numbers are decimal: a sign, digits, and nothing from the first other character on.
TEST_F(ProfileTest, IntegersAreReadAsDecimal) {
    WriteIni("[N]\nminus=-1\nbig=70000\nwrapped=4294967297\nword=abc\nempty=\nhex=0x1F\nupper=0X1f\nnegative=-12\n"
             "plus=+5\nsigns=+-5\nsignOnly=-\nspacedSign=- 5\ntrailing=12abc\nfraction=3.9\nquoted=\"7\"\n"
             "quotedBlanks=\"  8 \"\nblanks=   33   \nleadingZeros=010\n");
    const struct {
        const char* key;
        int defaultValue;
        UINT value;
    } rows[] = {{"minus", 0, 0xFFFFFFFFu},  {"big", 0, 70000},      {"wrapped", 0, 1},
                {"word", 42, 0} /* present: 0, not the default */,  {"empty", 42, 0},
                {"hex", 7, 0},              {"upper", 7, 0},        {"negative", 0, (UINT)-12},
                {"plus", 0, 5},             {"signs", 9, 0},        {"signOnly", 9, 0},
                {"spacedSign", 9, 0},       {"trailing", 0, 12},    {"fraction", 0, 3},
                {"quoted", 0, 7},           {"quotedBlanks", 0, 8}, {"blanks", 0, 33},
                {"leadingZeros", 0, 10},    {"missing", 42, 42},    {"missing", -5, (UINT)-5}};
    for (const auto& row : rows) EXPECT_EQ(GetInt("N", row.key, row.defaultValue), row.value) << row.key;
    EXPECT_EQ(GetInt("Nowhere", "big", 9), 9u);
}

TEST_F(ProfileTest, RelativePathsWithDosSeparators) {
    testing_support::ChangeDir here(dir.path());
    WriteIni("[Mime]\ntxt=text/plain\n");
    char buffer[80];
    GetPrivateProfileStringA("Mime", "txt", "", buffer, sizeof buffer, ".\\korvel.ini");
    EXPECT_STREQ(buffer, "text/plain");
}

// ---- Writing ----

// Each row: the file before (none: nullptr), the writes (a null value deletes a key, a null
// key a section), and the file after (none: nullptr). Every write succeeds.
TEST_F(ProfileTest, WritesAndDeletes) {
    struct Row {
        const char* before;
        std::vector<std::array<const char*, 3>> writes;
        const char* after;
    };
    const Row rows[] = {
        // Sections and keys are made in order.
        {nullptr,
         {{"Server", "Mode", "1cb"}, {"Server", "ServerPort", "80"}, {"Client", "ClientHost", "me"},
          {"Server", "Mailbox", "mailbox"}},
         "[Server]\nMode=1cb\nServerPort=80\nMailbox=mailbox\n\n[Client]\nClientHost=me\n"},
        // A new key goes after the last line of its section.
        {"[Server]\nMode=1cb\n; end of server\n\n\n[Client]\nClientDef=3\n", {{"Server", "HowManyClients", "9"}},
         "[Server]\nMode=1cb\n; end of server\nHowManyClients=9\n\n\n[Client]\nClientDef=3\n"},
        {"[Server]\nMode=1cb\n; end of server\nHowManyClients=9\n\n\n[Client]\nClientDef=3\n", {{"Client", "ClientPort", "80"}},
         "[Server]\nMode=1cb\n; end of server\nHowManyClients=9\n\n\n[Client]\nClientDef=3\nClientPort=80\n"},
        // A new section goes to the end after a blank line.
        {"[Server]\nMode=1cb", {{"CGI", "CGIMax", "1"}}, "[Server]\nMode=1cb\n\n[CGI]\nCGIMax=1\n"},
        {"[Server]\nMode=1cb\n\n", {{"CGI", "CGIMax", "1"}}, "[Server]\nMode=1cb\n\n[CGI]\nCGIMax=1\n"},
        {"", {{"CGI", "CGIMax", "1"}}, "[CGI]\nCGIMax=1\n"},
        // CR LF files get CR LF lines.
        {"[Server]\r\nMode=1cb\r\n", {{"Server", "Mode", "18a"}, {"Server", "ServerPort", "80"}, {"Url", "Url", "host/"}},
         "[Server]\r\nMode=18a\r\nServerPort=80\r\n\r\n[Url]\r\nUrl=host/\r\n"},
        // Deleting a key, a section, and what is not there.
        {"[Server]\nMode=1cb\nServerPort=80\n\n[Client]\nClientHost=me\n\n[Url]\nUrl=x\n", {{"server", "MODE", nullptr}},
         "[Server]\nServerPort=80\n\n[Client]\nClientHost=me\n\n[Url]\nUrl=x\n"},
        {"[Server]\nServerPort=80\n\n[Client]\nClientHost=me\n\n[Url]\nUrl=x\n", {{"Client", nullptr, nullptr}},
         "[Server]\nServerPort=80\n\n[Url]\nUrl=x\n"},
        {"[Server]\nServerPort=80\n\n[Url]\nUrl=x\n", {{"Server", "Absent", nullptr}, {"Absent", nullptr, nullptr}},
         "[Server]\nServerPort=80\n\n[Url]\nUrl=x\n"},
        {nullptr, {{"Server", "Mode", nullptr}}, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.before ? row.before : "(no file)");
        remove(dir.File("korvel.ini").c_str());
        platform::FlushProfileCache();
        if (row.before) WriteIni(row.before);
        for (const auto& [section, key, value] : row.writes) EXPECT_TRUE(Write(section, key, value));
        EXPECT_EQ(dir.Exists("korvel.ini"), row.after != nullptr);
        if (!row.after) continue;
        EXPECT_EQ(IniContent(), row.after);
        EXPECT_EQ(Get("Client", "ClientHost"), strstr(row.after, "ClientHost=me") ? "me" : "(default)")
            << "a read sees the file as written";
    }
}

// A replaced line loses its blanks and comment; every other line stays, and so does the
// spelling of the key.
TEST_F(ProfileTest, ReplacingKeepsEveryOtherLineAndTheKeysSpelling) {
    WriteIni("; written by hand\n[Server]\n  ServerPort = 80   ; the usual\nHomeDir=\\korvel\n\n[server]\nServerPort=1\n"
             "[Client]\nServerPort=2\n");
    EXPECT_TRUE(Write("SERVER", "serverport", "8080"));
    EXPECT_EQ(IniContent(), "; written by hand\n[Server]\nServerPort=8080\nHomeDir=\\korvel\n\n[server]\nServerPort=1\n"
                            "[Client]\nServerPort=2\n");
    EXPECT_EQ(Get("Server", "ServerPort"), "8080");
}

TEST_F(ProfileTest, WriteFailsWhereNoFileCanBeMade) {
    std::string nowhere = dir.path() + "\\no-such-dir\\korvel.ini";
    EXPECT_FALSE(WritePrivateProfileStringA("Server", "Mode", "1cb", nowhere.c_str()));
}

// ---- The cache ----

class ProfileCacheTest : public ProfileTest {
public:
    // For a window procedure that reads and edits the file as a request would.
    std::string Read() const { return Get("Mime", "txt"); }
    void Edit(const std::string& content) const { WriteIni(content); }

protected:
    void SetUp() override {
        ProfileTest::SetUp();
        WriteIni("[Mime]\ntxt=text/plain\n");
        ASSERT_EQ(Get("Mime", "txt"), "text/plain");  // now cached
    }

    timespec ModificationTime() const {
        struct stat info;
        stat(dir.File("korvel.ini").c_str(), &info);
        return info.st_mtim;
    }
    void SetModificationTime(timespec when) const {
        timespec times[2] = {when, when};
        utimensat(AT_FDCWD, dir.File("korvel.ini").c_str(), times, 0);
    }
};

TEST_F(ProfileCacheTest, SeesAModificationTimeAnotherFileOrAnotherSize) {
    timespec later = ModificationTime();
    later.tv_nsec = (later.tv_nsec + 1) % 1000000000;
    WriteIni("[Mime]\ntxt=text/PLAIN\n");  // same size, same inode
    SetModificationTime(later);
    EXPECT_EQ(Get("Mime", "txt"), "text/PLAIN");
    dir.Write("new.ini", "[Mime]\ntxt=text/plaiN\n");
    ASSERT_EQ(rename(dir.File("new.ini").c_str(), dir.File("korvel.ini").c_str()), 0);
    SetModificationTime(later);
    EXPECT_EQ(Get("Mime", "txt"), "text/plaiN");
    WriteIni("[Mime]\ntxt=text/x-other\n");
    SetModificationTime(later);
    EXPECT_EQ(Get("Mime", "txt"), "text/x-other");
    ASSERT_EQ(remove(dir.File("korvel.ini").c_str()), 0);
    EXPECT_EQ(Get("Mime", "txt"), "(default)");
}

TEST_F(ProfileCacheTest, KeepsTheParsedFileUntilFlushedButSeesItsOwnWrites) {
    timespec old = ModificationTime();
    WriteIni("[Mime]\ntxt=text/PLAIN\n");  // same inode, same size
    SetModificationTime(old);
    EXPECT_EQ(Get("Mime", "txt"), "text/plain");
    platform::FlushProfileCache();
    EXPECT_EQ(Get("Mime", "txt"), "text/PLAIN");
    EXPECT_TRUE(Write("Mime", "txt", "text/html"));
    EXPECT_EQ(Get("Mime", "txt"), "text/html");
}

// Each posted message reads the key twice and rewrites the file in between (another size), as
// a request that reads several keys while someone edits the file. The file is looked at once
// per message: both reads of a message agree, and the next message sees the edit.
std::vector<std::string> readsInMessages;
const ProfileCacheTest* readingTest = nullptr;

LRESULT ReadTwice(HWND, UINT message, WPARAM edit, LPARAM) {
    if (message != WM_USER) return 0;
    readsInMessages.push_back(readingTest->Read());
    readingTest->Edit("[Mime]\ntxt=" + std::string((size_t)edit, 'x') + "\n");
    readsInMessages.push_back(readingTest->Read());
    return 0;
}

TEST_F(ProfileCacheTest, LooksAtTheFileOncePerDispatchedMessage) {
    WNDCLASSEXA cls{};
    cls.cbSize = sizeof cls;
    cls.lpfnWndProc = ReadTwice;
    cls.lpszClassName = "PROFILEREADER";
    RegisterClassExA(&cls);
    HWND window = CreateWindowExA(0, "PROFILEREADER", "t", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    readingTest = this;
    readsInMessages.clear();
    PostMessageA(window, WM_USER, 1, 0);
    PostMessageA(window, WM_USER, 2, 0);
    platform::DispatchPendingEvents(1);
    EXPECT_EQ(readsInMessages, (std::vector<std::string>{"text/plain", "text/plain", "x", "x"}));
    EXPECT_EQ(Get("Mime", "txt"), "xx") << "outside a message every read looks at the file";
    DestroyWindow(window);
    platform::ResetWindows();
}

}  // namespace
