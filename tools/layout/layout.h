// What a file's records look like, and its indexes: read from FILE.layout, or as far as the file itself tells.
#pragma once

#include "base/open_file.h"
#include "layout/field.h"

#include <isam.h>
#include <string>
#include <vector>

namespace tool {

struct Layout {
    int minimum = 0;  // bytes of a record without its tail; 0: keys without records
    int maximum = 0;  // bytes of the longest record; the same in files of one length
    bool variable = false;
    bool compressed = false;  // tails
    bool masks = false;
    bool primary = true;  // false: record-number order comes first, there is no primary key
    std::vector<Field> fields;
    std::vector<KeyDesc> indexes;  // number 1 first; none of them without parts

    bool keysAlone() const { return maximum == 0; }
    // Bytes that a buffer for one record, or for one key where there are no records, must have.
    int imageLength() const;
};

// The file's layout where it has one, by its base path.
std::string layoutPath(const std::string &file);

// Reads a layout. Throws Failure "PATH: line N: .." for the first thing that is wrong in it.
Layout readLayout(const std::string &path);
// The same from a text; path is what failures name.
Layout parseLayout(const std::string &text, const std::string &path);

// What the file itself tells: lengths, kind, indexes; key parts are its fields.
Layout layoutOf(const OpenFile &file);

// A key part as a field, k0_16 from byte 0 of 16 bytes.
Field fieldOfPart(const KeyPart &part);

// Fields for the bytes that no field covers, _20 from byte 20: hex. Sorted by where they begin.
std::vector<Field> gapsOf(const Layout &layout);

// The text of a layout; readLayout makes the same layout of it.
std::string toText(const Layout &layout);
// Single lines of it, without the line's end.
std::string recordLine(const Layout &layout);
std::string fieldLine(const Field &field);
std::string indexLine(const Layout &layout, const KeyDesc &key);
inline constexpr const char *kNoPrimaryLine = "index record-number";

}  // namespace tool
