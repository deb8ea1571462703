// Files whose nodes are smaller than those of a file built here: the node size is the file's own, and a catalogue of
// many descriptions takes several nodes.
#include "steps.h"

#include <cstdio>

namespace api {
namespace {

constexpr std::size_t kBuiltSize = 1024;

class SmallNodes : public ApiTest {
  protected:
    // Builds an empty file set and cuts its nodes down; leaves it closed.
    void make(std::size_t nodeSize, const KeyDesc &key = idKey(), int recordLength = kRowLen, int mode = ISINOUT) {
        EXPECT_OK(isclose(build(mode, key, recordLength)));
        cutNodes(nodeSize);
        dontCheck();
    }
    void cutNodes(std::size_t nodeSize) {
        constexpr std::size_t kTail = 16;  // what lies at a node's end
        const std::string index = contents(path("file.idx"));
        std::string cut;
        for (std::size_t start = 0; start < index.size(); start += kBuiltSize)
            cut += index.substr(start, nodeSize - kTail) + index.substr(start + kBuiltSize - kTail, kTail);
        const std::size_t last = nodeSize - 1;
        cut[6] = static_cast<char>(last >> 8);
        cut[7] = static_cast<char>(last & 0xff);
        std::FILE *file = std::fopen(path("file.idx").c_str(), "wb");
        ASSERT_NE(file, nullptr);
        std::fwrite(cut.data(), 1, cut.size(), file);
        std::fclose(file);
    }
    std::size_t indexSize() const { return contents(path("file.idx")).size(); }

    // Ten parts of one byte each, of the name and behind.
    static KeyDesc longKey(int number, int flags = ISDUPS) {
        KeyDesc key = keyDesc(flags, {});
        key.nparts = ISMAXPARTS;
        for (int part = 0; part < ISMAXPARTS; ++part)
            key.parts[part] = {static_cast<short>(kNameAt + number + part), 1, CHARTYPE};
        return key;
    }
    static void expectSound(int fd) {
        EXPECT_EQ(ischeckdata(fd), 0);
        for (int index = indexCount(fd); index > 0; --index)
            EXPECT_EQ(ischeckindex(fd, index), 0) << index;
    }
};

TEST_F(SmallNodes, RecordsComeAndGo) {
    for (const std::size_t size : {128, 200, 256}) {
        SCOPED_TRACE(size);
        make(size);
        const int fd = open();
        ASSERT_GE(fd, 0);
        Ids left;
        for (long id = 1; id <= 400; ++id) {
            ASSERT_OK(iswrite(fd, row(id * 7 % 401)));
            if (id % 3 != 0) left.push_back(id);
        }
        for (long id = 3; id <= 400; id += 3)
            ASSERT_OK(isdelete(fd, row(id)));
        EXPECT_EQ(idsOf(fd), left);
        expectSound(fd);
        for (const long id : left)
            ASSERT_OK(isdelete(fd, row(id)));
        EXPECT_EQ(idsOf(fd), Ids{});
        expectSound(fd);
        EXPECT_OK(isclose(fd));
        std::remove(path("file.idx").c_str());
        std::remove(path("file.dat").c_str());
    }
}

TEST_F(SmallNodes, CatalogueOfSeveralNodesGrowsAndShrinks) {
    make(256);
    int fd = open();
    for (long id = 1; id <= 60; ++id)
        ASSERT_OK(iswrite(fd, row(id, "name" + std::to_string(id % 7), 0, std::to_string(id))));
    for (int i = 0; i < ISMAXINDEXES - 1; ++i) {
        KeyDesc key = longKey(i);
        ASSERT_OK(isaddindex(fd, &key)) << i;
    }
    EXPECT_OK(isclose(fd));
    fd = open();
    ASSERT_EQ(indexCount(fd), ISMAXINDEXES);
    expectSound(fd);
    for (const int i : {7, 0, 4, 1, 6, 2, 5, 3}) {
        KeyDesc key = longKey(i);
        EXPECT_EQ(idsBy(fd, key).size(), 60U) << i;
        ASSERT_OK(isdelindex(fd, &key)) << i;
    }
    EXPECT_OK(isclose(fd));
    fd = open();
    EXPECT_EQ(indexCount(fd), 1);
    EXPECT_EQ(idsOf(fd).size(), 60U);
    expectSound(fd);
    // The emptied nodes of the catalogue take descriptions again.
    for (int i = 0; i < ISMAXINDEXES - 1; ++i) {
        KeyDesc key = longKey(i);
        ASSERT_OK(isaddindex(fd, &key)) << i;
    }
    expectSound(fd);
}

TEST_F(SmallNodes, AddThatFailsGivesItsCatalogueNodeBack) {
    make(256);
    const int fd = open();
    for (long id = 1; id <= 60; ++id)
        ASSERT_OK(iswrite(fd, row(id, "same")));
    KeyDesc first = longKey(0), second = longKey(1), third = longKey(2), unique = longKey(3, ISNODUPS);
    ASSERT_OK(isaddindex(fd, &first));
    ASSERT_OK(isaddindex(fd, &second));
    // Whether its description would have had room or not, the file does not grow more than once.
    EXPECT_FAILS(ISERR_DUPLICATE, isaddindex(fd, &unique));
    ASSERT_OK(isaddindex(fd, &third));
    EXPECT_FAILS(ISERR_DUPLICATE, isaddindex(fd, &unique));
    const std::size_t size = indexSize();
    for (int i = 0; i < 5; ++i)
        EXPECT_FAILS(ISERR_DUPLICATE, isaddindex(fd, &unique));
    EXPECT_EQ(indexSize(), size);
    EXPECT_EQ(indexCount(fd), 4);
    expectSound(fd);
}

TEST_F(SmallNodes, KeyOfWhichANodeTakesNoTwoIsNoIndex) {
    make(256, idKey(), 200);
    int fd = open();
    KeyDesc wide = keyDesc(ISNODUPS, {{0, 120, CHARTYPE}});
    ASSERT_OK(isaddindex(fd, &wide)) << "two of 124 bytes fit";
    EXPECT_OK(isclose(fd));
    std::remove(path("file.idx").c_str());
    std::remove(path("file.dat").c_str());

    make(200, idKey(), 200);
    fd = open();
    EXPECT_FAILS(ISERR_KEYDESC, isaddindex(fd, &wide));
    EXPECT_OK(isclose(fd));
    std::remove(path("file.idx").c_str());
    std::remove(path("file.dat").c_str());

    make(200, wide, 200);
    EXPECT_FAILS(ISERR_CORRUPT, open());
}

// A part with a null byte takes a byte more than the length of the description counts for it.
TEST_F(SmallNodes, DescriptionWhosePartsLeadBehindItsNode) {
    constexpr std::size_t kSize = 128, kCatalogue = kSize, kFirst = kCatalogue + 6;
    constexpr int kLong = 61, kTen = 57;  // both of ten parts
    make(kSize);
    const std::string index = contents(path("file.idx"));
    const std::string root = index.substr(kFirst + 2, 4);
    const auto head = [&root](int length, int flags) {
        return std::string{0, static_cast<char>(length)} + root + static_cast<char>(flags / 2);
    };
    const auto patch = [this](std::size_t at, const std::string &bytes) {
        patchFile(path("file.idx"), at, bytes);
    };
    const std::string part("\0\1\0\0\0", 5);
    std::string parts;
    for (int i = 0; i < ISMAXPARTS; ++i)
        parts += part;
    patch(kFirst, head(kLong, 0) + parts);
    patch(kFirst + kLong, head(kTen, ISNULLKEY));
    patch(kCatalogue, std::string{0, 6 + kLong + kTen});
    EXPECT_FAILS(ISERR_CORRUPT, open());
}

TEST_F(SmallNodes, TailsHaveNoRoomInThem) {
    KeyDesc key = idKey();
    EXPECT_OK(isclose(isvbuild(base(), kRowLen, 500, &key, ISINOUT | ISVARLEN)));
    dontCheck();
    cutNodes(256);
    EXPECT_FAILS(ISERR_CORRUPT, isopen(base(), ISINOUT | ISVARLEN));
}

}  // namespace
}  // namespace api
