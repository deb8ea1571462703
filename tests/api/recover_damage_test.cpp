// Recovery from damaged logs: it ends, and says how.
#include "recovery.h"

namespace api {
namespace {

class RecoverDamage : public RecoveryTest {
  protected:
    void SetUp() override {
        const int fd = build();
        putIds(fd, {10, 20, 30});
        EXPECT_OK(isclose(fd));
    }
    std::string name() const { return base(); }
    static std::string bytesOf(const Row &record) { return std::string(record.bytes, kRowLen); }
    LogWriter opened() { return LogWriter().add("FO", fileBody(5, name())); }
    // An opening, and an addition of 60 bytes.
    LogWriter added() { return opened().add("IN", recordBody(5, 4, bytesOf(row(40)))); }
    Ids ids() {
        const int fd = open(ISINPUT);
        const Ids found = idsOf(fd);
        EXPECT_OK(isclose(fd));
        return found;
    }
};

TEST_F(RecoverDamage, PieceOfAHeadIsTheEnd) {
    for (std::size_t size = 1; size < 18; ++size) {
        SCOPED_TRACE(size);
        const std::string next = LogWriter().add("DE", recordBody(5, 1, bytesOf(row(10)))).bytes();
        EXPECT_OK(recoverFrom(opened().raw(next.substr(0, size))));
        EXPECT_EQ(ids(), (Ids{10, 20, 30}));
    }
}

TEST_F(RecoverDamage, PieceOfABodyIsAnError) {
    const std::string next = LogWriter().add("IN", recordBody(5, 4, bytesOf(row(40)))).bytes();
    for (std::size_t size = 18; size < next.size(); ++size) {
        SCOPED_TRACE(size);
        EXPECT_FAILS(ISERR_LOGREAD, recoverFrom(opened().raw(next.substr(0, size))));
        EXPECT_EQ(ids(), (Ids{10, 20, 30}));
    }
    EXPECT_OK(recoverFrom(opened().raw(next)));
    EXPECT_EQ(ids(), (Ids{10, 20, 30, 40}));
}

TEST_F(RecoverDamage, LengthBelowTwentyIsAnError) {
    for (const unsigned long length : {0, 1, 2, 17, 18, 19}) {
        SCOPED_TRACE(length);
        std::string record = LogWriter().add("XX", std::string(40, '\0')).bytes();
        record.replace(0, 2, int2(length));
        EXPECT_FAILS(ISERR_BADLOG, recoverFrom(opened().raw(record).add("IN", recordBody(5, 4, bytesOf(row(40))))));
        EXPECT_EQ(ids(), (Ids{10, 20, 30}));
    }
}

TEST_F(RecoverDamage, OtherLengthAtTheEndIsAnError) {
    const std::string good = added().bytes();
    const std::size_t start = opened().bytes().size();
    for (const std::size_t at : {good.size() - 2, good.size() - 1, start, start + 1}) {
        SCOPED_TRACE(at);
        std::string bad = good;
        bad[at] = static_cast<char>(bad[at] ^ 1);
        // A length that is wrong in front may also lead behind the end.
        EXPECT_EQ(recoverFrom(LogWriter().raw(bad + std::string(400, '\0'))), -1);
        EXPECT_EQ(iserrno, ISERR_BADLOG);
        EXPECT_EQ(ids(), (Ids{10, 20, 30}));
    }
}

TEST_F(RecoverDamage, LengthThatLeadsBehindTheEndIsAnError) {
    std::string record = LogWriter().add("IN", recordBody(5, 4, bytesOf(row(40)))).bytes();
    record.replace(0, 2, "\xff\xff");
    EXPECT_FAILS(ISERR_LOGREAD, recoverFrom(opened().raw(record)));
    EXPECT_EQ(ids(), (Ids{10, 20, 30}));
}

TEST_F(RecoverDamage, WhatCameBeforeIsDone) {
    std::string record = LogWriter().add("DE", recordBody(5, 1, bytesOf(row(10)))).bytes();
    record.back() = static_cast<char>(record.back() ^ 1);
    EXPECT_FAILS(ISERR_BADLOG, recoverFrom(added().raw(record)));
    EXPECT_EQ(ids(), (Ids{10, 20, 30, 40}));
}

TEST_F(RecoverDamage, BodiesThatDoNotFitTheirRecord) {
    const std::string image = bytesOf(row(40));
    std::string many = keyBody(nameKey());
    many.replace(2, 2, int2(200));
    std::string negative = keyBody(nameKey());
    negative.replace(2, 2, int2(0xffff));
    const struct {
        const char *what;
        const char *type;
        std::string body;
    } cases[] = {
        {"nothing", "FO", ""},
        {"name without end", "FO", fileBody(6, path("a")).substr(0, 9)},
        {"nothing", "BU", ""},
        {"half a key", "BU", buildBody(ISINOUT, 32, 32, idKey(), "").substr(0, 14)},
        {"key of too many parts", "BU", int2(2) + int2(32) + int2(32) + many + nul(path("a"))},
        {"key of too few parts", "BU", int2(2) + int2(32) + int2(32) + negative + nul(path("a"))},
        {"name without end", "BU", buildBody(ISINOUT, 32, 32, idKey(), path("a")).substr(0, 40)},
        {"nothing", "ER", ""},
        {"name without end", "ER", "name"},
        {"nothing", "RE", ""},
        {"name without end", "RE", int2(1) + int2(1) + "ab"},
        {"nothing", "CI", ""},
        {"key of too many parts", "CI", int2(5) + many},
        {"key of too few parts", "CI", int2(5) + negative},
        {"half a key", "DI", int2(5) + keyBody(idKey()).substr(0, 7)},
        {"nothing", "SU", ""},
        {"half a number", "SU", int2(5) + int2(0)},
        {"nothing", "IN", ""},
        {"image too short", "IN", recordBody(5, 4, image).substr(0, 20)},
        {"length of the image too long", "IN", int2(5) + long4(4) + int2(60000) + image},
        {"image of another length", "IN", recordBody(5, 4, image.substr(1))},
        {"nothing", "DE", ""},
        {"half a number", "DE", int2(5) + int2(0)},
        {"nothing", "UP", ""},
        {"new image too short", "UP", updateBody(5, 1, image, image).substr(0, 50)},
        {"lengths too long", "UP", int2(5) + long4(1) + int2(60000) + int2(60000) + image + image},
        {"image of another length", "UP", updateBody(5, 1, image, image.substr(1))},
    };
    const Image before = imageOf(base());
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.type) + ": " + c.what);
        EXPECT_FAILS(ISERR_BADLOG, recoverFrom(opened().add(c.type, c.body)));
        EXPECT_TRUE(imageOf(base()) == before);
        EXPECT_FALSE(exists(path("a.idx")));
    }
}

// A file without records has no slot that an image's length could be held against.
TEST_F(RecoverDamage, RecordsOfAFileWithoutRecords) {
    const int keys = buildNamed(path("keys"), ISINOUT, idKey(), 0);
    EXPECT_OK(iswrite(keys, row(7)));
    EXPECT_OK(isclose(keys));
    const std::string before = contents(path("keys.idx"));
    const LogWriter begun = LogWriter().add("FO", fileBody(5, path("keys")));
    for (const char *type : {"IN", "DE"})
        for (const char *image : {"", "abcd"}) {
            SCOPED_TRACE(std::string(type) + image);
            EXPECT_FAILS(ISERR_BADLOG, recoverFrom(LogWriter(begun).add(type, recordBody(5, 1, image))));
            EXPECT_TRUE(contents(path("keys.idx")) == before);
        }
    EXPECT_FAILS(ISERR_BADLOG, recoverFrom(LogWriter(begun).add("UP", updateBody(5, 1, "", ""))));
    EXPECT_TRUE(contents(path("keys.idx")) == before);
}

TEST_F(RecoverDamage, LongestRecordThatIsPossible) {
    EXPECT_OK(recoverFrom(opened().add("XX", std::string(65535 - 20, 'x')).add("FC", fileBody(5, name()))));
}

TEST_F(RecoverDamage, NamesTooLongForTheSystem) {
    EXPECT_EQ(recoverFrom(LogWriter().add("FO", fileBody(5, std::string(3000, 'n')))), -1);
    EXPECT_EQ(recoverFrom(LogWriter().add("ER", nul(std::string(3000, 'n')))), -1);
    EXPECT_EQ(recoverFrom(LogWriter().add("BU", buildBody(ISINOUT, 32, 32, idKey(), std::string(3000, 'n')))), -1);
}

TEST_F(RecoverDamage, BytesOfAnyKind) {
    std::string noise = letters(5000);
    for (std::size_t i = 0; i < noise.size(); ++i)
        noise[i] = static_cast<char>(noise[i] * 7 + static_cast<int>(i));
    const Image before = imageOf(base());
    for (std::size_t start = 0; start < 200; ++start)
        recoverFrom(opened().raw(noise.substr(start * 20, 900)));
    EXPECT_TRUE(imageOf(base()) == before);
}

TEST_F(RecoverDamage, EveryByteOfARecordWrongOnce) {
    const std::string good = LogWriter()
                                 .add("FO", fileBody(5, name()))
                                 .chain("BW")
                                 .chain("IN", recordBody(5, 4, bytesOf(row(40))))
                                 .chain("UP", updateBody(5, 4, bytesOf(row(40)), bytesOf(row(50))))
                                 .chain("RW")
                                 .bytes();
    const Image before = imageOf(base());
    for (std::size_t at = 0; at < good.size(); ++at) {
        std::string bad = good;
        bad[at] = static_cast<char>(bad[at] ^ 0x41);
        recoverFrom(LogWriter().raw(bad));
        ASSERT_TRUE(soundEntries(base()).size() == 1) << at;
        patchFile(path("file.idx"), 0, before.index);
        patchFile(path("file.dat"), 0, before.data);
        cutFile(path("file.dat"), before.data.size());
        cutFile(path("file.idx"), before.index.size());
    }
}

}  // namespace
}  // namespace api
