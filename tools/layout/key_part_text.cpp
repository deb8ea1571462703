#include "layout/key_part_text.h"

#include "base/failure.h"
#include "layout/layout.h"
#include "layout/words.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>

namespace tool {

namespace {

constexpr int kMostStart = 32767;
constexpr unsigned short kAllCompressions = ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP;

std::vector<std::string> split(const std::string &word) {
    std::vector<std::string> pieces(1);
    for (const char c : word) {
        if (c == ':')
            pieces.emplace_back();
        else
            pieces.back() += c;
    }
    return pieces;
}

bool parseShort(const std::string &text, short &value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value >= 0;
}

const word::KeyType *keyType(const std::string &name) {
    const auto *found = std::find_if(word::kKeyTypes.begin(), word::kKeyTypes.end(),
                                     [&name](const word::KeyType &type) { return name == type.word; });
    return found == word::kKeyTypes.end() ? nullptr : found;
}

std::string typeWords() {
    std::string words;
    for (const word::KeyType &type : word::kKeyTypes)
        words += (words.empty() ? "" : ", ") + std::string(type.word);
    return words;
}

KeyPart parseBytes(const std::vector<std::string> &pieces, const std::string &word) {
    KeyPart part = {};
    if (!parseShort(pieces[0], part.start) || !parseShort(pieces[1], part.length) || part.length == 0)
        throw Failure(word + ": START and LENGTH are numbers up to " + std::to_string(kMostStart));
    const word::KeyType *type = keyType(pieces[2]);
    if (type == nullptr) throw Failure(word + ": TYPE is one of " + typeWords());
    if (part.length % type->unit != 0)
        throw Failure(word + ": the length of " + type->word + " is a multiple of " + std::to_string(type->unit));
    part.type = type->type;
    return part;
}

KeyPart parseField(const std::string &name, const Layout &layout) {
    const auto field = std::find_if(layout.fields.begin(), layout.fields.end(),
                                    [&name](const Field &candidate) { return candidate.name == name; });
    if (field == layout.fields.end())
        throw Failure(name + ": neither START:LENGTH:TYPE nor a field of the file's layout");
    if (field->takesRest()) throw Failure(name + ": keys lie in the fixed part of the record");
    return {static_cast<short>(field->start), static_cast<short>(field->length), keyTypeOf(*field)};
}

}  // namespace

KeyDesc parseKey(const std::vector<std::string> &words, const std::string &file) {
    if (words.size() > ISMAXPARTS) throw Failure("a key has " + std::to_string(ISMAXPARTS) + " parts at most");
    KeyDesc key = {};
    std::optional<Layout> layout;
    for (const std::string &word : words) {
        std::vector<std::string> pieces = split(word);
        const bool descending = pieces.back() == word::kDescending && pieces.size() > 1;
        if (descending) pieces.pop_back();
        KeyPart &part = key.parts[key.nparts++];
        if (pieces.size() == 3) {
            part = parseBytes(pieces, word);
        } else if (pieces.size() == 1) {
            std::error_code ignored;
            if (!layout && !std::filesystem::exists(layoutPath(file), ignored))
                throw Failure(word + ": not START:LENGTH:TYPE, and there is no " + layoutPath(file) +
                              " that names fields");
            if (!layout) layout = readLayout(layoutPath(file));
            part = parseField(pieces.front(), *layout);
        } else {
            throw Failure(word + ": neither START:LENGTH:TYPE nor START:LENGTH:TYPE:desc");
        }
        if (descending) part.type |= ISDESC;
    }
    return key;
}

unsigned short parseCompressions(const std::vector<std::string> &words) {
    unsigned flags = 0;
    for (const std::string &word : words) {
        if (word == "all")
            flags |= kAllCompressions;
        else if (word == "leading")
            flags |= ISLEADCOMP;
        else if (word == "trailing")
            flags |= ISTRAILCOMP;
        else if (word == "repeated")
            flags |= ISDUPCOMP;
        else
            throw Failure(word + ": what is compressed is leading, trailing, repeated or all");
    }
    return static_cast<unsigned short>(flags);
}

std::string partWord(const KeyPart &part) {
    std::string word = std::to_string(part.start) + ":" + std::to_string(part.length) + ":" +
                       word::keyTypeWord(part.type & kKeyTypeBits);
    if ((part.type & ISDESC) != 0) word += std::string(":") + word::kDescending;
    return word;
}

}  // namespace tool
