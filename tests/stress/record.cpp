#include "record.h"

#include "model/random.h"

#include <cstring>

namespace stress {
namespace {

constexpr int kBadgeAt = 4, kNameAt = 8, kNameLength = 20, kGroupAt = 28, kVersionAt = 30, kWriterAt = 34;
constexpr int kLengthAt = 38, kChecksumAt = 42, kNoiseAt = 46;

std::uint32_t unsignedLong(const char *at) { return static_cast<std::uint32_t>(ldlong(at)); }

// FNV-1a over the record, its own place left out, folded to 32 bits.
std::uint32_t checksumOf(const char *record, int length) {
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (int i = 0; i < length; ++i) {
        if (i >= kChecksumAt && i < kNoiseAt) continue;
        hash = (hash ^ static_cast<unsigned char>(record[i])) * 0x100000001b3ULL;
    }
    return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

KeyDesc single(int flags, int start, int length, int type) {
    KeyDesc key{};
    key.flags = static_cast<unsigned short>(flags);
    key.nparts = 1;
    key.parts[0] = KeyPart{static_cast<short>(start), static_cast<short>(length), static_cast<unsigned short>(type)};
    return key;
}

void addPart(KeyDesc *key, const KeyDesc &from) { key->parts[key->nparts++] = from.parts[0]; }

}  // namespace

std::string nameText(int name) { return "NAME-" + std::to_string(name % 4) + "-OF-" + std::to_string(name); }

Image compose(const Facts &facts, char *record) {
    stlong(facts.key, record);
    stlong(facts.badge, record + kBadgeAt);
    stchar(nameText(facts.name).c_str(), record + kNameAt, kNameLength);
    stint(facts.group, record + kGroupAt);
    stlong(static_cast<long>(facts.version), record + kVersionAt);
    stlong(static_cast<long>(facts.writer), record + kWriterAt);
    stlong(facts.length, record + kLengthAt);
    model::Random noise(facts.version * 1000003ULL + static_cast<std::uint64_t>(facts.key));
    for (int at = kNoiseAt; at < facts.length; at += 8) {
        const std::uint64_t bits = noise.next();
        const int part = facts.length - at < 8 ? facts.length - at : 8;
        std::memcpy(record + at, &bits, static_cast<std::size_t>(part));
    }
    const std::uint32_t checksum = checksumOf(record, facts.length);
    stlong(static_cast<long>(checksum), record + kChecksumAt);
    return {facts.version, checksum};
}

bool parse(const char *record, int length, Facts *facts) {
    facts->key = static_cast<int>(ldlong(record));
    facts->badge = static_cast<int>(ldlong(record + kBadgeAt));
    facts->group = ldint(record + kGroupAt);
    facts->version = unsignedLong(record + kVersionAt);
    facts->writer = unsignedLong(record + kWriterAt);
    facts->length = static_cast<int>(ldlong(record + kLengthAt));
    facts->checksum = unsignedLong(record + kChecksumAt);
    if (facts->length != length || length < kFixed || length > kMaximum) return false;
    char name[kNameLength + 1];
    ldchar(record + kNameAt, kNameLength, name);
    const char *number = std::strrchr(name, '-');
    facts->name = number == nullptr ? -1 : std::atoi(number + 1);
    return checksumOf(record, length) == facts->checksum;
}

KeyDesc indexKey(int index) {
    switch (index) {
    case 1: return single(ISNODUPS, 0, 4, LONGTYPE);
    case 2: return single(ISNODUPS, kBadgeAt, 4, LONGTYPE | ISDESC);
    case 3: return single(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, kNameAt, kNameLength, CHARTYPE);
    default: return single(ISDUPS, kGroupAt, 2, INTTYPE | ISDESC);
    }
}

KeyDesc fifthKey(int form) {
    KeyDesc key{};
    switch (form) {
    case 1:
        key = indexKey(3);
        key.flags = ISNODUPS | ISLEADCOMP;
        addPart(&key, indexKey(1));
        return key;
    case 2: return single(ISDUPS, kVersionAt, 4, LONGTYPE | ISDESC);
    default:
        key = indexKey(4);
        key.flags = ISDUPS | ISDUPCOMP;
        addPart(&key, indexKey(3));
        return key;
    }
}

std::string keyBytes(const KeyDesc &key, const char *record) {
    std::string bytes;
    for (int i = 0; i < key.nparts; ++i)
        bytes.append(record + key.parts[i].start, static_cast<std::size_t>(key.parts[i].length));
    return bytes;
}

// All numbers here are small and positive, so that their bytes sort as they do.
int compareKeys(const KeyDesc &key, const std::string &a, const std::string &b) {
    std::size_t at = 0;
    for (int i = 0; i < key.nparts; ++i) {
        const auto length = static_cast<std::size_t>(key.parts[i].length);
        const int order = std::memcmp(a.data() + at, b.data() + at, length);
        if (order != 0) return (key.parts[i].type & ISDESC) != 0 ? -order : order;
        at += length;
    }
    return 0;
}

}  // namespace stress
