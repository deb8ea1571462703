// What is dumped and loaded again is the same through every index, for every kind of file and in every form.
#include "tools/file_kinds.h"
#include "tools/tool_run.h"

#include "base/failure.h"
#include "layout/layout.h"

#include <algorithm>

namespace {

using tool_tests::FileKind;
using tool_tests::fileKinds;
using tool_tests::Ran;
using tool_tests::Seen;
using tool_tests::seenBy;
using tool_tests::ToolTest;

class RoundTrip : public ToolTest {
  protected:
    void build(const FileKind &kind, const std::string &name) {
        put("layout.txt", kind.layout);
        const Ran ran = isam("build " + name + " --layout layout.txt");
        ASSERT_EQ(ran.status, 0) << kind.name << ": " << ran.err;
        std::filesystem::remove(path(name + ".layout"));
    }
    void expectOk(const std::string &arguments, const std::string &what) const {
        const Ran ran = isam(arguments);
        ASSERT_EQ(ran.status, 0) << what << ": " << ran.err;
        EXPECT_EQ(ran.err, "") << what;
    }
    // Numbers may differ, but through every index the same records come, equal keys in the order of their numbers.
    static std::vector<Seen> withoutNumbers(std::vector<Seen> all) {
        for (Seen &seen : all)
            seen.number = 0;
        return all;
    }
    static void expectSame(const std::string &name, const std::string &other, bool numbers, const std::string &what) {
        ASSERT_EQ(tool_tests::indexCount(name), tool_tests::indexCount(other)) << what;
        const bool records = tool::OpenFile::forReading(name).hasRecords();
        for (int index = records ? 0 : 1; index <= tool_tests::indexCount(name); ++index) {
            const std::vector<Seen> before = seenBy(name, index);
            const std::vector<Seen> after = seenBy(other, index);
            EXPECT_FALSE(before.empty()) << what;
            EXPECT_EQ(before.size(), after.size()) << what << ", index " << index;
            EXPECT_TRUE(numbers ? before == after : withoutNumbers(before) == withoutNumbers(after))
                << what << ", index " << index;
        }
    }
    static void expectSound(const std::string &name, const std::string &what) {
        const tool::OpenFile file = tool::OpenFile::forReading(name);
        if (file.hasRecords()) EXPECT_EQ(ischeckdata(file.fd()), 0) << what;
        for (int i = 1; i <= static_cast<int>(file.indexes().size()); ++i)
            EXPECT_EQ(ischeckindex(file.fd(), i), 0) << what;
        if (file.variableLength()) EXPECT_EQ(ischeckvarlen(file.fd(), nullptr), 0) << what;
    }
};

TEST_F(RoundTrip, RowsBringBackEveryRecordWithOrWithoutALayout) {
    for (const FileKind &kind : fileKinds()) {
        tool_tests::makeFile(kind, "old");
        put("names.txt", kind.layout);
        for (const std::string options :
             {"--layout names.txt --format csv", "--layout names.txt --format jsonl", "--no-layout --format csv"}) {
            const std::string what = kind.name + (", " + options);
            build(kind, "new");
            expectOk("dump old --output rows " + options, what);
            expectOk("load new rows " + options, what);
            expectSame("old", "new", false, what);
            expectSound("new", what);
            ASSERT_EQ(iserase("new"), 0);
        }
        ASSERT_EQ(iserase("old"), 0);
    }
}

TEST_F(RoundTrip, NumbersComeBackWhereTheyAreAskedFor) {
    for (const FileKind &kind : fileKinds()) {
        if (kind.keys_alone) continue;
        tool_tests::makeFile(kind, "old");
        {
            tool::OpenFile file = tool::OpenFile::alone("old");
            for (const long number : {1L, 2L, 20L})
                ASSERT_EQ(isdelrec(file.fd(), number), 0);
        }
        build(kind, "new");
        expectOk("dump old --numbers --output rows", kind.name);
        expectOk("load new rows --numbers", kind.name);
        expectSame("old", "new", true, kind.name);
        expectSound("new", kind.name);
        // The numbers in between are free.
        tool::OpenFile file = tool::OpenFile::forChanging("new");
        std::string record(1000, 'z');
        isreclen = 64;
        ASSERT_EQ(iswrite(file.fd(), record.data()), 0) << kind.name;
        EXPECT_LE(isrecnum, 20) << kind.name;
        file.close();
        ASSERT_EQ(iserase("old") + iserase("new"), 0);
    }
}

TEST_F(RoundTrip, TheOrderOfAnIndexLeavesNoRecordOut) {
    for (const FileKind &kind : fileKinds()) {
        tool_tests::makeFile(kind, "old");
        const auto count = static_cast<long>(seenBy("old", kind.keys_alone ? 1 : 0).size());
        for (int index = 1; index <= tool_tests::indexCount("old"); ++index) {
            const Ran ran = isam("dump old --no-layout --format jsonl --index " + std::to_string(index));
            EXPECT_EQ(std::count(ran.out.begin(), ran.out.end(), '\n'), count) << kind.name << ", index " << index;
        }
        ASSERT_EQ(iserase("old"), 0);
    }
}

TEST_F(RoundTrip, ArchivesBringBackEverything) {
    for (const FileKind &kind : fileKinds()) {
        tool_tests::makeFile(kind, "old");
        expectOk("dump old --format binary --output archive", kind.name);
        expectOk("load new archive --format binary", kind.name);
        expectSame("old", "new", true, kind.name);
        ASSERT_EQ(shell("isam dump old --format binary | isam load piped --format binary").status, 0) << kind.name;
        expectSame("old", "piped", true, kind.name);
        ASSERT_EQ(iserase("old") + iserase("new") + iserase("piped"), 0);
    }
}

TEST_F(RoundTrip, AnArchiveTakesNoOptionsOfRows) {
    tool_tests::makeFile(fileKinds()[0], "old");
    EXPECT_EQ(isam("dump old --format binary --index 1").status, 2);
    EXPECT_EQ(isam("dump old --format binary --numbers").status, 2);
    EXPECT_EQ(isam("load new archive --format binary --update").status, 2);
    EXPECT_EQ(isam("load new archive --format binary").err,
              "isam load: archive: cannot be opened: No such file or directory\n");
}

TEST_F(RoundTrip, ABuiltFileIsAsItsLayoutSays) {
    for (const FileKind &kind : fileKinds()) {
        build(kind, "new");
        tool::Layout layout = tool::parseLayout(kind.layout, kind.name);
        tool::Layout made = tool::layoutOf(tool::OpenFile::forReading("new"));
        layout.fields.clear();
        made.fields.clear();
        EXPECT_EQ(tool::toText(layout), tool::toText(made));
        ASSERT_EQ(iserase("new"), 0);
    }
}

}  // namespace
