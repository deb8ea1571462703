#include "records/columns.h"

#include "base/failure.h"

#include <algorithm>
#include <filesystem>

namespace tool {

Columns::Columns(const Layout &layout)
    : fixed_(layout.keysAlone() ? layout.imageLength() : layout.minimum), maximum_(layout.imageLength()) {
    for (const Field &field : layout.fields)
        columns_.push_back({makeCodec(field), false});
    for (const Field &field : gapsOf(layout))
        columns_.push_back({makeGapCodec(field), true});
}

std::optional<std::size_t> Columns::find(const std::string &name) const {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i].name() == name) return i;
    }
    return std::nullopt;
}

Value Columns::show(const Record &record, std::size_t at) const {
    const Field &field = columns_[at].field();
    const std::string_view bytes = record.bytes;
    const std::size_t length = field.takesRest() ? std::string_view::npos : static_cast<std::size_t>(field.length);
    return columns_[at].codec->show(bytes.substr(static_cast<std::size_t>(field.start), length));
}

void Columns::store(std::string &bytes, std::size_t at, const Value &value) const {
    const Field &field = columns_[at].field();
    const std::string stored = columns_[at].codec->store(value);
    const auto start = static_cast<std::size_t>(field.start);
    if (!field.takesRest()) {
        bytes.replace(start, stored.size(), stored);
        return;
    }
    const auto most = static_cast<std::size_t>(maximum_) - start;
    if (stored.size() > most)
        throw ValueFault("has " + countOfBytes(stored.size()) + ", the longest record leaves " + std::to_string(most));
    bytes.replace(start, std::string::npos, stored);
}

std::string Columns::blankRecord() const {
    std::string bytes(static_cast<std::size_t>(fixed_), '\0');
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (!columns_[i].field().takesRest()) store(bytes, i, {Value::kBytes, columns_[i].codec->blank()});
    }
    return bytes;
}

std::optional<Layout> namedLayout(const OpenFile &file, const std::string &path) {
    std::string from = path;
    std::error_code ignored;
    if (from.empty() && std::filesystem::exists(layoutPath(file.name()), ignored)) from = layoutPath(file.name());
    if (from.empty()) return std::nullopt;
    const Layout own = layoutOf(file);
    Layout named = readLayout(from);
    if (named.minimum != own.minimum || named.maximum != own.maximum || named.variable != own.variable)
        throw Failure(from + ": has '" + recordLine(named) + "', the file '" + recordLine(own) + "'");
    // Indexes come and go; the file knows them best.
    named.compressed = own.compressed;
    named.masks = own.masks;
    named.primary = own.primary;
    named.indexes = own.indexes;
    const auto behind_key = [&own](const Field &field) {
        return field.start + field.length > own.imageLength();
    };
    if (own.keysAlone() && std::any_of(named.fields.begin(), named.fields.end(), behind_key))
        throw Failure(from + ": has fields behind the key, and the file has no records");
    return named;
}

}  // namespace tool
