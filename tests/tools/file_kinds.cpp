#include "tools/file_kinds.h"

#include "layout/layout.h"
#include "records/columns.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace tool_tests {

namespace {

constexpr int kRecords = 60;
constexpr int kKeptFree = 7;  // every so many records one is deleted again

const char *const kFields = "field id 0 4 long\n"
                            "field name 4 12 char charset ISO-8859-1\n"
                            "field tag 16 6 string\n"
                            "field price 22 4 packed scale 2\n"
                            "field stock 26 4 zoned\n"
                            "field since 30 8 date YYYYMMDD\n"
                            "field weight 38 8 double\n"
                            "field ratio 46 4 float\n"
                            "field count 50 2 mint\n"
                            "field big 54 8 quad\n";

unsigned next(unsigned &state) {
    state = state * 1103515245U + 12345U;
    return state >> 16U;
}

// Bytes that fields like, and those they do not.
std::string recordBytes(int id, std::size_t length, unsigned &state) {
    static const std::string kLikely = "  0123456789abcXYZ,\"\n\r\\;=\t\xe4\xff\x0c\x1d\x7f";
    std::string bytes(length, ' ');
    for (char &byte : bytes) {
        const unsigned random = next(state);
        byte = random % 5 == 0 ? static_cast<char>(random >> 4U) : kLikely[(random >> 4U) % kLikely.size()];
    }
    if (id % 4 == 0) std::fill(bytes.begin() + 4, bytes.end(), ' ');
    if (id % 4 == 1) std::fill(bytes.begin() + 4, bytes.end(), '\0');
    stlong(id * 7 % kRecords - kRecords / 2, bytes.data());
    return bytes;
}

}  // namespace

const std::vector<FileKind> &fileKinds() {
    static const std::string kFixed = "record 64\n";
    static const std::vector<FileKind> kinds = {
        {"fixed", kFixed + kFields + "index unique id\n"},
        {"several indexes",
         kFixed + kFields + "index unique id\nindex duplicates name/desc tag\nindex duplicates stock\n"},
        {"descending and compressed keys",
         kFixed + kFields +
             "index unique id/desc\nindex duplicates name compress repeats leading blanks\n"
             "index duplicates tag/string big/char/desc compress leading nuls\n"},
        {"null keys", kFixed + kFields +
                          "index unique id\nindex duplicates name/null=20 tag/null=20 nullkeys\n"
                          "index duplicates weight nullkeys\n"},
        {"duplicates first", kFixed + kFields + "index duplicates name\n"},
        {"no primary key", kFixed + kFields + "index record-number\n"},
        {"no primary key, an index", kFixed + kFields + "index record-number\nindex duplicates tag\n"},
        {"variable", "record 64..400\n" + std::string(kFields) + "field remark 64 * char\nindex unique id\n"},
        {"variable without its rest", "record 64..400\n" + std::string(kFields) + "index unique id\n"},
        {"compressed", "record 64..900 compressed\n" + std::string(kFields) +
                           "field remark 64 * hex\nindex unique id\nindex duplicates name\n"},
        {"masks", "record 64 masks\n" + std::string(kFields) + "index unique id\nindex duplicates name\n", true},
        {"masks and tails",
         "record 64..300 masks\n" + std::string(kFields) +
             "field remark 64 * char\nindex unique id\nindex duplicates tag\n",
         true},
        {"keys alone", "record none\nfield id 0 4 long\nfield name 6 12 char\nindex duplicates id name/desc\n", false,
         true},
    };
    return kinds;
}

void makeFile(const FileKind &kind, const std::string &name) {
    const tool::Layout layout = tool::parseLayout(kind.layout, kind.name);
    int mode = ISINOUT | ISLOCKEXCL;
    if (layout.variable) mode |= ISVARLEN;
    if (layout.compressed) mode |= ISCOMPRESS;
    if (layout.masks) mode |= ISMASK;
    KeyDesc first = {};
    if (layout.primary) first = layout.indexes[0];
    const int fd = isvbuild(name.c_str(), layout.minimum, layout.maximum, &first, mode);
    ASSERT_GE(fd, 0) << kind.name << " " << iserrno;
    for (std::size_t i = layout.primary ? 1 : 0; i < layout.indexes.size(); ++i) {
        KeyDesc key = layout.indexes[i];
        ASSERT_EQ(isaddindex(fd, &key), 0) << kind.name << " " << iserrno;
    }
    unsigned state = 7;
    for (int id = 1; id <= kRecords; ++id) {
        auto length = static_cast<std::size_t>(layout.keysAlone() ? layout.imageLength() : layout.minimum);
        if (layout.variable && id % 3 != 0)
            length += next(state) % static_cast<unsigned>(layout.maximum - layout.minimum + 1);
        std::string record = recordBytes(id, length, state);
        record.resize(static_cast<std::size_t>(layout.imageLength()) + 1);
        if (layout.masks) issetmask(fd, id % 5 == 0 ? static_cast<long>(next(state) % 4) : 0);
        isreclen = static_cast<int>(length);
        isrecnum = 100 + id;
        ASSERT_EQ(iswrite(fd, record.data()), 0) << kind.name << " " << iserrno;
        if (id % kKeptFree == 0 && !layout.keysAlone()) ASSERT_EQ(isdelrec(fd, isrecnum), 0);
    }
    isclose(fd);
}

std::vector<Seen> seenBy(const std::string &name, int index) {
    std::vector<Seen> all;
    const tool::OpenFile file = tool::OpenFile::forReading(name);
    const int length = tool::layoutOf(file).imageLength();
    std::string buffer(static_cast<std::size_t>(length), '\0');
    EXPECT_EQ(isindex(file.fd(), index, 0), 0);
    for (int mode = ISFIRST; isread(file.fd(), buffer.data(), mode) == 0 && all.size() < 1000; mode = ISNEXT) {
        const auto used = static_cast<std::size_t>(file.hasRecords() ? isreclen : length);
        const auto mask = static_cast<std::uint32_t>(file.hasMasks() ? isgetmask(file.fd()) : 0);
        all.push_back({buffer.substr(0, used), mask, isrecnum});
    }
    EXPECT_EQ(iserrno, ISERR_ENDOFFILE);
    return all;
}

int indexCount(const std::string &name) { return static_cast<int>(tool::OpenFile::forReading(name).indexes().size()); }

}  // namespace tool_tests
