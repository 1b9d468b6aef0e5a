#include "server/mailbox.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/temp_dir.h"

using testing_support::TempDir;

namespace {

const std::string kHeading =
    "<html><head><TITLE>Mailbox</TITLE></head>\n"
    "<body><H1><IMG ALIGN=top SRC =\"korvel.gif\"> <A HREF=\"home.htm\">Korvel</A>Mailbox</H1>\n"
    "<HR>";
const std::string kClosing = "</body></html>\n";

// The raw file and page as the server names them: the home directory with a trailing dot.
class MailboxTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(mkdir(dir.File("site").c_str(), 0755), 0); }

    void Post(const std::string& form) {
        std::string raw = dir.Exists("site/mailbox.tmp") ? dir.Read("site/mailbox.tmp") : "";
        dir.Write("site/mailbox.tmp", raw + form + "\n<HR>");
        MailboxPage(Raw().c_str(), Page().c_str());
    }
    std::string Raw() const { return dir.path() + "\\site.\\mailbox.tmp"; }
    std::string Page() const { return dir.path() + "\\site.\\mailbox.htm"; }
    std::string PageContent() const { return dir.Read("site/mailbox.htm"); }

    TempDir dir;
};

TEST_F(MailboxTest, PostsFollowInArrivalOrderAndALongRawFileIsCopiedWhole) {
    Post("name bob text hi there");
    EXPECT_EQ(PageContent(), kHeading + "name bob text hi there\n<HR>" + kClosing);
    Post("second\nwith a line");
    EXPECT_EQ(PageContent(), kHeading + "name bob text hi there\n<HR>second\nwith a line\n<HR>" + kClosing);
    std::string post;
    for (int i = 0; post.size() < 1300; ++i) post += "line " + std::to_string(i) + " of a long post\n";
    ASSERT_EQ(remove(dir.File("site/mailbox.tmp").c_str()), 0);  // a deleted raw file starts again
    Post(post);
    EXPECT_EQ(PageContent(), kHeading + post + "\n<HR>" + kClosing);
}

TEST_F(MailboxTest, MissingRawFileLeavesThePageAlone) {
    MailboxPage(Raw().c_str(), Page().c_str());
    EXPECT_FALSE(dir.Exists("site/mailbox.htm"));

    dir.Write("site/mailbox.htm", "stale page");
    MailboxPage(Raw().c_str(), Page().c_str());
    EXPECT_EQ(PageContent(), "stale page");
}

TEST_F(MailboxTest, PageThatCannotBeMadeLeavesTheRawFile) {
    dir.Write("site/mailbox.tmp", "kept\n<HR>");
    MailboxPage(Raw().c_str(), (dir.path() + "\\missing\\mailbox.htm").c_str());
    EXPECT_EQ(dir.Read("site/mailbox.tmp"), "kept\n<HR>");
    EXPECT_FALSE(dir.Exists("missing"));
}

}  // namespace
