// The binary form of a file: what goes in comes out again, and damage is found.
#include "archive/archive.h"

#include "archive/contents.h"
#include "archive/settings.h"
#include "base/failure.h"
#include "tools/sample.h"
#include "tools/snapshot.h"
#include "tools/tool_run.h"

#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using tool::Failure;
using tool::OpenFile;
using tool_tests::allKinds;
using tool_tests::keyOf;
using tool_tests::Kind;
using tool_tests::makeSample;
using tool_tests::snapshot;
using tool_tests::work;

using Notes = std::vector<std::string>;

class Archive : public tool_tests::ToolTest {
  protected:
    static std::string dump(const std::string &name, const Notes &notes = {}) {
        std::ostringstream out;
        EXPECT_EQ(tool::writeArchive(OpenFile::forReading(name), out), notes) << name;
        return out.str();
    }
    static Notes load(const std::string &bytes, const std::string &name) {
        std::istringstream in(bytes);
        return tool::readArchive(in, name);
    }
    // Dumps a file and loads it as name2: everything is the same, also what a second dump has.
    static void roundTrip(const std::string &name, const std::string &hint) {
        const std::string bytes = dump(name);
        EXPECT_EQ(load(bytes, name + "2"), Notes()) << hint;
        EXPECT_EQ(snapshot(name + "2"), snapshot(name)) << hint;
        EXPECT_EQ(dump(name + "2"), bytes) << hint;
        EXPECT_EQ(tool::hashContents(OpenFile::forReading(name + "2")).file,
                  tool::hashContents(OpenFile::forReading(name)).file)
            << hint;
    }
    bool nothingBut(const std::vector<std::string> &names) const {
        std::size_t count = 0;
        for (const auto &entry : std::filesystem::directory_iterator(path(""))) {
            ++count;
            if (std::find(names.begin(), names.end(), entry.path().filename()) == names.end()) return false;
        }
        return count == names.size();
    }
};

TEST_F(Archive, BringsBackEveryKindOfFile) {
    for (const Kind &kind : allKinds()) {
        for (const unsigned seed : {1U, 2U}) {
            const std::string name = kind.name + std::to_string(seed);
            makeSample(name, kind, seed, 300);
            roundTrip(name, name);
        }
    }
}

TEST_F(Archive, BringsBackFilesThatWereNeverUsed) {
    for (const Kind &kind : allKinds()) {
        makeSample(kind.name, kind, 1, 0);
        roundTrip(kind.name, kind.name);
    }
}

TEST_F(Archive, KeepsTheNumbersThatAreFreeAtTheBeginningInTheMiddleAndAtTheEnd) {
    for (const Kind &kind : allKinds()) {
        if (kind.minimum == 0) continue;
        makeSample(kind.name, kind, 1, 0);
        OpenFile file = OpenFile::alone(kind.name);
        work(file.fd(), kind, 3, 1);
        std::vector<char> record(6000);
        for (int i = 1; i < 40; ++i) {
            stlong(i, record.data());
            isreclen = kind.minimum;
            ASSERT_EQ(iswrite(file.fd(), record.data()), 0);
        }
        for (const long number : {1, 2, 17, 18, 25, 38, 39, 40})
            ASSERT_EQ(isdelrec(file.fd(), number), 0) << kind.name << iserrno;
        file.close();
        roundTrip(kind.name, kind.name);
        // The lowest free number is the next one.
        const OpenFile loaded = OpenFile::alone(std::string(kind.name) + "2");
        stlong(1000, record.data());
        isreclen = kind.minimum;
        ASSERT_EQ(iswrite(loaded.fd(), record.data()), 0);
        EXPECT_EQ(isrecnum, 1);
    }
}

TEST_F(Archive, KeepsAFileWhoseRecordsAreAllDeleted) {
    const Kind kind = allKinds()[1];
    makeSample("empty", kind, 1, 0);
    OpenFile file = OpenFile::alone("empty");
    std::vector<char> record(30);
    ASSERT_EQ(iswrite(file.fd(), record.data()), 0);
    ASSERT_EQ(isdelrec(file.fd(), 1), 0);
    file.close();
    roundTrip("empty", "");
}

TEST_F(Archive, KeepsPreciousFilesPrecious) {
    for (const Kind &kind : allKinds()) {
        makeSample(kind.name, kind, 1, 0);
        OpenFile file = OpenFile::alone(kind.name);
        ASSERT_EQ(isprecious(file.fd(), 1), 0);
        work(file.fd(), kind, 5, 100);
        file.close();
        roundTrip(kind.name, kind.name);
    }
}

TEST_F(Archive, KeepsUniqueIdApplicationsBytesAndAuditTrail) {
    for (const Kind &kind : allKinds()) {
        makeSample(kind.name, kind, 1, 20);
        OpenFile file = OpenFile::alone(kind.name);
        ASSERT_EQ(issetunique(file.fd(), 4711), 0);
        char info[ISUSERINFOLEN] = {'a', 'b', 0, '\xff', 'e', 'f', 'g', 'h', 'i', 'j'};
        ASSERT_EQ(isuserinfo(file.fd(), 1, info), 0);
        std::string trail = "trail of " + std::string(kind.name);
        ASSERT_EQ(isaudit(file.fd(), trail.data(), ISAUDSETNAME), 0);
        ASSERT_EQ(isaudit(file.fd(), nullptr, ISAUDSTART), 0);
        file.close();
        roundTrip(kind.name, kind.name);
        EXPECT_EQ(get(trail), "") << "loading is no change that a trail is told of";
        const tool::Settings settings = tool::readSettings(OpenFile::forReading(std::string(kind.name) + "2"));
        EXPECT_EQ(settings.uniqueId, 4711U);
        EXPECT_TRUE(settings.auditing);
        EXPECT_EQ(settings.trail, trail);
    }
}

TEST_F(Archive, KeepsAHighestRecordNumberOfKeysWithoutRecords) {
    const Kind kind = allKinds()[13];
    makeSample("keys", kind, 1, 30);
    OpenFile file = OpenFile::alone("keys");
    ASSERT_EQ(issetlastrec(file.fd(), 77), 0);
    file.close();
    roundTrip("keys", "");
}

// Before each other in two indexes: no order of writing does that.
TEST_F(Archive, KeepsTheOrderAmongEqualKeysThatRewritingHasMixed) {
    const Kind kind = {
        "mixed", 30,
        0,       0,
        true,    {keyOf(0, {{0, 4, LONGTYPE}}), keyOf(ISDUPS, {{4, 6, CHARTYPE}}), keyOf(ISDUPS, {{10, 2, CHARTYPE}})}};
    makeSample("mixed", kind, 1, 0);
    OpenFile file = OpenFile::alone("mixed");
    char one[31] = "0001smith xx                  ";
    char two[31] = "0002smith yy                  ";
    ASSERT_EQ(iswrite(file.fd(), one), 0);
    ASSERT_EQ(iswrite(file.fd(), two), 0);
    one[10] = one[11] = 'y';
    ASSERT_EQ(isrewrec(file.fd(), 1, one), 0);
    file.close();
    const std::vector<std::string> lines = snapshot("mixed");
    EXPECT_NE(std::find(lines.begin(), lines.end(), "entry 3 2 yy"), lines.end());
    EXPECT_LT(std::find(lines.begin(), lines.end(), "entry 2 1 smith "),
              std::find(lines.begin(), lines.end(), "entry 2 2 smith "));
    EXPECT_LT(std::find(lines.begin(), lines.end(), "entry 3 2 yy"),
              std::find(lines.begin(), lines.end(), "entry 3 1 yy"));
    roundTrip("mixed", "");
}

// The unique index covers what the one with duplicates has: its entries are moved by keys that are new to both.
TEST_F(Archive, KeepsTheOrderAmongEqualKeysThatAUniqueIndexCovers) {
    const Kind kind = {"covered",
                       30,
                       0,
                       0,
                       true,
                       {keyOf(0, {{4, 1, CHARTYPE}, {10, 2, CHARTYPE}, {0, 4, LONGTYPE}}),
                        keyOf(ISDUPS, {{4, 1, CHARTYPE}}), keyOf(ISDUPS, {{10, 2, CHARTYPE}})}};
    for (const unsigned seed : {7U, 8U, 9U}) {
        const std::string name = "covered" + std::to_string(seed);
        makeSample(name, kind, seed, 200);
        roundTrip(name, name);
    }
}

TEST_F(Archive, KeepsTheOrderOfAnIndexThatWasAddedLater) {
    for (const int mode : {0, static_cast<int>(ISMASK)}) {
        const Kind kind = {"later", 30, 0, mode, true, {keyOf(ISDUPS, {{4, 6, CHARTYPE}})}};
        const std::string name = mode == 0 ? "plain" : "masks";
        makeSample(name, kind, 4, 300);
        OpenFile file = OpenFile::alone(name);
        // On the same bytes: only adding it at the end brings it back.
        KeyDesc key = keyOf(ISDUPS, {{4, 6, CHARTYPE | ISDESC}});
        ASSERT_EQ(isaddindex(file.fd(), &key), 0);
        file.close();
        roundTrip(name, name);
    }
}

// Both on the same bytes: writing and rewriting does the same to both, but one was added when the other had its order.
TEST_F(Archive, TellsWhatIndexCannotKeepItsOrder) {
    const Kind kind = {"same", 30, 0, 0, true, {keyOf(ISDUPS, {{4, 1, CHARTYPE}})}};
    makeSample("same", kind, 1, 0);
    OpenFile file = OpenFile::alone("same");
    char record[31] = "    a                         ";
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(iswrite(file.fd(), record), 0);
    ASSERT_EQ(isdelrec(file.fd(), 1), 0);
    ASSERT_EQ(iswrite(file.fd(), record), 0);
    KeyDesc key = keyOf(ISDUPS, {{4, 1, CHARTYPE | ISDESC}});
    ASSERT_EQ(isaddindex(file.fd(), &key), 0);
    char other[31] = "    b                         ";
    ASSERT_EQ(isrewrec(file.fd(), 2, other), 0);
    ASSERT_EQ(isrewrec(file.fd(), 2, record), 0);
    file.close();
    const Notes notes = {"index 2 does not keep its order among equal keys"};
    const std::string bytes = dump("same", notes);
    EXPECT_EQ(load(bytes, "same2"), Notes());
    EXPECT_EQ(tool::hashContents(OpenFile::forReading("same2")).file,
              tool::hashContents(OpenFile::forReading("same")).file);
}

TEST_F(Archive, LetsAnIndexThatDoesNotFollowTheMasksFollowThem) {
    const Kind kind = {
        "astray",
        30,
        0,
        ISMASK,
        true,
        {keyOf(ISDUPS, {{4, 6, CHARTYPE}}), keyOf(ISDUPS, {{10, 2, CHARTYPE}}), keyOf(ISDUPS, {{16, 2, INTTYPE}})}};
    makeSample("astray", kind, 4, 100);
    OpenFile file = OpenFile::alone("astray");
    KeyDesc key = kind.keys.front();
    ASSERT_EQ(isdelindex(file.fd(), &key), 0);
    file.close();
    const Notes notes = {"index 1 has other records than their masks say; loading makes it follow them",
                         "index 2 has other records than their masks say; loading makes it follow them"};
    EXPECT_EQ(load(dump("astray", notes), "astray2"), Notes());
    roundTrip("astray2", "");
}

// Tails that end in 64 bytes without a run lose them when they are stored: what is left comes back as it is.
TEST_F(Archive, BringsBackWhatIsLeftOfATailThatLostItsEnd) {
    const Kind kind = {"lost", 10, 400, ISCOMPRESS, true, {keyOf(0, {{0, 4, LONGTYPE}})}};
    const int fd = tool_tests::buildKind("lost", kind);
    std::vector<char> record(400, ' ');
    for (int length = 60; length < 200; ++length) {
        stlong(length, record.data());
        for (int i = 0; i < length; ++i)
            record[static_cast<std::size_t>(110 + i)] = static_cast<char>('A' + i % 26);
        isreclen = 110 + length;
        ASSERT_EQ(iswrite(fd, record.data()), 0);
    }
    ASSERT_EQ(isclose(fd), 0);
    roundTrip("lost", "");
}

TEST_F(Archive, IsTheSameForAFileOpenedTwiceAndForOneOpenAlone) {
    makeSample("file", allKinds()[1], 1, 50);
    std::ostringstream alone;
    tool::writeArchive(OpenFile::alone("file"), alone);
    const OpenFile beside = OpenFile::forChanging("file");
    EXPECT_EQ(dump("file"), alone.str());
}

// Another process writes a record when the archive is written.
class ChangingBuffer : public std::stringbuf {
  public:
    explicit ChangingBuffer(std::string name) : name_(std::move(name)) {}

  protected:
    std::streamsize xsputn(const char *bytes, std::streamsize count) override {
        const pid_t child = fork();
        if (child == 0) {
            iscleanup();
            char record[31] = "                              ";
            const int fd = isopen(name_.c_str(), ISINOUT | ISLOCKMANUAL);
            _exit(fd >= 0 && iswrite(fd, record) == 0 ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        return std::stringbuf::xsputn(bytes, count);
    }

  private:
    std::string name_;
};

TEST_F(Archive, IsNoneWhereSomebodyChangesTheFileMeanwhile) {
    makeSample("file", {"file", 30, 0, 0, true, {keyOf(ISDUPS, {{4, 6, CHARTYPE}})}}, 1, 10);
    ChangingBuffer buffer("file");
    std::ostream out(&buffer);
    const OpenFile file = OpenFile::forReading("file");
    const auto failure = [&file, &out]() -> std::string {
        try {
            tool::writeArchive(file, out);
        } catch (const Failure &reason) {
            return reason.what();
        }
        return "none";
    };
    EXPECT_EQ(failure(), "file: somebody changed it meanwhile");
}

TEST_F(Archive, IsNotLoadedOverAFile) {
    makeSample("file", allKinds()[0], 1, 10);
    const std::string bytes = dump("file");
    const std::string data = get("file.dat");
    EXPECT_THROW(load(bytes, "file"), Failure);
    EXPECT_EQ(get("file.dat"), data);
    put("half.dat", "somebody's");
    EXPECT_THROW(load(bytes, "half"), Failure);
    EXPECT_EQ(get("half.dat"), "somebody's");
    EXPECT_TRUE(nothingBut({"file.idx", "file.dat", "half.dat"}));
    EXPECT_THROW(load(bytes, "nowhere/file"), Failure);
}

TEST_F(Archive, IsRefusedAndLeavesNothingWhereverItIsCutOff) {
    for (const std::size_t which : {8U, 13U}) {
        makeSample("file", allKinds()[which], 1, 8);
        const std::string bytes = dump("file");
        iserase("file");
        for (std::size_t size = 0; size < bytes.size(); ++size) {
            EXPECT_THROW(load(bytes.substr(0, size), "cut"), Failure) << size;
            EXPECT_TRUE(nothingBut({})) << size;
        }
        EXPECT_THROW(load(bytes + '\0', "longer"), Failure);
        EXPECT_TRUE(nothingBut({}));
    }
}

TEST_F(Archive, IsRefusedAndLeavesNothingWhicheverByteIsAnother) {
    for (const std::size_t which : {3U, 7U, 8U, 11U, 14U}) {
        makeSample("file", allKinds()[which], 2, 8);
        const std::string bytes = dump("file");
        iserase("file");
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            for (const unsigned flip : {0x01U, 0x80U}) {
                std::string damaged = bytes;
                damaged[at] = static_cast<char>(damaged[at] ^ flip);
                EXPECT_THROW(load(damaged, "damaged"), Failure) << at;
                EXPECT_TRUE(nothingBut({})) << at;
            }
        }
    }
}

// Half of a file must not stand where the whole one is looked for.
TEST_F(Archive, HasItsNameOnlyWhenItIsWhole) {
    makeSample("file", allKinds()[3], 2, 20000);
    const std::vector<std::string> before = snapshot("file");
    put("archive", dump("file"));
    ASSERT_GT(get("archive").size(), 200000U);
    const tool_tests::Ran ran = shell("mkfifo pipe; isam load new pipe --format binary & pid=$!; exec 3>pipe\n"
                                      "head -c 100000 archive >&3\n"
                                      "until [ -s new.being-loaded.dat ]; do sleep 0.05; done\n"
                                      "isam load new archive --format binary; echo $?\n"
                                      "kill -KILL $pid; wait $pid; ls new*");
    EXPECT_EQ(ran.out, "2\nnew.being-loaded.dat\nnew.being-loaded.idx\n");
    EXPECT_NE(ran.err.find("isam load: new: is being loaded by another process\n"), std::string::npos) << ran.err;
    // What it has left behind is in nobody's way.
    EXPECT_EQ(load(get("archive"), "new"), Notes());
    EXPECT_EQ(snapshot("new"), before);
    EXPECT_EQ(shell("ls | grep being").out, "");
}

}  // namespace
