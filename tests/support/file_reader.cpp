#include "file_reader.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace testing_support {

namespace {

constexpr int kHeaderMinimum = 128;
constexpr std::uint32_t kShareBit = 0x80000000U;
constexpr int kMaxDepth = 40;

std::uint32_t beNumber(const std::uint8_t *at, int width) {
    std::uint32_t value = 0;
    for (int i = 0; i < width; ++i)
        value = value << 8 | at[i];
    return value;
}

bool readAt(int fd, std::int64_t offset, std::size_t length, Bytes *out) {
    out->resize(length);
    return fd >= 0 && pread(fd, out->data(), length, static_cast<off_t>(offset)) == static_cast<ssize_t>(length);
}

std::int64_t sizeOf(int fd) {
    struct stat info {};
    return fd >= 0 && fstat(fd, &info) == 0 ? static_cast<std::int64_t>(info.st_size) : -1;
}

Bytes wholeFile(int fd) {
    Bytes out;
    std::int64_t size = sizeOf(fd);
    if (size > 0) readAt(fd, 0, static_cast<std::size_t>(size), &out);
    return out;
}

int leadingShared(const Key &a, const Key &b) {
    std::size_t n = 0;
    while (n < a.size() && a[n] == b[n])
        ++n;
    return static_cast<int>(n);
}

}  // namespace

FileReader::FileReader(const std::string &base) {
    indexFd_ = open((base + ".idx").c_str(), O_RDONLY | O_CLOEXEC);
    dataFd_ = open((base + ".dat").c_str(), O_RDONLY | O_CLOEXEC);
}

FileReader::~FileReader() {
    if (indexFd_ >= 0) close(indexFd_);
    if (dataFd_ >= 0) close(dataFd_);
}

std::int64_t FileReader::indexFileSize() const { return sizeOf(indexFd_); }
std::int64_t FileReader::dataFileSize() const { return sizeOf(dataFd_); }

Bytes FileReader::indexFile() const { return wholeFile(indexFd_); }
Bytes FileReader::dataFile() const { return wholeFile(dataFd_); }

int FileReader::slotLength() const {
    return header_.recordLength + 1 + (header_.variable() ? 6 : 0) + (header_.masked() ? 4 : 0);
}

bool FileReader::node(std::uint32_t number, Bytes *out) const {
    auto size = static_cast<std::size_t>(header_.nodeSize);
    return number != 0 && readAt(indexFd_, std::int64_t{number - 1} * header_.nodeSize, size, out);
}

bool FileReader::slot(long recnum, Bytes *out) const {
    return recnum > 0 &&
           readAt(dataFd_, (std::int64_t{recnum} - 1) * slotLength(), static_cast<std::size_t>(slotLength()), out);
}

bool FileReader::refresh(std::vector<std::string> *problems) {
    Bytes b;
    header_ = FileHeader{};
    indexes_.clear();
    descriptionNodes_.clear();
    noPrimaryKey_ = false;
    if (!readAt(indexFd_, 0, kHeaderMinimum, &b)) {
        problems->push_back("header: index file missing or too short");
        return false;
    }
    int size = static_cast<int>(be16(b.data() + 6)) + 1;
    if (size < kHeaderMinimum || !readAt(indexFd_, 0, static_cast<std::size_t>(size), &b)) {
        problems->push_back("header: node size " + std::to_string(size) + " does not fit the file");
        return false;
    }
    const std::uint8_t *p = b.data();
    header_.nodeSize = size;
    header_.indexCount = static_cast<int>(be16(p + 8));
    header_.serialWidth = p[11];
    header_.recordLength = static_cast<int>(be16(p + 13));
    header_.descriptionNode = be32(p + 15);
    header_.dataFreeHead = be32(p + 25);
    header_.indexFreeHead = be32(p + 29);
    header_.lastRecord = be32(p + 33);
    header_.lastNode = be32(p + 37);
    header_.changeCounter = be32(p + 41);
    header_.uniqueId = be32(p + 45);
    header_.auditNode = be32(p + 49);
    header_.variableMaximum = static_cast<int>(be16(p + 59));
    for (std::size_t i = 0; i < header_.bucketHeads.size(); ++i)
        header_.bucketHeads[i] = be32(p + 61 + 4 * i);
    std::copy_n(p + size - 16, header_.userInfo.size(), header_.userInfo.begin());
    header_.flags = be16(p + size - 6);
    return readDescriptions(problems);
}

bool FileReader::readDescriptions(std::vector<std::string> *problems) {
    std::uint32_t number = header_.descriptionNode;
    Bytes b;
    while (number != 0) {
        std::string name = "description node " + std::to_string(number);
        if (std::find(descriptionNodes_.begin(), descriptionNodes_.end(), number) != descriptionNodes_.end()) {
            problems->push_back(name + ": the chain is a circle");
            return false;
        }
        if (number > header_.lastNode || !node(number, &b)) {
            problems->push_back(name + ": cannot be read");
            return false;
        }
        descriptionNodes_.push_back(number);
        int used = static_cast<int>(be16(b.data()));
        if (used < 6 || used > header_.nodeSize - 4) {
            problems->push_back(name + ": used " + std::to_string(used));
            return false;
        }
        for (int at = 6; at < used;) {
            int length = used - at >= 7 ? static_cast<int>(be16(b.data() + at)) : 0;
            if (length < 7 || at + length > used) {
                problems->push_back(name + ": entry at " + std::to_string(at) + " has length " +
                                    std::to_string(length));
                return false;
            }
            IndexSpec spec;
            spec.root = be32(b.data() + at + 2);
            spec.flags = static_cast<unsigned>(b[static_cast<std::size_t>(at) + 6]) * 2;
            int stride = (spec.flags & 0x20U) != 0 ? 6 : 5;
            if ((length - 7) % stride != 0)
                problems->push_back(name + ": entry at " + std::to_string(at) + " has a broken part");
            for (int part = at + 7; part + stride <= at + length; part += stride) {
                PartSpec one;
                unsigned partLength = be16(b.data() + part);
                if (part == at + 7 && (partLength & 0x8000U) != 0) {
                    spec.flags |= 1U;
                    partLength &= 0x7fffU;
                }
                one.length = static_cast<int>(partLength);
                one.start = static_cast<int>(be16(b.data() + part + 2));
                one.type = stride == 6 ? be16(b.data() + part + 4) : b[static_cast<std::size_t>(part) + 4];
                spec.keyLength += one.length;
                spec.parts.push_back(one);
            }
            if (spec.parts.empty()) {
                if (noPrimaryKey_ || !indexes_.empty())
                    problems->push_back(name + ": an entry without parts is not the first");
                noPrimaryKey_ = true;
            } else {
                indexes_.push_back(spec);
            }
            at += length;
        }
        number = be32(b.data() + 2);
    }
    return true;
}

TreeNode FileReader::tree(const IndexSpec &spec, std::uint32_t number) const {
    Bytes bytes;
    TreeNode out;
    if (number > header_.lastNode || !node(number, &bytes))
        out.problem = "cannot be read";
    else
        out = decode(spec, bytes);
    out.number = number;
    return out;
}

TreeNode FileReader::decode(const IndexSpec &spec, const Bytes &bytes) const {
    TreeNode out;
    out.used = static_cast<int>(be16(bytes.data()));
    out.level = bytes[bytes.size() - 2];
    if (out.used < 2 || out.used > header_.nodeSize - 5) {
        out.problem = "used " + std::to_string(out.used);
        return out;
    }
    int width = serialWidth(spec);
    Key key(static_cast<std::size_t>(spec.keyLength), '\0');
    int at = 2;
    while (at < out.used) {
        TreeEntry entry;
        entry.offset = at;
        int lead = 0;
        int trail = 0;
        if (spec.compressed() && !out.entries.empty() && out.entries.back().share) {
            entry.keyless = true;
        } else {
            int counts = spec.compressed() ? (spec.leading() ? 1 : 0) + (spec.trailing() ? 1 : 0) : 0;
            if (at + counts > out.used) {
                out.problem = "entry at " + std::to_string(at) + " runs past used";
                return out;
            }
            if (spec.leading()) lead = bytes[static_cast<std::size_t>(at++)];
            if (spec.trailing()) trail = bytes[static_cast<std::size_t>(at++)];
            int stored = spec.keyLength - lead - trail;
            if (lead > 127 || trail > 127 || stored < 0 || (out.entries.empty() && lead != 0)) {
                out.problem = "entry at " + std::to_string(entry.offset) + " has counts " + std::to_string(lead) + "/" +
                              std::to_string(trail);
                return out;
            }
            if (at + stored > out.used) {
                out.problem = "entry at " + std::to_string(entry.offset) + " runs past used";
                return out;
            }
            for (int i = 0; i < stored; ++i)
                key[static_cast<std::size_t>(lead + i)] = static_cast<char>(bytes[static_cast<std::size_t>(at++)]);
            for (int i = spec.keyLength - trail; i < spec.keyLength; ++i)
                key[static_cast<std::size_t>(i)] = static_cast<char>(spec.fill());
        }
        if (at + width + 4 > out.used) {
            out.problem = "entry at " + std::to_string(entry.offset) + " runs past used";
            return out;
        }
        entry.key = key;
        entry.serial = beNumber(bytes.data() + at, width);
        std::uint32_t pointer = be32(bytes.data() + at + width);
        entry.share = (pointer & kShareBit) != 0;
        entry.pointer = pointer & ~kShareBit;
        at += width + 4;
        if (entry.share && !spec.shared()) {
            out.problem = "entry at " + std::to_string(entry.offset) + " has a share bit";
            return out;
        }
        out.entries.push_back(std::move(entry));
    }
    return out;
}

Bytes FileReader::encode(const IndexSpec &spec, const std::vector<TreeEntry> &entries) const {
    Bytes out;
    int width = serialWidth(spec);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Key &key = entries[i].key;
        bool repeats = spec.shared() && i > 0 && key == entries[i - 1].key;
        if (!repeats) {
            // A count of 128 could not be told from a negative one.
            int lead = spec.leading() && i > 0 ? std::min(127, leadingShared(key, entries[i - 1].key)) : 0;
            int trail = 0;
            if (spec.trailing())
                while (trail < spec.keyLength - lead &&
                       static_cast<unsigned char>(key[static_cast<std::size_t>(spec.keyLength - trail - 1)]) ==
                           spec.fill())
                    ++trail;
            if (spec.leading()) out.push_back(static_cast<std::uint8_t>(lead));
            if (spec.trailing()) out.push_back(static_cast<std::uint8_t>(trail));
            for (int k = lead; k < spec.keyLength - trail; ++k)
                out.push_back(static_cast<std::uint8_t>(key[static_cast<std::size_t>(k)]));
        }
        bool share = spec.shared() && (i + 1 < entries.size() ? entries[i + 1].key == key : entries[i].share);
        putBe(&out, entries[i].serial, width);
        putBe(&out, entries[i].pointer | (share ? kShareBit : 0), 4);
    }
    return out;
}

InsertPoint FileReader::insertPoint(const IndexSpec &spec, const Key &key) const {
    InsertPoint out;
    std::uint32_t number = spec.root;
    while (out.levels < kMaxDepth) {
        TreeNode node = tree(spec, number);
        ++out.levels;
        std::size_t i = 0;
        while (i < node.entries.size() && compareKeys(spec, node.entries[i].key, key) <= 0)
            ++i;
        if (node.level == 0 || node.entries.empty()) {
            out.leafEntries = static_cast<int>(node.entries.size());
            out.position = static_cast<int>(i);
            if (i > 0) out.before = node.entries[i - 1];
            break;
        }
        if (i == node.entries.size()) --i;
        out.parentChild = static_cast<int>(i);
        if (i > 0) out.branch = node.entries[i - 1];
        number = node.entries[i].pointer;
    }
    return out;
}

int FileReader::lookupIn(const IndexSpec &spec, const Key &key, std::uint32_t recnum, std::uint32_t number, int depth,
                         FoundEntry *out) const {
    TreeNode node = tree(spec, number);
    if (depth > kMaxDepth || !node.problem.empty()) return -1;
    std::size_t i = 0;
    while (i < node.entries.size() && compareKeys(spec, node.entries[i].key, key) < 0)
        ++i;
    if (node.level != 0 && i == node.entries.size() && i > 0) --i;
    for (; i < node.entries.size(); ++i) {
        if (node.level != 0) {
            int answer = lookupIn(spec, key, recnum, node.entries[i].pointer, depth + 1, out);
            if (answer != 0) return answer;
            continue;
        }
        if (compareKeys(spec, node.entries[i].key, key) > 0) return -1;
        if (node.entries[i].pointer == recnum) {
            *out = {true, static_cast<int>(i), node.entries[i]};
            return 1;
        }
    }
    return 0;
}

FoundEntry FileReader::lookup(const IndexSpec &spec, const Key &key, std::uint32_t recnum) const {
    FoundEntry out;
    lookupIn(spec, key, recnum, spec.root, 0, &out);
    return out;
}

void FileReader::dumpNode(const IndexSpec &spec, std::uint32_t number, int depth, std::string *out) const {
    TreeNode node = tree(spec, number);
    std::string indent(static_cast<std::size_t>(depth) * 4, ' ');
    *out += indent + "node " + std::to_string(number) + " level " + std::to_string(node.level) + " used " +
            std::to_string(node.used) + (node.problem.empty() ? "" : " BROKEN: " + node.problem) + "\n";
    for (const TreeEntry &entry : node.entries) {
        *out += indent + "  @" + std::to_string(entry.offset) + " " + hex(entry.key) + " serial " +
                std::to_string(entry.serial) + " -> " + std::to_string(entry.pointer) + (entry.share ? " share" : "") +
                (entry.keyless ? " keyless" : "") + "\n";
        if (node.level != 0 && depth < kMaxDepth) dumpNode(spec, entry.pointer, depth + 1, out);
    }
}

std::string FileReader::dump(std::size_t index) const {
    std::string out;
    if (index < indexes_.size()) {
        out = "index " + std::to_string(index) + " (" + describe(indexes_[index]) + ")\n";
        dumpNode(indexes_[index], indexes_[index].root, 0, &out);
    }
    return out;
}

}  // namespace testing_support
