#include "damage.h"

#include "keys/desc_layout.h"
#include "kinds.h"
#include "log_damage.h"
#include "numbers.h"
#include "storage/header_layout.h"
#include "storage/node_layout.h"
#include "storage/remnant_layout.h"
#include "txn/audit_layout.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace fuzz {

namespace {

using memory_files::Bytes;

// A field at an offset from the node's beginning, or, below 0, from its end.
struct Field {
    int offset, width;
};

constexpr Field kHeaderFields[] = {
    {header::kNodeSizeOffset, 2},
    {header::kIndexCountOffset, 2},
    {header::kSerialWidthOffset, 1},
    {header::kRecordLengthOffset, 2},
    {header::kKeyDescOffset, 4},
    {header::kDataFreeOffset, 4},
    {header::kIndexFreeOffset, 4},
    {header::kLastRecordOffset, 4},
    {header::kLastNodeOffset, 4},
    {header::kStampOffset, 4},
    {header::kUniqueIdOffset, 4},
    {header::kAuditNodeOffset, 4},
    {header::kMaximumOffset, 2},
    {header::kHashHeadsOffset, 4},
    {header::kHashHeadsOffset + 4, 4},
    {header::kHashHeadsOffset + 8, 4},
    {header::kHashHeadsOffset + 12, 4},
    {header::kHashHeadsOffset + 16, 4},
    {-header::kFlagsBack, 2},
    {-header::kTrailerBack, 4},
    {0, 1},
    {10, 1},
    {19, 4},
};
constexpr Field kTreeFields[] = {{node::kUsedOffset, 2}, {2, 1}, {3, 1}, {2, 4}, {6, 4}, {10, 4}, {-node::kMarkBack, 1},
                                 {-node::kLevelBack, 1}};
constexpr Field kListFields[] = {
    {node::kUsedOffset, 2}, {node::kLinkOffset, 4}, {node::kListStart, 4}, {10, 4}, {14, 4}, {18, 4},
    {-node::kMarkBack, 1},  {-node::kLevelBack, 1}};
constexpr Field kDescFields[] = {{node::kUsedOffset, 2},
                                 {node::kLinkOffset, 4},
                                 {6 + desc::kLengthOffset, 2},
                                 {6 + desc::kRootOffset, 4},
                                 {12, 1},
                                 {13, 2},
                                 {15, 2},
                                 {17, 1},
                                 {18, 2},
                                 {20, 2},
                                 {22, 1},
                                 {18, 1},
                                 {-node::kMarkBack, 1},
                                 {-node::kLevelBack, 1},
                                 {20, 4},
                                 {24, 1}};
constexpr Field kTailFields[] = {{remnant::kMagicOffset, 2},
                                 {remnant::kNextOffset, 4},
                                 {remnant::kPreviousOffset, 4},
                                 {remnant::kFreeOffset, 2},
                                 {remnant::kDataEndOffset, 2},
                                 {remnant::kOnwardSlotOffset, 1},
                                 {remnant::kOnwardNodeOffset, 3},
                                 {remnant::kOnwardFlagOffset, 1},
                                 {remnant::kSlotCountOffset, 1},
                                 {remnant::kBucketOffset, 1},
                                 {-remnant::kMarkBack, 1},
                                 {-7, 2},
                                 {-5, 2},
                                 {-11, 2},
                                 {-9, 2},
                                 {-15, 2},
                                 {-13, 2}};
constexpr Field kAuditFields[] = {{audit::kLengthOffset, 2},
                                  {audit::kStateOffset, 2},
                                  {audit::kNameOffset, 1},
                                  {audit::kNameOffset, 4},
                                  {audit::kNameOffset + audit::kNameRoom - 1, 1},
                                  {-audit::kMarkBack, 1}};

enum class Class { Header, Tree, Free, Description, Tail, Audit, Any, Count };

struct Fields {
    const Field *first;
    std::size_t count;
};
template <std::size_t n> constexpr Fields fieldsIn(const Field (&fields)[n]) { return {fields, n}; }

Fields fieldsOf(Class kind) {
    switch (kind) {
    case Class::Header: return fieldsIn(kHeaderFields);
    case Class::Tree: return fieldsIn(kTreeFields);
    case Class::Free: return fieldsIn(kListFields);
    case Class::Description: return fieldsIn(kDescFields);
    case Class::Tail: return fieldsIn(kTailFields);
    case Class::Audit: return fieldsIn(kAuditFields);
    default: return {nullptr, 0};
    }
}

constexpr std::size_t kNodeSize = header::kBuiltNodeSize;

// An index file, by its nodes. The fields of the header are not believed: the files were made with that node size.
struct Nodes {
    Bytes *bytes;

    std::size_t count() const { return bytes->size() / kNodeSize; }
    std::uint8_t *at(std::size_t number) const { return bytes->data() + (number - 1) * kNodeSize; }
    Class classOf(std::size_t number) const {
        if (number == 1) return Class::Header;
        const std::uint8_t *end = at(number) + kNodeSize;
        if (end[-remnant::kMarkBack] == remnant::kMark) return Class::Tail;
        if (end[-audit::kMarkBack] == audit::kMark) return Class::Audit;
        if (end[-node::kMarkBack] == node::kTreeMark) return Class::Tree;
        return end[-node::kLevelBack] == node::kFreeLevel ? Class::Free : Class::Description;
    }
    // The which-th node of a class, round about; 0: there is none.
    std::size_t find(Class wanted, std::size_t which) const {
        std::size_t found = 0;
        for (std::size_t i = 1; i <= count(); ++i)
            if (wanted == Class::Any || classOf(i) == wanted) ++found;
        if (found == 0) return 0;
        which %= found;
        for (std::size_t i = 1; i <= count(); ++i)
            if ((wanted == Class::Any || classOf(i) == wanted) && which-- == 0) return i;
        return 0;
    }
};

// The file set meant by a bit of a; a link file may have sent m/a elsewhere.
Bytes *fileOf(const Operation &operation, const char *extension) {
    if ((operation.a & 0x80) != 0) return memory_files::find(std::string("m/b") + extension);
    Bytes *there = memory_files::find(std::string("m/a") + extension);
    return there != nullptr ? there : memory_files::find(std::string("m/elsewhere") + extension);
}

Class classIn(const Operation &operation) {
    return static_cast<Class>((operation.a & 0x0f) % static_cast<int>(Class::Count));
}

// What a field may become. c: the low byte chooses, the rest is a second number.
std::uint32_t valueFor(const Operation &operation, const Nodes &nodes, std::size_t own, std::uint32_t old, int width) {
    const std::uint32_t number = operation.d;
    const std::uint32_t all = width == 4 ? 0xffffffff : (1U << 8 * width) - 1;
    const auto nodeCount = static_cast<std::uint32_t>(nodes.bytes != nullptr ? nodes.count() : 0);
    const Bytes *data = fileOf(operation, ".dat");
    const auto slots = static_cast<std::uint32_t>(data != nullptr ? data->size() / (kRowLength + 1) : 0);
    switch (operation.c & 0x1f) {
    case 0: return 0;
    case 1: return 1;
    case 2: return all;
    case 3: return all >> 1;
    case 4: return (all >> 1) + 1;
    case 5: return old + 1;
    case 6: return old - 1;
    case 7: return old ^ 1U << number % static_cast<unsigned>(8 * width);
    case 8: return static_cast<std::uint32_t>(own);
    case 9: return nodeCount;
    case 10: return nodeCount + 1;
    case 11: return slots;
    case 12: return slots + 1;
    case 13: return kNodeSize;
    case 14: return static_cast<std::uint32_t>(kNodeSize) - number % 32;
    case 15:
    case 16:
    case 17:
    case 18:
        return nodes.bytes != nullptr
                   ? static_cast<std::uint32_t>(nodes.find(
                         static_cast<Class>(number % static_cast<unsigned>(Class::Count)), operation.c >> 16))
                   : number;
    case 19: return number % (nodeCount + 2);
    case 20: return number % (slots + 2);
    case 21: return old + number % 16;
    case 22: return old - number % 16;
    case 23: return old * 2;
    case 24: return old | ((all >> 1) + 1);
    case 25: return number % 256;
    case 26: return number % 2048;
    case 27: return kRowLength + number % 8;
    case 28: return static_cast<std::uint32_t>(memory_files::kDiskSize);
    default: return number;
    }
}

void setField(const Operation &operation, const Nodes &nodes, std::size_t number, int offset, int width) {
    std::uint8_t *p = nodes.at(number) + offset;
    storeBig(valueFor(operation, nodes, number, loadBig(p, width), width), p, width);
}

void damageField(const Operation &operation) {
    const Nodes nodes = {fileOf(operation, ".idx")};
    if (nodes.bytes == nullptr) return;
    const std::size_t number = nodes.find(classIn(operation), operation.b & 0xff);
    if (number == 0) return;
    const Fields fields = fieldsOf(nodes.classOf(number));
    const std::size_t which = operation.b >> 8;
    Field field = {static_cast<int>((which * 4 + operation.d) % (kNodeSize - 4)), 4};
    if (which % (fields.count + 1) < fields.count) field = fields.first[which % (fields.count + 1)];
    const int offset = field.offset < 0 ? static_cast<int>(kNodeSize) + field.offset : field.offset;
    setField(operation, nodes, number, offset, field.width);
}

// An entry of a node that is not compressed, as if it belonged to the index named in a; of another one something in it.
void damageEntry(std::size_t kind, const Operation &operation) {
    const Nodes nodes = {fileOf(operation, ".idx")};
    if (nodes.bytes == nullptr) return;
    const std::size_t number = nodes.find(Class::Tree, operation.b & 0xff);
    if (number == 0) return;
    const std::vector<KeyDesc> &keys = kinds()[kind].keys;
    const KeyDesc &key = keys[(operation.a & 0x0f) % keys.size()];
    int length = 0;
    for (int i = 0; i < key.nparts; ++i)
        length += key.parts[i].length;
    const int serial = (key.flags & ISDUPS) != 0 ? header::kBuiltSerialWidth : 0;
    const int size = length + serial + 4, used = node::used(nodes.at(number));
    const int entries = std::max((used - node::kTreeStart) / size, 1);
    const int entry = node::kTreeStart + static_cast<int>(operation.b >> 8) % entries * size;
    int offset = entry + length + serial, width = 4;
    switch (operation.a >> 4 & 3) {
    case 0: break;
    case 1: offset = entry; break;
    case 2: offset = entry + length; break;
    default:
        offset = node::kTreeStart + static_cast<int>(operation.b >> 8) * 4 % std::max(used, 1);
        width = 1;
        break;
    }
    if (offset + width <= static_cast<int>(kNodeSize)) setField(operation, nodes, number, offset, width);
}

void damageSlot(std::size_t kind, const Operation &operation) {
    Bytes *data = fileOf(operation, ".dat");
    if (data == nullptr) return;
    const bool tails = kinds()[kind].tails(), masked = (kinds()[kind].mode & ISMASK) != 0;
    const std::size_t size = kRowLength + 1 + (tails ? 6 : 0) + (masked ? 4 : 0);
    if (data->size() < size) return;
    const std::size_t slot = (operation.b & 0xff) % (data->size() / size) * size;
    static constexpr Field kFields[] = {{kRowLength, 1},
                                        {kRowLength + 1, 2},
                                        {kRowLength + 3, 1},
                                        {kRowLength + 4, 3},
                                        {0, 4},
                                        {4, 2},
                                        {14, 2},
                                        {32, 4},
                                        {40, 4}};
    const Field field = kFields[(operation.b >> 8) % std::size(kFields)];
    const std::size_t at = slot + static_cast<std::size_t>(field.offset);
    if (at + static_cast<std::size_t>(field.width) > data->size()) return;
    std::uint8_t *p = data->data() + at;
    const Nodes nodes = {fileOf(operation, ".idx")};
    storeBig(valueFor(operation, nodes, 0, loadBig(p, field.width), field.width), p, field.width);
}

void damageText(const Operation &operation) {
    static const std::string kTexts[] = {"m/a\n",
                                         "m/b\n",
                                         "m/elsewhere\n",
                                         "m/c\n",
                                         "",
                                         "\n",
                                         "m/a",
                                         "none/a\n",
                                         "/\n",
                                         "m/log\n",
                                         std::string(253, 'n') + "\n",
                                         std::string(300, 'n'),
                                         std::string(249, 'n') + "\n",
                                         std::string("m/\0a\n", 5),
                                         "m/" + std::string(249, 'x') + "\n",
                                         "m/a.idx\n"};
    const std::string &text = kTexts[operation.b % std::size(kTexts)];
    if (operation.a % 3 == 0) {
        memory_files::make((operation.a & 0x80) != 0 ? "m/b.lnk" : "m/a.lnk").assign(text.begin(), text.end());
    } else if (operation.a % 3 == 1) {
        memory_files::make("m/trail").assign(text.begin(), text.end());
    } else {
        const Nodes nodes = {fileOf(operation, ".idx")};
        const std::size_t number = nodes.bytes != nullptr ? nodes.find(Class::Audit, operation.c) : 0;
        if (number == 0) return;
        std::memcpy(nodes.at(number) + audit::kNameOffset, text.data(), std::min<std::size_t>(text.size(), 300));
    }
}

// Any file, by number.
Bytes *anyFile(const Operation &operation) {
    static const char *const kFiles[] = {"m/a.idx", "m/a.dat", "m/b.idx",         "m/b.dat",
                                         "m/log",   "m/trail", "m/elsewhere.idx", "m/a.lnk"};
    return memory_files::find(kFiles[operation.a % std::size(kFiles)]);
}

const char *const kReplaced[] = {"m/a.idx", "m/a.dat", "m/b.idx", "m/b.dat", "m/log", "m/trail", "m/a.lnk", "m/b.lnk"};
const char *replacedName(const Operation &operation) { return kReplaced[operation.a % std::size(kReplaced)]; }

void damageBytes(const Operation &operation) {
    Bytes *file = anyFile(operation);
    if (file == nullptr || file->empty()) return;
    for (int i = 0; i < 4 && i <= operation.a >> 6; ++i)
        (*file)[(operation.c + static_cast<unsigned>(i)) % file->size()] =
            static_cast<std::uint8_t>(operation.d >> 8 * i);
}

void damageBit(const Operation &operation) {
    Bytes *file = anyFile(operation);
    if (file != nullptr && !file->empty())
        (*file)[operation.c % file->size()] ^= static_cast<std::uint8_t>(1U << operation.b % 8);
}

void moveNodes(DamageCode code, const Operation &operation) {
    const Nodes nodes = {fileOf(operation, ".idx")};
    if (nodes.bytes == nullptr) return;
    const std::size_t one = nodes.find(classIn(operation), operation.b & 0xff);
    const std::size_t other =
        nodes.find(static_cast<Class>(operation.c % static_cast<unsigned>(Class::Count)), operation.b >> 8);
    if (one == 0 || other == 0) return;
    const std::size_t size = kNodeSize - ((operation.a & 0x40) != 0 ? node::kTrailerSize : 0);
    switch (code) {
    case DamageCode::Swap: std::swap_ranges(nodes.at(one), nodes.at(one) + size, nodes.at(other)); break;
    case DamageCode::Copy: std::memmove(nodes.at(one), nodes.at(other), size); break;
    default: std::memset(nodes.at(one), 0, size); break;
    }
}

void resize(DamageCode code, const Operation &operation) {
    Bytes *file = anyFile(operation);
    if (file == nullptr) return;
    if (code == DamageCode::Cut)
        file->resize(file->size() -
                     std::min<std::size_t>(file->size(), operation.b % 2 == 0 ? operation.c % 64 : operation.c % 8192));
    else if (file->size() + 8192 < memory_files::kDiskSize / 4)
        file->resize(file->size() + operation.c % 8192, static_cast<std::uint8_t>(operation.d));
}

void replace(std::size_t kind, DamageCode code, const Operation &operation) {
    const char *const name = replacedName(operation);
    if (code == DamageCode::Remove) return memory_files::remove(name);
    const memory_files::FileSet &files = filesOf(code == DamageCode::Restore ? kind : operation.b % kinds().size());
    const auto found = files.find((operation.c & 1) != 0 ? kReplaced[operation.c / 2 % std::size(kReplaced)] : name);
    if (found != files.end()) memory_files::make(name) = found->second;
}

}  // namespace

void damage(std::size_t kind, const Operation &operation) {
    const auto code = static_cast<DamageCode>(codeOf(operation));
    switch (code) {
    case DamageCode::Field:
    case DamageCode::Field2:
    case DamageCode::Field3: return damageField(operation);
    case DamageCode::Slot: return damageSlot(kind, operation);
    case DamageCode::Entry: return damageEntry(kind, operation);
    case DamageCode::Text: return damageText(operation);
    case DamageCode::Bytes: return damageBytes(operation);
    case DamageCode::Bit: return damageBit(operation);
    case DamageCode::Swap:
    case DamageCode::Copy:
    case DamageCode::Blank: return moveNodes(code, operation);
    case DamageCode::Cut:
    case DamageCode::Grow: return resize(code, operation);
    case DamageCode::Replace:
    case DamageCode::Remove:
    case DamageCode::Restore: return replace(kind, code, operation);
    case DamageCode::LogField:
    case DamageCode::AddRecord:
    case DamageCode::MoveRecord: return damageLog(code, operation);
    case DamageCode::Count: return;
    }
}

}  // namespace fuzz
