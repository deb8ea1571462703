// A record as columns: the fields of its layout, then the bytes that no field covers.
#pragma once

#include "layout/layout.h"
#include "records/codec.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tool {

// A record as it is in the file, with its number and its mask. In a file of keys alone: the key's parts in their
// places.
struct Record {
    std::string bytes;
    long number = 0;
    std::uint32_t mask = 0;
};

// Names of what a record has besides its fields; no field can be named so.
inline constexpr const char *kNumberColumn = "@recnum";
inline constexpr const char *kMaskColumn = "@mask";

struct Column {
    std::unique_ptr<Codec> codec;
    bool gap;  // covered by no field

    const Field &field() const { return codec->field(); }
    const std::string &name() const { return field().name; }
};

class Columns {
  public:
    explicit Columns(const Layout &layout);

    std::size_t count() const { return columns_.size(); }
    const Column &operator[](std::size_t at) const { return columns_[at]; }
    // The column of that name, none where there is no such.
    std::optional<std::size_t> find(const std::string &name) const;

    // The value of a column in a record.
    Value show(const Record &record, std::size_t at) const;
    // Puts a value into a record's bytes, which grow or shrink where it is the rest. Throws ValueFault.
    void store(std::string &bytes, std::size_t at, const Value &value) const;
    // A record of which nothing is said yet, without a tail.
    std::string blankRecord() const;

  private:
    std::vector<Column> columns_;
    int fixed_;  // bytes without the tail
    int maximum_;
};

// The layout that a command works by: that of `path`, else FILE.layout where there is one. Throws Failure where it is
// not for this file; none where there is no layout.
std::optional<Layout> namedLayout(const OpenFile &file, const std::string &path);

}  // namespace tool
