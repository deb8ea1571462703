// A layout read from its text, line by line; everything in it is checked against the lengths of the record.
#include "layout/layout.h"

#include "base/failure.h"
#include "layout/words.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fstream>
#include <iconv.h>
#include <iterator>
#include <sstream>

namespace tool {

namespace {

constexpr int kLongestRecord = 65535;
constexpr std::size_t kMostBytes = 1U << 20U;
constexpr int kMostDigitsOfNullByte = 2;

// What is wrong with a line. The reader adds where.
class LineFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fault(const std::string &text) { throw LineFault(text); }

std::string inQuotes(const std::string &text) { return "'" + text + "'"; }

// The words of one line, taken one by one.
class Words {
  public:
    explicit Words(const std::string &line) {
        std::istringstream in(line.substr(0, line.find('#')));
        words_.assign(std::istream_iterator<std::string>(in), {});
    }
    bool none() const { return next_ == words_.size(); }
    // The word to come, empty at the end of the line.
    std::string peek() const { return none() ? std::string() : words_[next_]; }
    std::string take(const char *what) {
        if (none()) fault(std::string(what) + " is missing");
        return words_[next_++];
    }
    bool takeIf(const char *word) {
        if (peek() != word) return false;
        ++next_;
        return true;
    }
    void end() const {
        if (!none()) fault(inQuotes(peek()) + " is not understood here");
    }

  private:
    std::vector<std::string> words_;
    std::size_t next_ = 0;
};

int numberOf(const std::string &text, const char *what, int least, int most, int base = 10) {
    int value = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc() || stop != end || value < least || value > most)
        fault(std::string(what) + " is a number from " + std::to_string(least) + " to " + std::to_string(most) +
              ", not " + inQuotes(text));
    return value;
}

// "0..32" is cut at the dots.
bool split(const std::string &text, const std::string &at, std::string &before, std::string &behind) {
    const std::size_t place = text.find(at);
    if (place == std::string::npos) return false;
    before = text.substr(0, place);
    behind = text.substr(place + at.size());
    return true;
}

void readRecord(Words &words, Layout &layout) {
    const std::string length = words.take("the record's length");
    std::string shortest;
    std::string longest;
    if (length == word::kNone) {
        words.end();
        return;
    }
    if (split(length, word::kRange, shortest, longest)) {
        layout.variable = true;
        layout.minimum = numberOf(shortest, "the length without a tail", 1, ISMAXVARLEN - 1);
        layout.maximum = numberOf(longest, "the longest length", layout.minimum + 1, ISMAXVARLEN);
    } else {
        layout.minimum = numberOf(length, "the record's length", 1, kLongestRecord);
        layout.maximum = layout.minimum;
    }
    while (!words.none()) {
        if (layout.variable && words.takeIf(word::kCompressed)) {
            layout.compressed = true;
        } else if (words.takeIf(word::kMasks)) {
            layout.masks = true;
        } else {
            words.end();
        }
    }
}

// Names that begin with '_' are for bytes that no field covers.
bool isNameByte(char c, bool first) {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) return true;
    return !first && ((c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.');
}

std::string fieldName(Words &words, const Layout &layout) {
    const std::string name = words.take("the field's name");
    bool first = true;
    for (const char c : name) {
        if (!isNameByte(c, first))
            fault(inQuotes(name) + " is no name: letters of ASCII, digits, '_', '-' and '.', a letter first");
        first = false;
    }
    for (const char *reserved : {word::kRecordNumber, word::kCompress, word::kNullKeys}) {
        if (name == reserved) fault(inQuotes(name) + " is a word of index lines, and no name");
    }
    for (const Field &field : layout.fields) {
        if (field.name == name) fault("there is a field " + name + " already");
    }
    return name;
}

void checkCharset(const std::string &charset) {
    const iconv_t conversion = iconv_open("UTF-8", charset.c_str());
    if (conversion == reinterpret_cast<iconv_t>(-1)) fault("character set " + inQuotes(charset) + " is not known");
    iconv_close(conversion);
}

// A year, a month and a day, each once, and what stands between them.
void checkDate(const std::string &date) {
    std::string rest = date;
    for (const char *part : {"YYYY", "MM", "DD"}) {
        std::size_t place = rest.find(part);
        std::size_t length = std::string_view(part).size();
        if (place == std::string::npos && part[0] == 'Y') {
            place = rest.find("YY");
            length = 2;
        }
        if (place == std::string::npos) fault("a date is made of YYYY or YY, MM and DD, not " + inQuotes(date));
        rest.replace(place, length, "|");
    }
    for (const char c : rest) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0 || static_cast<unsigned char>(c) >= 0x80)
            fault("a date is made of YYYY or YY, MM and DD, not " + inQuotes(date));
    }
}

Sign signOf(const std::string &name, const Field &field) {
    for (const Sign sign : {Sign::kUnsigned, Sign::kLetters, Sign::kSeparate}) {
        const bool suits = sign == Sign::kUnsigned || field.type == FieldType::kZoned;
        if (suits && name == signName(sign)) return sign;
    }
    fault(inQuotes(name) + (field.type == FieldType::kZoned ? " is no sign: none, letters or separate"
                                                            : " is no sign of a packed field: none"));
}

void readTypeWords(Words &words, Field &field) {
    while (!words.none()) {
        if (field.isDecimal() && words.takeIf(word::kScale)) {
            field.scale = numberOf(words.take("the scale"), "the scale", 0, kLongestRecord);
        } else if (field.isDecimal() && words.takeIf(word::kSign)) {
            field.sign = signOf(words.take("the sign"), field);
        } else if (field.isText() && words.takeIf(word::kCharset)) {
            field.charset = words.take("the character set");
            checkCharset(field.charset);
        } else {
            words.end();
        }
    }
}

void readField(Words &words, Layout &layout) {
    Field field;
    field.name = fieldName(words, layout);
    field.start = numberOf(words.take("where the field begins"), "the field's beginning", 0, kLongestRecord - 1);
    const std::string length = words.take("the field's length");
    field.length = length == word::kStar ? kRest : numberOf(length, "the field's length", 1, kLongestRecord);
    const std::string type = words.take("the field's type");
    if (!fieldTypeOf(type, field.type)) fault(inQuotes(type) + " is no type of a field");
    if (field.type == FieldType::kDate) {
        field.date = words.take("what the date is made of");
        checkDate(field.date);
    }
    readTypeWords(words, field);
    const std::string wrong = lengthFault(field);
    if (!wrong.empty()) fault(wrong);
    layout.fields.push_back(field);
}

const word::KeyType *keyTypeNamed(const std::string &name) {
    for (const word::KeyType &entry : word::kKeyTypes) {
        if (name == entry.word) return &entry;
    }
    return nullptr;
}

void checkUnit(const KeyPart &part, const std::string &name) {
    for (const word::KeyType &entry : word::kKeyTypes) {
        if (entry.type == (part.type & kKeyTypeBits) && part.length % entry.unit != 0)
            fault(name + ": the length of a key part of type " + entry.word + " is a multiple of " +
                  std::to_string(entry.unit));
    }
}

// "name", "4+16/char", with "/desc" and "/null=20".
KeyPart readPart(const std::string &text, const Layout &layout) {
    std::istringstream in(text);
    std::string name;
    std::getline(in, name, '/');
    KeyPart part = {};
    std::string start;
    std::string length;
    bool typed = false;
    if (split(name, "+", start, length)) {
        part.start = static_cast<short>(numberOf(start, "a key part's beginning", 0, INT16_MAX));
        part.length = static_cast<short>(numberOf(length, "a key part's length", 1, ISMAXKEYLEN));
    } else {
        const auto field = std::find_if(layout.fields.begin(), layout.fields.end(),
                                        [&name](const Field &each) { return each.name == name; });
        if (field == layout.fields.end()) fault("there is no field " + inQuotes(name) + " above");
        if (field->takesRest()) fault(name + ": the rest of a record is in no key");
        if (field->start > INT16_MAX) fault(name + " begins too far behind for a key");
        if (field->length > ISMAXKEYLEN) fault(name + " is longer than a key, " + std::to_string(ISMAXKEYLEN));
        part.start = static_cast<short>(field->start);
        part.length = static_cast<short>(field->length);
        part.type = keyTypeOf(*field);
        typed = true;
    }
    for (std::string property; std::getline(in, property, '/');) {
        if (const word::KeyType *type = keyTypeNamed(property); type != nullptr) {
            part.type = static_cast<unsigned short>((part.type & ~kKeyTypeBits) | type->type);
            typed = true;
        } else if (property == word::kDescending) {
            part.type |= ISDESC;
        } else if (property.starts_with(word::kNullByte)) {
            const std::string digits = property.substr(std::string_view(word::kNullByte).size());
            if (digits.size() != kMostDigitsOfNullByte) fault("a null byte is two hexadecimal digits");
            const int byte = numberOf(digits, "a null byte", 0, UINT8_MAX, 16);
            part.type = static_cast<unsigned short>((part.type & UINT8_MAX) | (byte << kNullByteShift));
        } else {
            fault(inQuotes(property) + " is not understood in a key part");
        }
    }
    if (!typed) fault(inQuotes(text) + " has no type: START+LENGTH/TYPE");
    checkUnit(part, name);
    return part;
}

unsigned short readCompressions(Words &words) {
    unsigned short flags = 0;
    for (bool more = true; more;) {
        more = false;
        for (const word::Compression &compression : word::kCompressions) {
            if (!words.takeIf(compression.word)) continue;
            flags |= compression.flags;
            more = true;
        }
    }
    if (flags == 0) fault("behind compress comes repeats, leading, blanks or nuls");
    return flags;
}

void readIndex(Words &words, Layout &layout) {
    if (words.takeIf(word::kRecordNumber)) {
        words.end();
        if (!layout.primary || !layout.indexes.empty()) fault("record-number order comes first, or not at all");
        layout.primary = false;
        return;
    }
    if (layout.indexes.size() == ISMAXINDEXES) fault("a file has " + std::to_string(ISMAXINDEXES) + " indexes at most");
    KeyDesc key = {};
    const std::string kind = words.take("unique or duplicates");
    if (kind != word::kUnique && kind != word::kDuplicates)
        fault("an index is unique, duplicates or record-number, not " + inQuotes(kind));
    if (kind == word::kDuplicates) key.flags |= ISDUPS;
    bool null_bytes = false;
    int length = 0;
    while (!words.none() && words.peek() != word::kCompress && words.peek() != word::kNullKeys) {
        if (key.nparts == ISMAXPARTS) fault("a key has " + std::to_string(ISMAXPARTS) + " parts at most");
        const KeyPart part = readPart(words.take("a part"), layout);
        null_bytes = null_bytes || part.type >> kNullByteShift != 0;
        length += part.length;
        key.parts[key.nparts++] = part;
    }
    if (key.nparts == 0) fault("the key's parts are missing");
    if (length > ISMAXKEYLEN)
        fault("a key has " + std::to_string(ISMAXKEYLEN) + " bytes at most, not " + std::to_string(length));
    key.keyLength = static_cast<short>(length);
    if (words.takeIf(word::kCompress)) key.flags |= readCompressions(words);
    if (words.takeIf(word::kNullKeys)) key.flags |= ISNULLKEY;
    words.end();
    if (null_bytes && (key.flags & ISNULLKEY) == 0) fault("null bytes are for an index with nullkeys");
    layout.indexes.push_back(key);
}

// The lines of a layout, and which of them said what, so that a fault behind the last one has its number too.
class Reader {
  public:
    Layout read(const std::string &text, const std::string &path) {
        try {
            std::istringstream in(text);
            for (std::string line; std::getline(in, line);) {
                ++line_;
                // Editors of other systems put it before a text to tell that it is UTF-8.
                if (line_ == 1 && line.starts_with("\xef\xbb\xbf")) line.erase(0, 3);
                readLine(line);
            }
            checkAll();
        } catch (const LineFault &wrong) {
            throw Failure(path + ": line " + std::to_string(line_) + ": " + wrong.what());
        }
        return layout_;
    }

  private:
    void readLine(const std::string &line) {
        if (line.find('\0') != std::string::npos) fault("there is a NUL in it");
        Words words(line);
        if (words.none()) return;
        const std::string what = words.take("");
        if (what == word::kRecord) {
            if (record_line_ != 0) fault("a second record line");
            record_line_ = line_;
            readRecord(words, layout_);
        } else if (what == word::kField) {
            readField(words, layout_);
            field_lines_.push_back(line_);
        } else if (what == word::kIndex) {
            readIndex(words, layout_);
            if (index_lines_.size() < layout_.indexes.size()) index_lines_.push_back(line_);
        } else {
            fault("a line begins with record, field or index, not " + inQuotes(what));
        }
    }

    // What can be said when the record's length and all fields are known.
    void checkAll() {
        if (record_line_ == 0) fault("there is no record line");
        if (layout_.keysAlone()) checkKeysAlone();
        for (std::size_t i = 0; i < layout_.fields.size(); ++i)
            checkField(i);
        for (std::size_t i = 0; i < layout_.indexes.size(); ++i) {
            line_ = index_lines_[i];
            for (int p = 0; p < layout_.indexes[i].nparts; ++p) {
                const KeyPart &part = layout_.indexes[i].parts[p];
                if (!layout_.keysAlone() && part.start + part.length > layout_.minimum)
                    fault("a key part ends behind byte " + std::to_string(layout_.minimum) +
                          ", where the record's fixed length ends");
            }
        }
    }

    void checkKeysAlone() {
        line_ = record_line_;
        if (!layout_.primary || layout_.indexes.size() > 1) fault("a file of keys alone has one index");
    }

    bool inKey(int byte) const {
        if (layout_.indexes.empty()) return true;
        const KeyDesc &key = layout_.indexes.front();
        return std::any_of(key.parts, key.parts + key.nparts, [byte](const KeyPart &part) {
            return byte >= part.start && byte < part.start + part.length;
        });
    }

    void checkField(std::size_t at) {
        const Field &field = layout_.fields[at];
        line_ = field_lines_[at];
        if (field.takesRest()) {
            if (!layout_.variable) fault(field.name + ": only records of variable length have a rest");
            if (field.start != layout_.minimum)
                fault(field.name + ": the rest begins at byte " + std::to_string(layout_.minimum) +
                      ", behind the record's fixed length");
        } else if (layout_.keysAlone()) {
            for (int byte = field.start; byte < field.start + field.length; ++byte) {
                if (!inKey(byte)) fault(field.name + ": byte " + std::to_string(byte) + " is not in the key");
            }
        } else if (field.start + field.length > layout_.minimum) {
            fault(field.name + " ends behind byte " + std::to_string(layout_.minimum) +
                  ", where the record's fixed length ends");
        }
        for (std::size_t i = 0; i < at; ++i) {
            const Field &other = layout_.fields[i];
            const bool both_rest = field.takesRest() && other.takesRest();
            const bool share = !field.takesRest() && !other.takesRest() && field.start < other.start + other.length &&
                               other.start < field.start + field.length;
            if (both_rest || share) fault(field.name + " and " + other.name + " share bytes");
        }
    }

    Layout layout_;
    int line_ = 0;
    int record_line_ = 0;
    std::vector<int> field_lines_;
    std::vector<int> index_lines_;
};

}  // namespace

Layout parseLayout(const std::string &text, const std::string &path) { return Reader().read(text, path); }

Layout readLayout(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) failSystem(path, "cannot be opened");
    std::string text(kMostBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad()) failSystem(path, "cannot be read");
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (text.size() > kMostBytes) throw Failure(path + ": too long for a layout");
    return parseLayout(text, path);
}

}  // namespace tool
