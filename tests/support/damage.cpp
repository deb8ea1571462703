#include "damage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace testing_support {

namespace {

constexpr int kTrailer = 4;  // bytes that no entry reaches
constexpr int kDepth = 40;

void writeAt(int fd, std::int64_t offset, const Bytes &bytes) {
    const ssize_t done = pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    ASSERT_EQ(done, static_cast<ssize_t>(bytes.size()));
}

Bytes readAt(int fd, std::int64_t offset, std::size_t length) {
    Bytes bytes(length);
    EXPECT_EQ(pread(fd, bytes.data(), length, static_cast<off_t>(offset)), static_cast<ssize_t>(length));
    return bytes;
}

Bytes number(std::uint32_t value, int width) {
    Bytes bytes;
    putBe(&bytes, value, width);
    return bytes;
}

std::uint32_t valueOf(const Bytes &bytes) {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes)
        value = value << 8 | byte;
    return value;
}

Bytes wholeFile(int fd) {
    struct stat about {};
    return fd >= 0 && fstat(fd, &about) == 0 ? readAt(fd, 0, static_cast<std::size_t>(about.st_size)) : Bytes{};
}

void replaceFile(int fd, const Bytes &bytes) {
    if (fd < 0) return;
    ASSERT_EQ(ftruncate(fd, static_cast<off_t>(bytes.size())), 0);
    writeAt(fd, 0, bytes);
}

}  // namespace

Damage::Damage(const std::string &base)
    : reader_(base), indexFd_(open((base + ".idx").c_str(), O_RDWR | O_CLOEXEC)),
      dataFd_(open((base + ".dat").c_str(), O_RDWR | O_CLOEXEC)) {
    EXPECT_GE(indexFd_, 0) << base;
}

Damage::~Damage() {
    if (indexFd_ >= 0) close(indexFd_);
    if (dataFd_ >= 0) close(dataFd_);
}

FileReader &Damage::files() {
    std::vector<std::string> problems;
    reader_.refresh(&problems);
    return reader_;
}

void Damage::node(std::uint32_t node, int offset, std::uint32_t value, int width) {
    const std::int64_t size = files().header().nodeSize;
    writeAt(indexFd_, (std::int64_t{node} - 1) * size + offset, number(value, width));
}

void Damage::slot(std::uint32_t recnum, int offset, std::uint32_t value, int width) {
    const std::int64_t length = files().slotLength();
    writeAt(dataFd_, (std::int64_t{recnum} - 1) * length + offset, number(value, width));
}

std::uint32_t Damage::nodeValue(std::uint32_t node, int offset, int width) {
    const std::int64_t size = files().header().nodeSize;
    return valueOf(readAt(indexFd_, (std::int64_t{node} - 1) * size + offset, static_cast<std::size_t>(width)));
}

std::uint32_t Damage::slotValue(std::uint32_t recnum, int offset, int width) {
    const std::int64_t length = files().slotLength();
    return valueOf(readAt(dataFd_, (std::int64_t{recnum} - 1) * length + offset, static_cast<std::size_t>(width)));
}

void Damage::blankNode(std::uint32_t node) {
    const int size = files().header().nodeSize;
    writeAt(indexFd_, (std::int64_t{node} - 1) * size, Bytes(static_cast<std::size_t>(size)));
}

TailPointer Damage::tail(std::uint32_t recnum) {
    Bytes slot;
    EXPECT_TRUE(files().slot(static_cast<long>(recnum), &slot));
    return RemnantReader(reader_).pointer(slot);
}

void Damage::collect(const IndexSpec &spec, std::uint32_t number, int depth, bool leavesOnly,
                     std::vector<std::uint32_t> *out) {
    ASSERT_LT(depth, kDepth);
    const TreeNode node = reader_.tree(spec, number);
    ASSERT_EQ(node.problem, "") << "node " << number;
    if (!leavesOnly || node.level == 0) out->push_back(number);
    if (node.level == 0) return;
    for (const TreeEntry &entry : node.entries)
        collect(spec, entry.pointer, depth + 1, leavesOnly, out);
}

std::vector<std::uint32_t> Damage::tree(int number) {
    std::vector<std::uint32_t> nodes;
    const IndexSpec &spec = index(number);
    collect(spec, spec.root, 0, false, &nodes);
    return nodes;
}

std::vector<std::uint32_t> Damage::leaves(int number) {
    std::vector<std::uint32_t> nodes;
    const IndexSpec &spec = index(number);
    collect(spec, spec.root, 0, true, &nodes);
    return nodes;
}

std::vector<TreeEntry> Damage::entries(int number, std::uint32_t node) {
    const IndexSpec &spec = index(number);
    return reader_.tree(spec, node).entries;
}

bool Damage::fit(int number, const std::vector<TreeEntry> &entries) {
    const IndexSpec &spec = index(number);
    return static_cast<int>(reader_.encode(spec, entries).size()) + 2 < reader_.header().nodeSize - kTrailer;
}

void Damage::store(int number, std::uint32_t node, const std::vector<TreeEntry> &entries) {
    const IndexSpec &spec = index(number);
    const Bytes coded = reader_.encode(spec, entries);
    const auto room = static_cast<std::size_t>(reader_.header().nodeSize - kTrailer);
    ASSERT_TRUE(fit(number, entries)) << "node " << node;
    Bytes bytes;
    putBe(&bytes, static_cast<std::uint32_t>(coded.size() + 2), 2);
    bytes.insert(bytes.end(), coded.begin(), coded.end());
    bytes.resize(room);
    writeAt(indexFd_, (std::int64_t{node} - 1) * reader_.header().nodeSize, bytes);
}

void Damage::pointTo(int number, std::uint32_t node, std::size_t i, std::uint32_t pointer) {
    const std::vector<TreeEntry> all = entries(number, node);
    ASSERT_LT(i, all.size());
    const int end = i + 1 < all.size() ? all[i + 1].offset : static_cast<int>(nodeValue(node, field::kUsed, 2));
    this->node(node, end - 4, pointer | (all[i].share ? 0x80000000U : 0), 4);
}

std::uint32_t Damage::leafOf(int number, std::uint32_t recnum) {
    for (const std::uint32_t leaf : leaves(number))
        for (const TreeEntry &entry : entries(number, leaf))
            if (entry.pointer == recnum) return leaf;
    ADD_FAILURE() << "record " << recnum << " is not in index " << number;
    return 0;
}

FreeList Damage::freeList(bool ofRecords) {
    FreeList list;
    const FileHeader head = files().header();
    Bytes bytes;
    std::uint32_t at = ofRecords ? head.dataFreeHead : head.indexFreeHead;
    while (at != 0 && list.nodes.size() < head.lastNode) {
        EXPECT_TRUE(reader_.node(at, &bytes));
        list.nodes.push_back(at);
        for (int offset = field::kNumbers; offset < static_cast<int>(be16(bytes.data())); offset += 4)
            list.numbers.push_back(be32(bytes.data() + offset));
        at = be32(bytes.data() + field::kLink);
    }
    return list;
}

void Damage::storeFreeNode(std::uint32_t node, std::uint32_t link, const std::vector<std::uint32_t> &numbers) {
    blankNode(node);
    Bytes bytes;
    putBe(&bytes, static_cast<std::uint32_t>(field::kNumbers + 4 * numbers.size()), 2);
    putBe(&bytes, link, 4);
    for (const std::uint32_t each : numbers)
        putBe(&bytes, each, 4);
    ASSERT_LE(static_cast<int>(bytes.size()), reader_.header().nodeSize - kTrailer);
    writeAt(indexFd_, (std::int64_t{node} - 1) * reader_.header().nodeSize, bytes);
    this->node(node, field::kMark, 0xff, 1);
    this->node(node, field::kLevel, 127, 1);
}

std::vector<std::uint32_t> Damage::remnantNodes() {
    RemnantReader tails(files());
    std::set<std::uint32_t> nodes;
    if (!reader_.header().variable()) return {};
    Bytes slot, bytes;
    for (std::uint32_t n = 1; n <= reader_.header().lastRecord; ++n) {
        std::vector<RemnantReader::Place> places;
        if (!live(n) || !reader_.slot(static_cast<long>(n), &slot)) continue;
        EXPECT_EQ(tails.pointer(slot).none() ? "" : tails.collect(tails.pointer(slot), &bytes, &places), "") << n;
        for (const RemnantReader::Place &place : places)
            nodes.insert(place.node);
    }
    return {nodes.begin(), nodes.end()};
}

void Damage::cutIndex(std::int64_t size) { EXPECT_EQ(ftruncate(indexFd_, static_cast<off_t>(size)), 0); }
void Damage::cutData(std::int64_t size) { EXPECT_EQ(ftruncate(dataFd_, static_cast<off_t>(size)), 0); }

Damage::Contents Damage::contents() const { return {wholeFile(indexFd_), wholeFile(dataFd_)}; }

void Damage::restore(const Contents &contents) {
    replaceFile(indexFd_, contents.index);
    replaceFile(dataFd_, contents.data);
}

void Damage::indexByte(std::int64_t offset, std::uint8_t value) { writeAt(indexFd_, offset, {value}); }
void Damage::dataByte(std::int64_t offset, std::uint8_t value) { writeAt(dataFd_, offset, {value}); }

}  // namespace testing_support
