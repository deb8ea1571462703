// Link files and logs that no library writes.
#include "flips/hostile.h"

#include <cerrno>

namespace flips {
namespace {

class HostileLink : public Hostile {
  protected:
    void SetUp() override { take("indexes"); }
    void link(const std::string &text) { beside("/set/file.lnk", Bytes(text.begin(), text.end())); }
};

TEST_F(HostileLink, EmptyOneLeadsNowhereElse) {
    link("");
    expectOpens();
}

TEST_F(HostileLink, EmptyLineIsNoName) {
    link("\n");
    expectOpens(ENOENT, 0x11);
}

TEST_F(HostileLink, LineWithoutItsNewlineLosesItsLastCharacter) {
    link("/set/file");
    expectOpens(ENOENT, 0x11);
    link("/set/filex");
    expectOpens();
}

TEST_F(HostileLink, OneThatPointsToItself) {
    link("/set/file\n");
    expectOpens();
    link("/set/file.lnk\n");
    expectOpens(ENOENT, 0x11);
}

TEST_F(HostileLink, DirectoryInItsPlaceIsPassedOver) {
    directoryBeside("/set/file.lnk");
    expectOpens();
}

TEST_F(HostileLink, LineThatIsTooLong) {
    for (const std::size_t length : {251U, 252U, 254U, 255U, 4096U, 100000U}) {
        link(std::string(length, 'x') + "\n");
        length < 252 ? expectOpens(ENOENT, 0x11) : expectOpens(ISERR_NAMETOOLONG);
        link(std::string(length, 'x'));
        length <= 252 ? expectOpens(ENOENT, 0x11) : expectOpens(ISERR_NAMETOOLONG);
    }
}

TEST_F(HostileLink, BytesThatAreNoText) {
    link(std::string("/set/file\0/set/other\n", 21));
    expectOpens();
    link(std::string(300, '\0'));
    expectOpens(ENOENT, 0x11);
    link(std::string("\xff\xfe\x01\n"));
    expectOpens(ENOENT, 0x11);
}

// A log whose links the process itself has to follow.
class HostileLog : public testing::Test {
  protected:
    static constexpr const char *kLog = "/set/log";
    void SetUp() override {
        const FlipKind &kind = *kindNamed("indexes");
        set_ = makeSet(kind);
        memory_files::clear();
        install(set_);
        ASSERT_EQ(islogopen(kLog), 0);
        fd_ = isopen(kBase, ISINOUT | ISTRANS);
        ASSERT_GE(fd_, 0);
        ASSERT_EQ(isbegin(), 0);
        for (int n = 1; n <= 3; ++n) {
            starts_.push_back(log().size());
            int length = 0;
            ASSERT_EQ(iswrite(fd_, recordOf(kind, kind.records + n, &length)), 0) << iserrno;
        }
    }
    void TearDown() override {
        iscleanup();
        islogclose();
        EXPECT_EQ(memory_files::openDescriptors(), 0);
        memory_files::clear();
    }
    static Bytes &log() { return *memory_files::find(kLog); }
    // Has record i of the changes point back to the record at an offset, of that length.
    void linkBack(std::size_t i, std::size_t offset, std::size_t length) {
        Bytes &bytes = log();
        for (std::size_t byte = 0; byte < 4; ++byte)
            bytes[starts_[i] + 12 + byte] = static_cast<std::uint8_t>(offset >> (8 * (3 - byte)));
        bytes[starts_[i] + 16] = static_cast<std::uint8_t>(length >> 8);
        bytes[starts_[i] + 17] = static_cast<std::uint8_t>(length);
    }
    std::size_t lengthOf(std::size_t i) const { return log()[starts_[i]] * 256U + log()[starts_[i] + 1]; }
    void expectNoRollback() {
        EXPECT_EQ(isrollback(), -1);
        EXPECT_TRUE(iserrno == ISERR_LOGREAD || iserrno == ISERR_BADLOG) << iserrno;
        // The transaction is over, and the handle is usable.
        EXPECT_EQ(isrollback(), -1);
        EXPECT_EQ(iserrno, ISERR_NOTRANSACTION);
        EXPECT_EQ(ischeckindex(fd_, 1), 0);
        EXPECT_EQ(ischeckdata(fd_), 0);
    }

    FileSet set_;
    int fd_ = -1;
    std::vector<std::size_t> starts_;
};

TEST_F(HostileLog, RecordThatLinksBackToItself) {
    linkBack(2, starts_[2], lengthOf(2));
    expectNoRollback();
}

TEST_F(HostileLog, RecordsThatLinkBackInACircle) {
    linkBack(0, starts_[2], lengthOf(2));
    expectNoRollback();
}

TEST_F(HostileLog, LinkBeyondTheLog) {
    linkBack(2, log().size(), lengthOf(2));
    expectNoRollback();
}

TEST_F(HostileLog, LinkIntoTheMiddleOfARecord) {
    linkBack(2, starts_[1] + 3, lengthOf(1));
    expectNoRollback();
}

// The record itself tells how long it is.
TEST_F(HostileLog, LinkOfAnotherLengthIsFollowedAllTheSame) {
    linkBack(2, starts_[1], 65535);
    linkBack(1, starts_[0], 0);
    EXPECT_EQ(isrollback(), 0) << iserrno;
    const FlipKind &kind = *kindNamed("indexes");
    int length = 0;
    for (int n = 1; n <= 3; ++n) {
        EXPECT_EQ(isread(fd_, recordOf(kind, kind.records + n, &length), ISEQUAL), -1);
        EXPECT_EQ(iserrno, ISERR_NOTFOUND);
    }
    EXPECT_EQ(ischeckdata(fd_), 0);
}

TEST_F(HostileLog, LogThatIsCutOff) {
    log().resize(starts_[2] + 10);
    expectNoRollback();
}

TEST_F(HostileLog, LogThatIsEmptied) {
    log().clear();
    expectNoRollback();
}

}  // namespace
}  // namespace flips
