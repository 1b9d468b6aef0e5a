#include "platform/files.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/temp_dir.h"

using testing_support::LeasesWork;
using testing_support::TempDir;

namespace {

TEST(HostPath, TranslatesDosPaths) {
    struct Case {
        const char* dos;
        const char* host;
    };
    const Case cases[] = {
        {"c:\\tmp\\x", "/tmp/x"},
        {"C:\\", "/"},
        {"c:tmp", "tmp"},
        {"c:", ""},
        {"x\\c:y", "x/c:y"},          // a drive only at the very start
        {"1:x", "1:x"},               // a drive is a letter
        {"ab:c", "ab:c"},
        {"\\korvel\\site", "/korvel/site"},
        {"\\korvel.\\mailbox.tmp", "/korvel/mailbox.tmp"},
        {"korvel..\\sub.\\f", "korvel/sub/f"},
        {"\\korvel\\01readme.", "/korvel/01readme."},  // the last component keeps its dots
        {"dir.\\", "dir/"},
        {".\\korvel.ini", "./korvel.ini"},
        {"..\\up\\.\\x", "../up/./x"},
        {"a/b.\\c", "a/b/c"},
        {"plain/posix/path.txt", "plain/posix/path.txt"},
        {"a\\\\b", "a//b"},
        {"", ""},
    };
    for (const Case& c : cases) EXPECT_EQ(HostPath(c.dos), c.host) << "for " << c.dos;
}

class FilesTest : public testing::Test {
protected:
    // The temp directory written the DOS way, with a "name." component that must resolve.
    std::string DosPath(const std::string& name) const { return dir.path() + "\\sub.\\" + name; }

    void SetUp() override { ASSERT_EQ(mkdir(dir.File("sub").c_str(), 0755), 0); }

    TempDir dir;
};

TEST_F(FilesTest, TextModeKeepsBytesAndNoFileIsInheritedByStartedPrograms) {
    FILE* out = FileOpen(DosPath("page.htm").c_str(), "w+t");
    ASSERT_NE(out, nullptr);
    EXPECT_TRUE(fcntl(fileno(out), F_GETFD) & FD_CLOEXEC);
    fputs("line one\nline two\r\n", out);
    fclose(out);
    EXPECT_EQ(dir.Read("sub/page.htm"), "line one\nline two\r\n");
    FILE* in = FileOpen(DosPath("page.htm").c_str(), "rt");
    ASSERT_NE(in, nullptr);
    char buffer[64] = {};
    EXPECT_EQ(fread(buffer, 1, sizeof buffer, in), 19u);
    EXPECT_STREQ(buffer, "line one\nline two\r\n");
    EXPECT_EQ(FileLength(in), 19);
    fclose(in);
}

TEST_F(FilesTest, ExistsRemoveAndMissingFiles) {
    dir.Write("sub/a.txt", "abc");
    EXPECT_TRUE(FileExists(DosPath("a.txt").c_str()));
    EXPECT_TRUE(FileExists((dir.path() + "\\sub.\\").c_str()));  // a directory counts
    EXPECT_FALSE(FileExists(DosPath("b.txt").c_str()));
    EXPECT_EQ(FileRemove(DosPath("a.txt").c_str()), 0);
    EXPECT_FALSE(dir.Exists("sub/a.txt"));
    EXPECT_NE(FileRemove(DosPath("a.txt").c_str()), 0);
    errno = 0;
    EXPECT_EQ(FileOpen(DosPath("a.txt").c_str(), "rb"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(FileLength(nullptr), -1);
}

// The server's check before it sends a file answers as opening it would, errno included.
TEST_F(FilesTest, OpensForReadingAnswersAsFopenWould) {
    dir.Write("sub/a.txt", "abc");
    ASSERT_EQ(mkdir(dir.File("sub/folder").c_str(), 0755), 0);
    for (const char* name : {"a.txt", "missing.txt", "folder", "folder\\", "missing\\a.txt", "a.txt\\x"}) {
        std::string path = DosPath(name);
        errno = 0;
        FILE* file = FileOpen(path.c_str(), "rb");
        int opened = errno;
        if (file) fclose(file);
        errno = 0;
        EXPECT_EQ(FileOpensForReading(path.c_str()), file != nullptr) << name;
        EXPECT_EQ(errno, opened) << name;
    }
}

// A file written anew replaces the old one (the old content stays with a reader that still
// has it open), keeps its permissions, and is emptied in place when it has a second name or
// is reached through a symbolic link, so that the other name sees the new content.
// The stream behaves as a file emptied at the open, while the old file is written over in place.
TEST_F(FilesTest, OpenAnewReadsAndEndsAsAnEmptiedFileAndCutsTheOldTail) {
    dir.Write("sub/page.htm", "the old page, longer than the new one");
    ASSERT_EQ(chmod(dir.File("sub/page.htm").c_str(), 0640), 0);
    ASSERT_EQ(link(dir.File("sub/page.htm").c_str(), dir.File("sub/second.htm").c_str()), 0);
    FILE* out = FileOpenAnew(DosPath("page.htm").c_str());
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(fgetc(out), EOF) << "nothing is read before it is written";
    fputs("abcdef", out);
    ASSERT_EQ(fseek(out, -3, SEEK_CUR), 0);
    fputc('X', out);
    EXPECT_EQ(ftell(out), 4);
    ASSERT_EQ(fseek(out, 0, SEEK_END), 0);
    EXPECT_EQ(ftell(out), 6) << "the end is what was written";
    ASSERT_EQ(fseek(out, 0, SEEK_SET), 0);
    char back[64] = {};
    EXPECT_EQ(fread(back, 1, sizeof back, out), 6u);
    EXPECT_STREQ(back, "abcXef");
    ASSERT_EQ(fseek(out, 2, SEEK_END), 0);
    fputc('Z', out);
    EXPECT_EQ(fseek(out, -1, SEEK_SET), -1);
    EXPECT_EQ(fclose(out), 0);
    EXPECT_EQ(dir.Read("sub/page.htm"), std::string("abcXef\0\0Z", 9));
    EXPECT_EQ(dir.Read("sub/second.htm"), std::string("abcXef\0\0Z", 9)) << "written in place, as fopen does";
    struct stat info;
    ASSERT_EQ(stat(dir.File("sub/page.htm").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);

    ASSERT_EQ(symlink("second.htm", dir.File("sub/alias.htm").c_str()), 0);
    FILE* again = FileOpenAnew(DosPath("alias.htm").c_str());
    ASSERT_NE(again, nullptr);
    fputs("through the link", again);
    fclose(again);
    EXPECT_EQ(dir.Read("sub/second.htm"), "through the link");
    FILE* fresh = FileOpenAnew(DosPath("new.htm").c_str());
    ASSERT_NE(fresh, nullptr);
    fclose(fresh);
    EXPECT_EQ(dir.Read("sub/new.htm"), "");
    EXPECT_EQ(FileOpenAnew(DosPath("missing/page.htm").c_str()), nullptr);
    EXPECT_EQ(FileOpenAnew(DosPath("").c_str()), nullptr) << "a directory";
}

// The same steps on a stream over a long old file and on a file fopen empties: every answer
// and the final bytes agree.
TEST_F(FilesTest, OpenAnewAnswersAsFopenDoesOverLongRunsAndSeeks) {
    dir.Write("sub/anew.bin", std::string(300000, 'o'));
    FILE* anew = FileOpenAnew(DosPath("anew.bin").c_str());
    FILE* plain = fopen(dir.File("sub/plain.bin").c_str(), "w+b");
    ASSERT_NE(anew, nullptr);
    ASSERT_NE(plain, nullptr);
    struct Step {
        char op;  // 'w' writes `size` bytes of `fill`, 's' seeks, 'r' reads `size` bytes
        long size;
        int whence;
        char fill;
    };
    const Step steps[] = {
        {'w', 70000, 0, 'a'},      {'s', -5, SEEK_CUR, 0},      {'w', 3, 0, 'b'},       {'s', 10, SEEK_SET, 0},
        {'w', 20, 0, 'c'},         {'s', 0, SEEK_END, 0},       {'w', 150000, 0, 'd'},  {'s', -200000, SEEK_END, 0},
        {'r', 100, 0, 0},          {'s', 0, SEEK_CUR, 0},       {'w', 7, 0, 'e'},       {'s', 100, SEEK_END, 0},
        {'r', 10, 0, 0},           {'s', 0, SEEK_CUR, 0},       {'w', 1, 0, 'f'},          {'s', 65530, SEEK_SET, 0},   {'w', 12, 0, 'g'},      {'s', 999, SEEK_SET, 0},
        {'w', 1, 0, 'p'},          {'s', 998, SEEK_SET, 0},     {'w', 1, 0, 'q'},       {'s', 0, SEEK_SET, 0},
        {'r', 400000, 0, 0},       {'s', 5, SEEK_SET, 0},       {'w', 2, 0, 'h'},
    };
    for (const Step& step : steps) {
        std::string label = std::string(1, step.op) + " " + std::to_string(step.size);
        if (step.op == 'w') {
            std::string bytes((size_t)step.size, step.fill);
            EXPECT_EQ(fwrite(bytes.data(), 1, bytes.size(), anew), fwrite(bytes.data(), 1, bytes.size(), plain))
                << label;
        } else if (step.op == 's') {
            EXPECT_EQ(fseek(anew, step.size, step.whence), fseek(plain, step.size, step.whence)) << label;
        } else {
            std::string a((size_t)step.size, '\0'), b((size_t)step.size, '\0');
            EXPECT_EQ(fread(&a[0], 1, a.size(), anew), fread(&b[0], 1, b.size(), plain)) << label;
            EXPECT_TRUE(a == b) << label;
        }
        EXPECT_EQ(ftell(anew), ftell(plain)) << label;
    }
    EXPECT_EQ(fclose(anew), 0);
    fclose(plain);
    std::string written = dir.Read("sub/anew.bin"), expected = dir.Read("sub/plain.bin");
    EXPECT_EQ(written.size(), expected.size());
    EXPECT_TRUE(written == expected);
}

// ---- Opening denying write ----

// Another process that holds a file open (with the given open flags) until released; it ends
// by itself after ten seconds, and the parent waits at most five for it to hold the file.
class HoldingProcess {
public:
    HoldingProcess(const std::string& path, int flags) {
        int report[2];
        if (pipe(report) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            alarm(10);
            char answer = open(path.c_str(), flags) >= 0 ? '1' : '0';
            if (write(report[1], &answer, 1) == 1) pause();
            _exit(0);
        }
        close(report[1]);
        fromChild_ = report[0];
    }
    ~HoldingProcess() {
        Release();
        if (fromChild_ >= 0) close(fromChild_);
    }
    // Waits until the child holds the file; false when it could not open it.
    bool Holding() {
        pollfd ready = {fromChild_, POLLIN, 0};
        char answer = 0;
        return pid_ > 0 && poll(&ready, 1, 5000) == 1 && read(fromChild_, &answer, 1) == 1 && answer == '1';
    }
    // Ends the child, which closes the file, and collects it.
    void Release() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    int fromChild_ = -1;
};

class DenyWriteTest : public FilesTest {
protected:
    void SetUp() override {
        FilesTest::SetUp();
        dir.Write("sub/answer.htm", "the answer");
        if (!LeasesWork(dir.File("sub/answer.htm"))) GTEST_SKIP() << "this file system grants no read leases";
    }

    std::string HostFile() const { return dir.File("sub/answer.htm"); }

    // Opens the file denying write: the content it reads, or "EACCES"/"ENOENT"/"errno N".
    std::string OpenDenyingWrite(const std::string& name = "answer.htm") {
        errno = 0;
        FILE* file = FileOpenDenyWrite(DosPath(name).c_str(), "rb");
        if (!file) return errno == EACCES ? "EACCES" : errno == ENOENT ? "ENOENT" : "errno " + std::to_string(errno);
        char buffer[64] = {};
        size_t n = fread(buffer, 1, sizeof buffer - 1, file);
        fclose(file);
        return std::string(buffer, n);
    }
};

TEST_F(DenyWriteTest, AnotherProcessWritingDeniesUntilItCloses) {
    EXPECT_EQ(OpenDenyingWrite(), "the answer");
    HoldingProcess writer(HostFile(), O_WRONLY);
    ASSERT_TRUE(writer.Holding());
    EXPECT_EQ(OpenDenyingWrite(), "EACCES");
    EXPECT_EQ(OpenDenyingWrite(), "EACCES");  // asking again changes nothing
    writer.Release();
    EXPECT_EQ(OpenDenyingWrite(), "the answer");
    EXPECT_EQ(OpenDenyingWrite("missing.htm"), "ENOENT");
}

TEST_F(DenyWriteTest, ReadersDoNotDenyButOurOwnWriterDoes) {
    HoldingProcess reader(HostFile(), O_RDONLY);
    ASSERT_TRUE(reader.Holding());
    EXPECT_EQ(OpenDenyingWrite(), "the answer");
    FILE* own = fopen(HostFile().c_str(), "rb");
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(OpenDenyingWrite(), "the answer");
    fclose(own);
    own = fopen(HostFile().c_str(), "ab");
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(OpenDenyingWrite(), "EACCES");
    fclose(own);
    EXPECT_EQ(OpenDenyingWrite(), "the answer");
}

TEST_F(DenyWriteTest, WriterOpeningAfterUsIsNotDisturbed) {
    FILE* file = FileOpenDenyWrite(DosPath("answer.htm").c_str(), "rb");
    ASSERT_NE(file, nullptr);
    // The lease is already gone: a writer opens at once, and no SIGIO ends this process.
    HoldingProcess writer(HostFile(), O_WRONLY | O_APPEND);
    EXPECT_TRUE(writer.Holding());
    fclose(file);
}

}  // namespace
