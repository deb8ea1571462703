#include "index/shape.h"

#include "keys/desc_layout.h"
#include "storage/header_layout.h"
#include "storage/node_layout.h"
#include "txn/audit_layout.h"

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

constexpr std::uint32_t kMostNumber = 0x7fffffff;
constexpr int kMostSerialWidth = 8;

std::string nodeName(const char *what, std::uint32_t number) { return what + (" " + std::to_string(number)); }

bool hasFront(ConstBytes node) {
    static constexpr std::uint8_t kFront[] = {0xfe, 0x53, 0x02, 0x02, 0x04, 0x04};
    return std::equal(std::begin(kFront), std::end(kFront), node.begin());
}

bool hasTrailer(ConstBytes node) { return std::memcmp(node.last(header::kTrailerBack).data(), "kjsk", 4) == 0; }

bool isGenuine(ConstBytes node) { return hasFront(node) && hasTrailer(node); }

bool hasMarks(ConstBytes node) { return hasFront(node) || hasTrailer(node); }

// The node size is needed to find everything else. A header that has been hit there is recognised by its trailer.
int findNodeSize(const FileView &view, Shape &shape) {
    std::uint8_t stored[2];
    if (!view.readIndex(header::kNodeSizeOffset, stored)) return header::kBuiltNodeSize;
    const int size = ld_int(stored) + 1;
    std::vector<std::uint8_t> node(header::kBuiltNodeSize);
    const bool built = view.readIndex(0, node) && std::memcmp(&node[node.size() - 4], "kjsk", 4) == 0;
    if (size == header::kBuiltNodeSize) return size;
    if (!built && size >= header::kMinNodeSize) {
        std::uint8_t trailer[4];
        if (view.readIndex(static_cast<std::uint64_t>(size) - 4, trailer) && std::memcmp(trailer, "kjsk", 4) == 0)
            return size;
    }
    shape.problems.push_back("the header gives nodes of " + std::to_string(size) + " bytes");
    return header::kBuiltNodeSize;
}

void readHeader(const FileView &view, Shape &shape) {
    IndexHeader &h = shape.header;
    h.nodeSize = findNodeSize(view, shape);
    h.serialWidth = header::kBuiltSerialWidth;
    std::vector<std::uint8_t> node;
    if (!shape.readNode(view, 1, node)) {
        shape.problems.push_back("the index file is too short for a header");
        return;
    }
    const std::uint8_t *p = node.data();
    h.genuine = isGenuine(node);
    h.indexCount = ld_int(p + header::kIndexCountOffset);
    const int width = ld_signed(p + header::kSerialWidthOffset);
    h.recordLength = ld_int(p + header::kRecordLengthOffset);
    h.maximum = ld_int(p + header::kMaximumOffset);
    h.descriptionNode = ld_long(p + header::kKeyDescOffset);
    h.recordListHead = ld_long(p + header::kDataFreeOffset);
    h.nodeListHead = ld_long(p + header::kIndexFreeOffset);
    h.lastRecord = ld_long(p + header::kLastRecordOffset);
    h.lastNode = ld_long(p + header::kLastNodeOffset);
    h.changes = ld_long(p + header::kStampOffset);
    h.uniqueId = ld_long(p + header::kUniqueIdOffset);
    h.auditNode = ld_long(p + header::kAuditNodeOffset);
    for (int i = 0; i < header::kHashHeadCount; ++i)
        h.tailHeads[static_cast<std::size_t>(i)] = header::hashHead(p, i);
    std::copy_n(p + h.nodeSize - header::kUserInfoBack, header::kUserInfoSize, h.userInfo.begin());
    h.flags = ld_int(p + h.nodeSize - header::kFlagsBack);

    const std::size_t before = shape.problems.size();
    const auto insist = [&shape](bool good, const std::string &what) {
        if (!good) shape.problems.push_back("the header gives " + what);
    };
    insist(width >= 0 && width <= kMostSerialWidth, "serials of " + std::to_string(width) + " bytes");
    insist(h.lastRecord <= kMostNumber, "a highest record number of " + std::to_string(h.lastRecord));
    insist(h.lastNode >= 1 && h.lastNode <= kMostNumber, "a highest node number of " + std::to_string(h.lastNode));
    insist(h.maximum <= ISMAXVARLEN, "records of up to " + std::to_string(h.maximum) + " bytes");
    insist(h.maximum == 0 || (h.recordLength > 0 && h.recordLength < h.maximum),
           "records of " + std::to_string(h.recordLength) + " to " + std::to_string(h.maximum) + " bytes");
    insist(h.flags <= 7 && (!h.compressed() || h.variable()), "flags " + std::to_string(h.flags));
    if (width >= 0 && width <= kMostSerialWidth) h.serialWidth = width;
    shape.headerRead = shape.problems.size() == before && (h.genuine || h.descriptionNode > 1);
    if (shape.headerRead) return;
    // A list of all that is wrong with bytes that were none tells nothing.
    if (!hasMarks(node)) shape.problems.clear();
    if (shape.problems.empty()) shape.problems.emplace_back("node 1 of the index file is no header");
}

// One entry of a description node; empty where it cannot be one.
std::optional<KeyDesc> parseEntry(ConstBytes entry) {
    KeyDesc key = {};
    key.rootNode = ld_long(&entry[desc::kRootOffset]);
    key.flags = static_cast<unsigned short>(entry[desc::kFlagsOffset] * 2);
    // By five, whatever the parts' size is: so the library reads it back.
    const auto parts = (entry.size() - desc::kHeadSize) / desc::kPartSize;
    if (parts > ISMAXPARTS) return std::nullopt;
    const bool wide = (key.flags & ISNULLKEY) != 0;
    const std::size_t size = wide ? desc::kWidePartSize : desc::kPartSize;
    if (desc::kHeadSize + parts * size > entry.size()) return std::nullopt;
    key.nparts = static_cast<short>(parts);
    int length = 0;
    for (std::size_t i = 0; i < parts; ++i) {
        const std::uint8_t *stored = &entry[desc::kHeadSize + i * size];
        unsigned part_length = ld_int(stored + desc::kPartLengthOffset);
        if (i == 0 && (part_length & desc::kDupsBit) != 0) {
            part_length &= ~desc::kDupsBit;
            key.flags |= ISDUPS;
        }
        KeyPart &part = key.parts[i];
        part.length = static_cast<short>(part_length);
        part.start = static_cast<short>(ld_int(stored + desc::kPartStartOffset));
        const std::uint8_t *type = stored + desc::kPartTypeOffset;
        part.type = wide ? ld_int(type) : *type;
        length += part.length;
    }
    key.keyLength = static_cast<short>(length);
    return key;
}

bool isDescriptionNode(const std::vector<std::uint8_t> &node, int node_size) {
    const int used = node::used(node.data());
    return node::mark(node.data(), node_size) == node::kListMark &&
           node::level(node.data(), node_size) == node::kDescLevel && used >= node::kListStart &&
           used <= node_size - node::kTrailerSize;
}

// Adds the descriptions of a node; false at the first that cannot be.
bool addDescriptions(const std::vector<std::uint8_t> &node, int record_length, Shape &shape) {
    const int used = node::used(node.data());
    for (int at = node::kListStart; at < used;) {
        const int room = used - at;
        const int length = room >= desc::kHeadSize ? ld_int(&node[static_cast<std::size_t>(at)]) : 0;
        if (length < desc::kHeadSize || length > room) return false;
        const auto key =
            parseEntry(ConstBytes(node).subspan(static_cast<std::size_t>(at), static_cast<std::size_t>(length)));
        at += length;
        if (!key || !isPossibleKey(*key, record_length)) return false;
        if (key->nparts != 0) {
            if (shape.indexes.size() > ISMAXINDEXES) return false;
            shape.indexes.push_back(*key);
        } else {
            if (shape.noPrimaryKey || !shape.indexes.empty()) return false;
            shape.noPrimaryKey = true;
        }
    }
    return true;
}

bool followDescriptions(const FileView &view, Shape &shape) {
    std::vector<std::uint8_t> node;
    for (std::uint32_t number = shape.header.descriptionNode; number != 0; number = node::link(node.data())) {
        auto &nodes = shape.descriptionNodes;
        if (std::find(nodes.begin(), nodes.end(), number) != nodes.end()) {
            shape.problems.push_back("the list of indexes is a circle");
            return false;
        }
        if (number <= 1 || !shape.readNode(view, number, node) || !isDescriptionNode(node, shape.header.nodeSize)) {
            shape.problems.push_back(nodeName("the list of indexes leads to node", number) + ", which is none of it");
            return false;
        }
        nodes.push_back(number);
        if (!addDescriptions(node, shape.headerRead ? shape.header.recordLength : 0, shape)) {
            shape.problems.push_back(nodeName("a key description in node", number) + " cannot be one");
            return false;
        }
    }
    const int stored = static_cast<int>(shape.indexes.size()) + (shape.noPrimaryKey ? 1 : 0);
    if (stored == 0) shape.problems.push_back("the index file names no index");
    return stored != 0;
}

void readAudit(const FileView &view, Shape &shape) {
    std::vector<std::uint8_t> node;
    const std::uint32_t number = shape.header.auditNode;
    if (number == 0) return;
    const auto *name = shape.readNode(view, number, node) && number > 1
                           ? reinterpret_cast<const char *>(&node[audit::kNameOffset])
                           : nullptr;
    const std::size_t length = name != nullptr ? strnlen(name, audit::kNameRoom) : 0;
    if (name == nullptr || length == audit::kNameRoom || node[node.size() - audit::kMarkBack] != audit::kMark ||
        ld_int(&node[audit::kLengthOffset]) != length + audit::kNameOffset) {
        shape.problems.push_back(nodeName("the audit settings in node", number) + " cannot be read");
        return;
    }
    shape.audit = AuditSettings{std::string(name, length), ld_int(&node[audit::kStateOffset]) == 1};
}

}  // namespace

bool isPossibleKey(const KeyDesc &key, int record_length) {
    static constexpr std::array<int, 8> kUnits = {1, 2, 4, 8, 4, 2, 4, 1};
    if (key.nparts == 0) return true;
    if (key.nparts < 0 || key.nparts > ISMAXPARTS || key.flags > 0x3f) return false;
    int total = 0;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        const unsigned type = part.type & 0x3fU;
        if (type >= kUnits.size() || part.start < 0 || part.length < 0 || part.length % kUnits[type] != 0) return false;
        if (record_length != 0 && part.start + part.length > record_length) return false;
        total += part.length;
    }
    return total <= ISMAXKEYLEN;
}

std::uint64_t Shape::nodesInFile(const FileView &view) const {
    return view.indexSize() / static_cast<std::uint64_t>(header.nodeSize);
}

bool Shape::readNode(const FileView &view, std::uint64_t number, std::vector<std::uint8_t> &node) const {
    node.resize(static_cast<std::size_t>(header.nodeSize));
    return number != 0 && view.readIndex((number - 1) * node.size(), node);
}

Shape readShape(const FileView &view) {
    Shape shape;
    if (!view.hasIndex()) {
        shape.header.nodeSize = header::kBuiltNodeSize;
        shape.header.serialWidth = header::kBuiltSerialWidth;
        shape.problems.push_back("there is no index file");
        return shape;
    }
    readHeader(view, shape);
    if (!shape.headerRead && !shape.header.genuine) return shape;
    shape.indexesRead = followDescriptions(view, shape);
    readAudit(view, shape);
    return shape;
}

void searchDescriptions(const FileView &view, Shape &shape) {
    shape.indexes.clear();
    shape.descriptionNodes.clear();
    shape.noPrimaryKey = false;
    std::vector<std::uint8_t> node;
    const std::uint64_t nodes = shape.nodesInFile(view);
    for (std::uint64_t number = 2; number <= nodes; ++number) {
        if (!shape.readNode(view, number, node) || !isDescriptionNode(node, shape.header.nodeSize)) continue;
        shape.descriptionNodes.push_back(static_cast<std::uint32_t>(number));
        addDescriptions(node, 0, shape);
    }
}

}  // namespace tool
