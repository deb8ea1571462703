#include "txn_files.h"

#include "support/file_check.h"
#include "support/file_reader.h"
#include "support/key_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace process_testing {

using testing_support::keyDesc;

namespace {

// All records in the order of an index; a description without parts stands for record-number order.
std::vector<std::string> scan(int fd, const KeyDesc &key, std::size_t room) {
    std::vector<std::string> out;
    std::vector<char> record(room);
    KeyDesc copy = key;
    if (isstart(fd, &copy, 0, record.data(), ISFIRST) != 0) ADD_FAILURE() << "start: " << iserrno;
    while (isread(fd, record.data(), ISNEXT) == 0)
        out.emplace_back(record.data(), static_cast<std::size_t>(isreclen));
    EXPECT_EQ(iserrno, ISERR_ENDOFFILE);
    return out;
}

std::vector<KeyDesc> indexesOf(int fd) {
    std::vector<KeyDesc> out;
    DictInfo info{};
    EXPECT_EQ(isisaminfo(fd, &info), 0);
    for (int i = 1; i <= (info.keyCount & 0x7fff); ++i) {
        out.emplace_back();
        EXPECT_EQ(isindexinfo(fd, &out.back(), i), 0);
    }
    return out;
}

void expectInOrder(const std::vector<std::string> &records, const KeyPart &part, const std::string &base) {
    const auto keyOf = [&](const std::string &record) {
        return record.substr(static_cast<std::size_t>(part.start), static_cast<std::size_t>(part.length));
    };
    EXPECT_TRUE(std::is_sorted(records.begin(), records.end(), [&](const std::string &one, const std::string &other) {
        return keyOf(one) < keyOf(other);
    })) << base;
}

void expectSoundFiles(const std::string &base, unsigned *uniqueId) {
    testing_support::FileReader reader(base);
    const testing_support::CheckReport report = testing_support::checkFiles(reader);
    EXPECT_TRUE(report.clean()) << base << ":\n" << report.text();
    *uniqueId = reader.header().uniqueId;
}

}  // namespace

int TxnFile::mode(int flags) const {
    return ISINOUT | flags | (variable() ? ISVARLEN : 0) | (compressed ? ISCOMPRESS : 0);
}

TxnFile fixedFile(const std::string &base) { return {base, kTxnFixed, 0, false}; }
TxnFile variableFile(const std::string &base) { return {base, kTxnMinimum, kTxnMaximum, false}; }
TxnFile compressedFile(const std::string &base) { return {base, kTxnMinimum, kTxnMaximum, true}; }

std::vector<KeyDesc> txnKeys() {
    return {keyDesc(ISNODUPS, {{0, 8}}), keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, {{8, 4}}),
            keyDesc(ISDUPS, {{12, 12}})};
}

int buildTxnFile(const TxnFile &file) {
    std::vector<KeyDesc> keys = txnKeys();
    const int fd = isvbuild(file.base.c_str(), file.minimum, file.maximum, keys.data(), file.mode(ISLOCKEXCL));
    if (fd < 0) return -1;
    for (std::size_t i = 1; i < keys.size(); ++i)
        if (isaddindex(fd, &keys[i]) != 0) return -1;
    return fd;
}

std::string difference(const Contents &found, const Contents &expected) {
    std::string out;
    if (found.indexes != expected.indexes)
        out = "indexes " + testing::PrintToString(found.indexes) + ", should be " +
              testing::PrintToString(expected.indexes) + "\n";
    if (found.uniqueId != expected.uniqueId)
        out += "next id " + std::to_string(found.uniqueId) + ", should be " + std::to_string(expected.uniqueId) + "\n";
    const auto list = [&](const char *what, const Contents &in, const Contents &notIn) {
        std::vector<std::string> only;
        std::set_difference(in.records.begin(), in.records.end(), notIn.records.begin(), notIn.records.end(),
                            std::back_inserter(only));
        for (const std::string &record : only)
            out += what + testing::PrintToString(record.substr(0, kTxnMinimum)) + ".. of " +
                   std::to_string(record.size()) + " bytes\n";
    };
    list("missing ", expected, found);
    list("unexpected ", found, expected);
    return out;
}

Contents readContents(const std::string &base) {
    Contents out;
    const int fd = isopen(base.c_str(), ISINPUT | ISLOCKEXCL | ISVARAUTO);
    if (fd < 0) {
        ADD_FAILURE() << base << " cannot be opened: " << iserrno;
        return out;
    }
    const std::size_t room = static_cast<std::size_t>(std::max(isreclen, kTxnFixed));
    out.records = scan(fd, testing_support::noKey(), room);
    std::sort(out.records.begin(), out.records.end());
    for (const KeyDesc &key : indexesOf(fd)) {
        out.indexes.push_back(testing_support::describe(testing_support::specOf(key)));
        std::vector<std::string> found = scan(fd, key, room);
        expectInOrder(found, key.parts[0], base);
        std::sort(found.begin(), found.end());
        EXPECT_TRUE(found == out.records) << base << ": " << found.size() << " of " << out.records.size() << " records";
    }
    EXPECT_EQ(isclose(fd), 0);
    expectSoundFiles(base, &out.uniqueId);
    return out;
}

}  // namespace process_testing
