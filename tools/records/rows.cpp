#include "records/rows.h"

#include <charconv>
#include <cstdint>
#include <limits>

namespace tool {

namespace {

template <typename T> T numberIn(const Value &value, const char *what, T least, T most) {
    T number = 0;
    const char *end = value.text.data() + value.text.size();
    const auto [stop, error] = std::from_chars(value.text.data(), end, number);
    if (value.kind == Value::kBytes || error != std::errc() || stop != end || number < least || number > most)
        throw RowFault(std::string(what) + " is to be a number from " + std::to_string(least) + " to " +
                       std::to_string(most));
    return number;
}

}  // namespace

Place placeOf(const Columns &columns, const std::string &name) {
    if (name == kNumberColumn) return {Place::kNumber, 0};
    if (name == kMaskColumn) return {Place::kMask, 0};
    const std::optional<std::size_t> column = columns.find(name);
    if (!column) throw RowFault("there is no field '" + name + "'");
    return {Place::kField, *column};
}

void putInto(InputRow &row, const Place &place, Value value) {
    switch (place.kind) {
    case Place::kNumber:
        row.number = numberIn<std::int32_t>(value, kNumberColumn, 0, std::numeric_limits<std::int32_t>::max());
        break;
    case Place::kMask:
        row.mask = numberIn<std::uint32_t>(value, kMaskColumn, 0, std::numeric_limits<std::uint32_t>::max());
        break;
    default: row.values[place.column] = std::move(value); break;
    }
}

}  // namespace tool
