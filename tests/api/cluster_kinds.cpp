#include "cluster_kinds.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>
#include <unistd.h>

namespace api {

namespace {

using testing_support::Bytes;
using testing_support::FileReader;

KeyDesc noteKey(int flags, int length, int null_byte = 0) {
    return keyDesc(flags, {{kNoteAt, length, CHARTYPE, null_byte}});
}

std::vector<KeyDesc> nineKeys() {
    return {idKey(),
            nameKey(),
            groupKey(ISDUPS | ISDUPCOMP),
            keyDesc(ISDUPS | ISLEADCOMP | ISTRAILCOMP, {{kNameAt, kNameLen}, {kGroupAt, 2, INTTYPE}}),
            noteKey(ISDUPS | ISNULLKEY, kNoteLen, ' '),
            keyDesc(ISNODUPS, {{0, 4, LONGTYPE | ISDESC}}),
            noteKey(ISDUPS | ISTRAILCOMP | ISTRAILNUL, 8),
            keyDesc(ISNODUPS | ISLEADCOMP, {{kGroupAt, 2, INTTYPE | ISDESC}, {0, 4, LONGTYPE}}),
            keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, {{kNameAt, kNameLen, STRINGTYPE}})};
}

std::string textOf(const Bytes &bytes) { return {bytes.begin(), bytes.end()}; }

std::string entryText(const Held &held, const TreeEntry &entry) {
    return held.header.recordLength != 0 ? entry.key : entry.key + " " + std::to_string(entry.pointer);
}

}  // namespace

std::vector<Kind> wholeKinds() {
    std::vector<Kind> kinds = allKinds();
    kinds.push_back({"NineIndexes", 0, nineKeys()});
    kinds.push_back({"DuplicatesFirst", 0, {nameKey(ISDUPS | ISLEADCOMP), groupKey()}});
    kinds.push_back({"MaskedTwice", ISMASK, {idKey(), idKey(), nameKey(), nameKey()}});
    return kinds;
}

std::vector<Kind> clusterKinds() {
    std::vector<Kind> kinds;
    for (const Kind &kind : wholeKinds())
        if (kind.records) kinds.push_back(with(kind, ISLOCKEXCL));
    return kinds;
}

Kind wholeKind(const std::string &name) {
    for (const Kind &kind : wholeKinds())
        if (name == kind.name) return kind;
    ADD_FAILURE() << "no kind " << name;
    return wholeKinds().front();
}

Kind with(Kind kind, int mode) {
    kind.mode |= mode;
    return kind;
}

KeyDesc orderKey(const Kind &kind, int index) { return index == 0 ? noKey() : kind.key(index); }

int foundIndex(const Kind &kind, int index) {
    for (int i = kind.indexes(); index > 0 && i > index; --i)
        if (testing_support::sameKeyDesc(kind.key(i), kind.key(index))) return i;
    return index;
}

std::vector<long> Held::order(int index) const {
    std::vector<long> numbers;
    std::set<long> seen;
    if (index > 0) {
        for (const TreeEntry &entry : report.leaves.at(static_cast<std::size_t>(index - 1)))
            numbers.push_back(static_cast<long>(entry.pointer));
        seen.insert(numbers.begin(), numbers.end());
    }
    for (const auto &record : records)
        if (seen.count(record.first) == 0) numbers.push_back(record.first);
    return numbers;
}

std::vector<std::string> Held::sequence(int index) const {
    std::vector<std::string> all;
    if (header.recordLength == 0) return all;
    for (const long number : order(index))
        all.push_back(records.at(number));
    return all;
}

std::vector<std::vector<std::string>> Held::entries() const {
    std::vector<std::vector<std::string>> all;
    for (const std::vector<TreeEntry> &leaves : report.leaves) {
        all.emplace_back();
        for (const TreeEntry &entry : leaves)
            all.back().push_back(entryText(*this, entry));
    }
    return all;
}

Held heldBy(const std::string &name) {
    FileReader reader(name);
    Held held;
    held.report = testing_support::checkFiles(reader);
    EXPECT_TRUE(held.report.clean()) << name << "\n" << held.report.text();
    held.header = reader.header();
    held.indexes = reader.indexes();
    const auto length = static_cast<std::size_t>(held.header.recordLength);
    for (long number = 1; length != 0 && number <= static_cast<long>(held.header.lastRecord); ++number) {
        Bytes slot;
        if (!reader.slot(number, &slot) || slot[length] != 0x0a) continue;
        std::string record = textOf(slot).substr(0, length);
        if (held.header.masked()) record += textOf(slot).substr(slot.size() - 4);
        if (held.header.variable()) record += textOf(held.report.tails.at(static_cast<std::size_t>(number - 1)));
        held.records[number] = record;
    }
    return held;
}

void expectCopy(const Held &from, int index, const Held &to) {
    EXPECT_EQ(to.header.lastRecord, from.records.size());
    EXPECT_TRUE(to.sequence(0) == from.sequence(index)) << "other records, or in another order";
    EXPECT_EQ(to.header.dataFreeHead, 0U);
    EXPECT_TRUE(to.entries() == from.entries()) << "other entries in an index";
    // What was copied first comes first among its equals.
    for (std::size_t i = 0; from.header.recordLength != 0 && i < to.report.leaves.size(); ++i) {
        const std::vector<TreeEntry> &leaves = to.report.leaves[i];
        for (std::size_t at = 1; at < leaves.size(); ++at) {
            const bool equal = leaves[at].key == leaves[at - 1].key;
            if (equal || static_cast<int>(i) == index - 1) {
                EXPECT_LT(leaves[at - 1].pointer, leaves[at].pointer) << "index " << i + 1;
            }
        }
    }
}

void expectWhole(int fd, const std::string &name) {
    const Held held = heldBy(name);
    const bool pure = held.header.recordLength == 0;
    const int indexes = static_cast<int>(held.indexes.size());
    Found sound;
    sound.data = pure ? ISCHK_DATAREAD : 0;
    sound.indexes.resize(held.indexes.size());
    EXPECT_EQ(checksOf(fd, indexes), sound);
    std::vector<char> buffer(static_cast<std::size_t>(std::max(kRowLen, held.header.variableMaximum)));
    for (int index = pure ? 1 : 0; index <= indexes; ++index) {
        SCOPED_TRACE("index " + std::to_string(index));
        std::vector<long> expected = held.order(index), found;
        if (index > 0) expected.resize(held.report.leaves[static_cast<std::size_t>(index - 1)].size());
        EXPECT_OK(isindex(fd, index, 0));
        for (int mode = ISFIRST; isread(fd, buffer.data(), mode) == 0; mode = ISNEXT) {
            found.push_back(isrecnum);
            if (pure) continue;
            std::string got(buffer.data(), static_cast<std::size_t>(isreclen));
            if (held.header.masked()) got.insert(kRowLen, long4(static_cast<unsigned long>(isgetmask(fd))));
            EXPECT_TRUE(got == held.records.at(isrecnum)) << "record " << isrecnum;
        }
        EXPECT_EQ(iserrno, ISERR_ENDOFFILE);
        EXPECT_EQ(found, expected);
    }
}

int WholeTest::makeEmpty(const Kind &kind, const std::string &name) {
    const int length = kind.tails() ? kVarMax : kind.records ? kRowLen : 0;
    isreclen = kRowLen;
    const int fd = buildNamed(path(name), ISINOUT | kind.mode, kind.keys.front(), length);
    for (std::size_t i = 1; i < kind.keys.size(); ++i)
        add(fd, kind.keys[i]);
    if (kind.precious) EXPECT_OK(isprecious(fd, 1));
    return fd;
}

int WholeTest::cluster(int fd, const Kind &kind, int index) {
    KeyDesc key = orderKey(kind, index);
    const int clustered = iscluster(fd, &key);
    EXPECT_GE(clustered, 0) << "iserrno " << iserrno << ", iserrio 0x" << std::hex << iserrio;
    return clustered;
}

int WholeTest::copy(int to, int from, const Kind &kind, int index) {
    KeyDesc key = orderKey(kind, index);
    return iscopy(to, from, &key);
}

std::string WholeTest::temporaryName() {
    char name[32];
    std::snprintf(name, sizeof name, "ist%05ld", static_cast<long>(getpid()));
    return name;
}

std::vector<std::string> namesIn(const std::string &directory) {
    std::vector<std::string> names;
    for (const auto &file : std::filesystem::directory_iterator(directory))
        names.push_back(file.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace api
