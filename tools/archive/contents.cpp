#include "archive/contents.h"

#include "archive/unchanged.h"
#include "base/key_image.h"
#include "base/progress.h"
#include "base/scan.h"

#include <string_view>

namespace tool {

namespace {

constexpr unsigned kByteBits = 8;
constexpr std::size_t kShortSize = 2;
constexpr std::size_t kLongSize = 4;
constexpr std::size_t kCountSize = 8;

enum Kind : std::uint8_t { kVariable = 1, kCompressed = 2, kMasks = 4, kByNumber = 8 };

// The low bytes of a number, most significant first.
void add(Sha256 &hash, std::uint64_t number, std::size_t size) {
    std::array<std::uint8_t, kCountSize> bytes;
    for (std::size_t i = size; i-- > 0; number >>= kByteBits)
        bytes[i] = static_cast<std::uint8_t>(number);
    hash.add(bytes.data(), size);
}

void add(Sha256 &hash, std::string_view bytes) { hash.add(bytes.data(), bytes.size()); }

void addTo(Digest &sum, const Digest &term) {
    unsigned carry = 0;
    for (std::size_t i = sum.size(); i-- > 0; carry >>= kByteBits) {
        carry += unsigned{sum[i]} + term[i];
        sum[i] = static_cast<std::uint8_t>(carry);
    }
}

// The hash of the record or key that the scan has come to.
Digest hashOne(const OpenFile &file, const Scan &scan, int keyLength) {
    Sha256 hash;
    if (file.hasRecords()) {
        add(hash, static_cast<std::uint64_t>(scan.length()), kLongSize);
        add(hash, file.hasMasks() ? scan.mask() : 0, kLongSize);
        hash.add(scan.record(), static_cast<std::size_t>(scan.length()));
    } else {
        add(hash, scan.number(), kLongSize);
        add(hash, 0, kLongSize);
        hash.add(isseekey(file.fd()), static_cast<std::size_t>(keyLength));
    }
    return hash.finish();
}

Digest hashFile(const OpenFile &file, const std::vector<KeyDesc> &keys, const Digest &records) {
    int mode = 0;
    isgetmode(file.fd(), &mode);
    unsigned kind = 0;
    if (file.variableLength()) kind |= kVariable;
    if (file.variableLength() && (mode & ISCOMPRESS) != 0) kind |= kCompressed;
    if (file.hasMasks()) kind |= kMasks;
    if (!file.hasPrimaryKey()) kind |= kByNumber;
    Sha256 hash;
    add(hash, std::string_view("isam file 1\0", 12));
    add(hash, kind, 1);
    add(hash, static_cast<std::uint64_t>(file.minimumLength()), kShortSize);
    add(hash, static_cast<std::uint64_t>(file.maximumLength()), kShortSize);
    add(hash, keys.size(), 1);
    for (const KeyDesc &key : keys) {
        add(hash, key.flags, kShortSize);
        add(hash, static_cast<std::uint64_t>(key.nparts), 1);
        for (int i = 0; i < key.nparts; ++i) {
            add(hash, static_cast<std::uint64_t>(key.parts[i].start), kShortSize);
            add(hash, static_cast<std::uint64_t>(key.parts[i].length), kShortSize);
            add(hash, key.parts[i].type, kShortSize);
        }
    }
    hash.add(records.data(), records.size());
    return hash.finish();
}

Contents readContents(const OpenFile &file) {
    const std::vector<KeyDesc> keys = file.indexes();
    Contents contents;
    Digest sum = {};
    if (file.hasRecords() || !keys.empty()) {
        const int length = keys.empty() ? 0 : keyLength(keys.front());
        Progress progress("hashing " + file.name(), static_cast<std::uint64_t>(file.recordCount()));
        Scan scan(file, file.hasRecords() ? 0 : 1);
        for (; scan.next(); ++contents.count) {
            addTo(sum, hashOne(file, scan, length));
            progress.step();
        }
    }
    Sha256 records;
    add(records, std::string_view("isam records 1\0", 15));
    add(records, contents.count, kCountSize);
    records.add(sum.data(), sum.size());
    contents.records = records.finish();
    contents.file = hashFile(file, keys, contents.records);
    return contents;
}

}  // namespace

Contents hashContents(const OpenFile &file) { return readUnchanged(file, readContents); }

}  // namespace tool
