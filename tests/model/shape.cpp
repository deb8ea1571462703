#include "shape.h"

#include "support/key_image.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace model {

namespace {

constexpr int kTypes[] = {CHARTYPE, INTTYPE, LONGTYPE, DOUBLETYPE, FLOATTYPE, MINTTYPE, MLONGTYPE, STRINGTYPE};
constexpr char kLetters[] = {'A', 'B', 'a', '\xe9', ' ', 'x', '0', '\x7f'};

// The text of value v in n bytes: digits in a few letters, the rest filled, by the style of the field.
void fillText(const Field &field, int value, char *to) {
    auto n = static_cast<std::size_t>(field.length);
    if (field.style == 3) {  // all bytes change
        Random bytes(static_cast<std::uint64_t>(value) * 77 + 5);
        for (std::size_t i = 0; i < n; ++i)
            to[i] = static_cast<char>(bytes.below(256));
        return;
    }
    if (field.style == 4) {  // groups that differ at the far end: one of them is all fill there
        std::memset(to, field.fill, n);
        int group = value / 4;
        for (std::size_t i = 3; i-- > 0; group /= 8)
            to[i] = static_cast<char>('a' + group % 8);
        if (value % 4 != 0) to[n - 1] = static_cast<char>('0' + value % 4);
        return;
    }
    std::memset(to, field.style == 1 ? 'P' : value % 3 == 0 ? '\0' : value % 3 == 1 ? ' ' : 'z', n);
    std::size_t digits = std::min<std::size_t>(n, 6);
    std::size_t at = field.style == 1 ? n - digits : field.style == 2 ? (n - digits) / 2 : 0;
    for (std::size_t i = digits; i-- > 0; value /= 8)
        to[at + i] = kLetters[value % 8];
}

template <typename T> void store(T value, std::uint8_t *to) { std::memcpy(to, &value, sizeof value); }

void addPart(KeyDesc *key, const Field &field, int offset, int length, int type) {
    KeyPart &part = key->parts[key->nparts++];
    part.start = static_cast<short>(field.start + offset);
    part.length = static_cast<short>(length);
    part.type = static_cast<unsigned short>(type);
}

int lengthOf(const KeyDesc &key) {
    int total = 0;
    for (int i = 0; i < key.nparts; ++i)
        total += key.parts[i].length;
    return total;
}

// The longest key that the flags allow: counts go to 127, and two equal separators meet in the first root split.
int longestKey(int flags) {
    bool counted = (flags & ISTRAILCOMP) != 0 || ((flags & ISLEADCOMP) != 0 && (flags & ISDUPCOMP) == 0);
    return counted ? 127 : ISMAXKEYLEN;
}

// A key over some of the fields, of about the wanted length.
KeyDesc makeKeyDesc(Random &random, const Shape &shape, int flags, int wanted) {
    KeyDesc key{};
    bool nullKeys = (flags & ISNULLKEY) != 0;
    int maxParts = nullKeys ? 4 : random.between(1, random.percent(10) ? 10 : 4);
    std::vector<std::size_t> order(shape.fields.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    for (std::size_t i = order.size(); i > 1; --i)
        std::swap(order[i - 1], order[static_cast<std::size_t>(random.below(static_cast<int>(i)))]);
    for (std::size_t i : order) {
        const Field &field = shape.fields[i];
        int room = std::min(longestKey(flags), std::max(wanted, 4)) - lengthOf(key);
        int unit = testing_support::unitOf(field.type);
        int length = std::min(field.length, room) / unit * unit;
        if (key.nparts >= maxParts || length <= 0) continue;
        int offset = 0;
        if (field.type == CHARTYPE && field.style == 1)  // the changing bytes are at the end
            offset = field.length - length;
        int type = field.type | (random.percent(30) ? ISDESC : 0);
        if (nullKeys) type |= field.nullByte << 8;
        addPart(&key, field, offset, length, type);
    }
    key.flags = static_cast<unsigned short>(flags);
    return key;
}

int randomFlags(Random &random) {
    int flags = random.percent(60) ? ISDUPS : ISNODUPS;
    if (random.percent(60)) flags |= random.below(16) << 1;
    if (random.percent(15)) flags |= ISNULLKEY;
    return flags;
}

Field makeField(Random &random, int type, int length, int start, int domain) {
    Field field;
    int unit = testing_support::unitOf(type);
    field.type = type;
    field.start = start;
    field.length = std::max(unit, length / unit * unit);
    field.domain = domain;
    field.style = type == STRINGTYPE ? 0 : random.below(4);
    bool floating = type == DOUBLETYPE || type == FLOATTYPE;
    int nullBytes[] = {0, ' ', 0xff};
    field.nullByte = floating ? 0 : nullBytes[random.below(3)];
    return field;
}

void makeFields(Random &random, Shape *shape, int wide) {
    int at = random.below(3);
    int domain = std::max(4, shape->target * 3);
    auto add = [&](int type, int length, int values) {
        Field field = makeField(random, type, length, at, values);
        field.nulls = random.percent(50);
        at += field.length + (random.percent(20) ? 1 : 0);
        shape->fields.push_back(field);
    };
    bool bothEnds = (shape->number & 6) == 6;
    // One field with many values, one for long keys, and a few of any kind.
    int first = shape->number % 8;
    add(kTypes[first], first == CHARTYPE || first == STRINGTYPE ? 6 + random.below(8) : 8, domain);
    add(CHARTYPE, std::max(1, wide), random.percent(60) ? domain : random.between(2, 40));
    if (bothEnds) {
        shape->fields.back().style = 4;
        shape->fields.back().fill = (shape->number & 8) != 0 ? 0 : ' ';
        shape->fields.back().nulls = false;
        shape->fields.back().domain = 4 * 8 * 8 * 8;
    }
    int more = random.between(1, 5);
    for (int i = 0; i < more; ++i) {
        int type = kTypes[random.below(8)];
        int units = random.percent(80) ? 1 : random.between(1, 3);
        int unit = testing_support::unitOf(type);
        add(type, unit == 1 ? random.between(1, 12) : unit * units,
            random.percent(50) ? random.between(2, 12) : domain);
    }
    shape->bufferLength = at + random.below(random.percent(20) ? 300 : 6) + 1;
}

}  // namespace

void fillField(const Field &field, int value, std::uint8_t *record) {
    std::uint8_t *to = record + field.start;
    int unit = testing_support::unitOf(field.type);
    if (field.nulls && value % 9 == 4) {
        std::memset(to, field.nullByte, static_cast<std::size_t>(field.length));
        return;
    }
    if (field.type == CHARTYPE || field.type == STRINGTYPE) {
        fillText(field, value, reinterpret_cast<char *>(to));
        if (field.type == STRINGTYPE && field.length > 1 && value % 2 == 0)
            to[std::min(field.length - 1, 6)] = 0;  // what stays behind the end does not count
        return;
    }
    int centred = value - field.domain / 2;
    for (int at = 0; at < field.length; at += unit, centred = centred / 3 + 1) {
        switch (field.type) {
        case INTTYPE: stint(centred * 37, to + at); break;
        case LONGTYPE: stlong(static_cast<long>(centred) * 65537, to + at); break;
        case DOUBLETYPE: store(static_cast<double>(centred) * 0.25, to + at); break;
        case FLOATTYPE: store(static_cast<float>(centred) * 0.5F, to + at); break;
        case MINTTYPE: store(static_cast<std::int16_t>(centred * 37), to + at); break;
        default: store(static_cast<std::int32_t>(centred * 65537), to + at); break;
        }
    }
}

Shape makeShape(int number, std::uint64_t seed) {
    Shape shape;
    shape.number = number;
    shape.seed = seed;
    Random random(seed);
    static const Mix mixes[] = {Mix::kEven,      Mix::kAscending, Mix::kDeleteHeavy,
                                Mix::kReadHeavy, Mix::kNoDelete,  Mix::kRewriteHeavy};
    shape.mix = mixes[number % 6];
    // Keys of 1 to 128 bytes; every sixth shape has the longest, so that its trees grow high.
    bool high = number % 6 == 4 || number % 12 == 0;
    int lengths[] = {random.between(1, 8), random.between(6, 40), random.between(40, 100), 128};
    // Where both ends of a key are left out, taking out a key can make the next one long.
    const bool bothEnds = (number & 6) == 6;
    if (bothEnds) shape.mix = number % 16 > 8 ? Mix::kDeleteHeavy : Mix::kEven;
    int wide = high ? 128 : lengths[random.below(4)];
    shape.target = high                 ? random.between(700, 1100)
                   : random.percent(50) ? random.between(20, 120)
                                        : random.between(100, 400);
    bool pure = number % 9 == 7;
    bool natural = number % 11 == 5 && !pure;
    shape.masked = number % 7 == 3 && !pure;
    if (bothEnds) {
        wide = random.between(90, 127);
        shape.target = random.between(400, 800);
    }
    makeFields(random, &shape, wide);
    shape.recordLength = pure ? 0 : shape.bufferLength;

    int flags = (number % 16) << 1 | (number / 16 % 2 == 0 ? ISDUPS : ISNODUPS);
    bool uniqueFirst = random.percent(60);
    auto any = [&](int withFlags) {
        return makeKeyDesc(random, shape, withFlags, high ? 128 : random.percent(50) ? wide : random.between(1, 40));
    };
    if (natural)
        shape.indexes.push_back(KeyDesc{});
    else if (uniqueFirst && !pure)
        shape.indexes.push_back(makeKeyDesc(random, shape, random.below(16) << 1, random.between(8, 30)));
    if (bothEnds) {
        KeyDesc key{};
        key.flags = static_cast<unsigned short>(flags);
        addPart(&key, shape.fields[1], 0, shape.fields[1].length, CHARTYPE);
        shape.indexes.push_back(key);
    } else if (natural || (uniqueFirst && !pure) || pure || random.percent(70)) {
        shape.indexes.push_back(any(flags));
    }
    while (shape.indexes.empty() || (!pure && shape.indexes.size() < 2 && random.percent(70)))
        shape.indexes.push_back(any(randomFlags(random)));
    if (pure)
        shape.indexes.resize(1);
    else
        for (int more = random.below(high ? 2 : 3); more > 0; --more)
            shape.indexes.push_back(any(randomFlags(random)));
    for (int i = 0; i < 6; ++i)
        shape.candidates.push_back(any(randomFlags(random)));
    shape.handles = number % 3 == 1 ? 2 : 1;
    shape.exclusive = shape.handles == 1 && random.percent(40);
    shape.precious = !pure && random.percent(25);
    shape.maskBits = static_cast<int>(shape.indexes.size());
    return shape;
}

std::string describe(const Shape &shape) {
    std::string out = "shape " + std::to_string(shape.number) + ", record length " + std::to_string(shape.recordLength);
    if (shape.variable())
        out += " to " + std::to_string(shape.maximumLength) + (shape.compressed ? ", compressed tails" : "");
    out += shape.audited ? ", audit trail" : "";
    out += shape.masked ? ", masks" : "";
    out += shape.exclusive ? ", exclusive" : "";
    out += ", handles " + std::to_string(shape.handles) + ", mix " + std::to_string(static_cast<int>(shape.mix)) +
           ", target " + std::to_string(shape.target) + "\n";
    for (const KeyDesc &key : shape.indexes)
        out +=
            "  index: " + (key.nparts == 0 ? "none" : testing_support::describe(testing_support::specOf(key))) + "\n";
    return out;
}

std::set<std::string> features(const Shape &shape) {
    std::set<std::string> out;
    auto note = [&](bool holds, const std::string &word) {
        if (holds) out.insert(word);
    };
    note(shape.pure(), "keys alone");
    note(shape.masked, "masks");
    note(shape.exclusive, "exclusive");
    note(shape.handles == 2, "two handles");
    note(shape.precious, "precious");
    note(shape.indexes[0].nparts == 0, "no primary key");
    note(shape.audited, "audit trail");
    note(shape.recordLength == 1, "minimum 1");
    note(shape.maximumLength - shape.recordLength == 1, "tails of one byte");
    note(shape.maximumLength == ISMAXVARLEN, "maximum 32511");
    for (int length : shape.tailLengths)
        note(true, (shape.compressed ? "compressed tail " : "tail ") + std::to_string(length));
    for (const KeyDesc &key : shape.indexes) {
        if (key.nparts == 0) continue;
        int length = lengthOf(key);
        note(length <= 2, "short key");
        note(length == ISMAXKEYLEN, "longest key");
        note(key.nparts >= 3, "many parts");
        note((key.flags & ISNULLKEY) != 0, "null keys");
        note(true, std::string((key.flags & ISDUPS) != 0 ? "duplicates" : "unique") + " compression " +
                       std::to_string(key.flags >> 1 & 15));
        for (int i = 0; i < key.nparts; ++i)
            note(true, "type " + std::to_string(key.parts[i].type & 0x3f) +
                           ((key.parts[i].type & ISDESC) != 0 ? " descending" : ""));
    }
    return out;
}

}  // namespace model
