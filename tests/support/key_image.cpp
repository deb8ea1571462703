#include "key_image.h"

#include <cstdio>
#include <cstring>

namespace testing_support {

namespace {

template <typename T> int compareAs(const char *a, const char *b) {
    T left;
    T right;
    std::memcpy(&left, a, sizeof left);
    std::memcpy(&right, b, sizeof right);
    return left > right ? 1 : -1;
}

int comparePart(const PartSpec &part, const char *a, const char *b, int differs) {
    int unit = unitOf(part.code());
    int value = differs / unit * unit;  // the value in which the first difference lies
    switch (part.code()) {
    case 1:
    case 2:
        if (differs == 0) return static_cast<signed char>(a[0]) - static_cast<signed char>(b[0]);
        break;
    case 3: return compareAs<double>(a + value, b + value);
    case 4: return compareAs<float>(a + value, b + value);
    case 5: return compareAs<std::int16_t>(a + value, b + value);
    case 6: return compareAs<std::int32_t>(a + value, b + value);
    default: break;
    }
    return static_cast<unsigned char>(a[differs]) - static_cast<unsigned char>(b[differs]);
}

}  // namespace

int unitOf(int code) {
    switch (code) {
    case 1:
    case 5: return 2;
    case 2:
    case 4:
    case 6: return 4;
    case 3: return 8;
    default: return 1;
    }
}

IndexSpec specOf(const KeyDesc &desc) {
    IndexSpec spec;
    spec.flags = desc.flags;
    for (int i = 0; i < desc.nparts; ++i) {
        spec.parts.push_back({desc.parts[i].start, desc.parts[i].length, desc.parts[i].type});
        spec.keyLength += desc.parts[i].length;
    }
    return spec;
}

Key makeKey(const IndexSpec &spec, const unsigned char *record) {
    Key key;
    key.reserve(static_cast<std::size_t>(spec.keyLength));
    for (const PartSpec &part : spec.parts) {
        const char *from = reinterpret_cast<const char *>(record) + part.start;
        auto length = static_cast<std::size_t>(part.length);
        if (part.code() == 7) {
            std::size_t text = strnlen(from, length);
            key.append(from, text);
            key.append(length - text, '\0');
        } else {
            key.append(from, length);
        }
    }
    return key;
}

void scatterKey(const IndexSpec &spec, const Key &key, unsigned char *record) {
    std::size_t at = 0;
    for (const PartSpec &part : spec.parts) {
        std::memcpy(record + part.start, key.data() + at, static_cast<std::size_t>(part.length));
        at += static_cast<std::size_t>(part.length);
    }
}

int compareKeys(const IndexSpec &spec, const Key &a, const Key &b, int length) {
    int differs = 0;
    while (differs < length && a[static_cast<std::size_t>(differs)] == b[static_cast<std::size_t>(differs)])
        ++differs;
    if (differs >= length) return 0;
    int at = 0;
    for (const PartSpec &part : spec.parts) {
        if (differs < at + part.length) {
            int order = comparePart(part, a.data() + at, b.data() + at, differs - at);
            return part.descending() ? -order : order;
        }
        at += part.length;
    }
    return 0;
}

int compareKeys(const IndexSpec &spec, const Key &a, const Key &b) { return compareKeys(spec, a, b, spec.keyLength); }

bool isNullKey(const IndexSpec &spec, const Key &key) {
    if (!spec.nullKeys()) return false;
    std::size_t at = 0;
    for (const PartSpec &part : spec.parts)
        for (int i = 0; i < part.length; ++i)
            if (static_cast<unsigned char>(key[at++]) != part.nullByte()) return false;
    return true;
}

std::string hex(const std::string &bytes) {
    std::string out;
    char two[3];
    for (char c : bytes) {
        std::snprintf(two, sizeof two, "%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        out += two;
    }
    return out;
}

std::string describe(const IndexSpec &spec) {
    static const char *const names[] = {"CHAR", "INT", "LONG", "DOUBLE", "FLOAT", "MINT", "MLONG", "STRING"};
    std::string out;
    for (const PartSpec &part : spec.parts) {
        out += out.empty() ? "" : ", ";
        out += std::to_string(part.start) + "+" + std::to_string(part.length) + " ";
        out += part.code() < 8 ? names[part.code()] : "?";
        if (part.descending()) out += " desc";
        if (spec.nullKeys()) out += " null " + std::to_string(part.nullByte());
    }
    out += spec.duplicates() ? "; dups" : "; unique";
    out += (spec.flags & 0x02U) != 0 ? " dupcomp" : "";
    out += (spec.flags & 0x04U) != 0 ? " leadcomp" : "";
    out += (spec.flags & 0x08U) != 0 ? " trailcomp" : "";
    out += (spec.flags & 0x10U) != 0 ? " trailnul" : "";
    return out;
}

}  // namespace testing_support
