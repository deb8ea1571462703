#include "records/key_words.h"

#include "base/failure.h"
#include "base/key_image.h"
#include "records/rows.h"

#include <algorithm>

namespace tool {

namespace {

std::string inQuotes(const std::string &text) { return "'" + text + "'"; }

}  // namespace

KeyWords::KeyWords(const Layout &layout, const Columns &columns) : layout_(layout), columns_(columns) {}

// The field that is this part; where none is, the part by itself.
Field KeyWords::fieldOf(const KeyPart &part) const {
    for (const Field &field : layout_.fields) {
        if (field.start == part.start && field.length == part.length) return field;
    }
    return fieldOfPart(part);
}

bool KeyWords::isFieldName(const std::string &name) const {
    for (const KeyDesc &key : layout_.indexes) {
        for (int i = 0; i < key.nparts; ++i) {
            if (fieldOf(key.parts[i]).name == name) return true;
        }
    }
    return columns_.find(name).has_value();
}

std::vector<KeyWords::Named> KeyWords::cut(const std::string &text) const {
    std::vector<Named> all;
    std::vector<std::string> cells;
    try {
        cells = cellsOf(text);
    } catch (const ValueFault &fault) {
        const bool name_outside = text.find("=\"") != std::string::npos;
        throw Failure("key " + inQuotes(text) + ": " + fault.what() +
                      (name_outside ? "; quotes go round name and value: \"name=one, two\"" : ""));
    }
    for (const std::string &cell : cells) {
        const std::size_t equal = cell.find('=');
        if (equal != std::string::npos && isFieldName(cell.substr(0, equal)))
            all.push_back({cell.substr(0, equal), cell.substr(equal + 1)});
        else
            all.push_back({{}, cell});
    }
    const auto is_named = [](const Named &each) {
        return !each.name.empty();
    };
    if (std::any_of(all.begin(), all.end(), is_named) && !std::all_of(all.begin(), all.end(), is_named))
        throw Failure("key " + inQuotes(text) + ": name all of its parts, or none");
    return all;
}

bool KeyWords::begins(const KeyDesc &key, const std::vector<Named> &named) const {
    if (named.size() > static_cast<std::size_t>(std::max<int>(key.nparts, 0))) return false;
    for (std::size_t i = 0; i < named.size(); ++i) {
        const std::string name = fieldOf(key.parts[i]).name;
        if (std::none_of(named.begin(), named.end(), [&name](const Named &each) { return each.name == name; }))
            return false;
    }
    return true;
}

int KeyWords::indexFor(const std::string &text) const {
    const std::vector<Named> named = cut(text);
    if (named.front().name.empty()) return 0;
    for (std::size_t i = 0; i < layout_.indexes.size(); ++i) {
        if (begins(layout_.indexes[i], named)) return static_cast<int>(i) + 1;
    }
    throw Failure("key " + inQuotes(text) + ": no index begins with that");
}

SearchKey KeyWords::key(int index, const std::string &text) const { return make(index, text, false); }

SearchKey KeyWords::beginning(int index, const std::string &text) const { return make(index, text, true); }

SearchKey KeyWords::make(int index, const std::string &text, bool open) const {
    const KeyDesc &key = layout_.indexes.at(static_cast<std::size_t>(index) - 1);
    const std::vector<Named> named = cut(text);
    if (!named.front().name.empty() && !begins(key, named))
        throw Failure("key " + inQuotes(text) + ": index " + std::to_string(index) + " does not begin with that");
    if (named.size() > static_cast<std::size_t>(key.nparts))
        throw Failure("key " + inQuotes(text) + ": has more parts than index " + std::to_string(index) + ", " +
                      std::to_string(key.nparts));
    SearchKey search;
    search.image = std::string(static_cast<std::size_t>(layout_.imageLength()), '\0');
    for (std::size_t i = 0; i < named.size(); ++i) {
        const KeyPart &part = key.parts[i];
        const Field field = fieldOf(part);
        auto given = named.begin() + static_cast<std::ptrdiff_t>(i);
        if (!given->name.empty())
            given = std::find_if(named.begin(), named.end(),
                                 [&field](const Named &each) { return each.name == field.name; });
        const bool last = i + 1 == named.size();
        try {
            const std::unique_ptr<Codec> codec = makeCodec(field);
            const Value value = valueOfCell(given->value);
            const std::string bytes = open && last ? codec->storeBeginning(value) : codec->store(value);
            search.image.replace(static_cast<std::size_t>(part.start), bytes.size(), bytes);
            search.length += static_cast<int>(bytes.size());
        } catch (const ValueFault &fault) {
            const std::size_t equal = given->name.empty() ? given->value.find('=') : std::string::npos;
            if (equal != std::string::npos)
                throw Failure("key " + inQuotes(text) + ": there is no field " +
                              inQuotes(given->value.substr(0, equal)));
            throw Failure("key " + inQuotes(text) + ": " + field.name + " " + fault.what());
        }
    }
    search.key = keyImage(key, search.image.data());
    return search;
}

}  // namespace tool
