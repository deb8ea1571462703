// isam index: the indexes of a file listed, added and dropped.
#include "base/failure.h"
#include "base/json.h"
#include "base/key_text.h"
#include "base/open_file.h"
#include "base/watch.h"
#include "commands/commands.h"
#include "layout/key_part_text.h"
#include "layout/words.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace tool {

namespace {

struct ListOptions {
    std::string file;
    bool json = false;
};

struct AddOptions {
    std::string file;
    std::vector<std::string> parts;
    std::vector<std::string> compressions;
    std::vector<unsigned> nulls;
    bool duplicates = false;
    bool trailingNuls = false;
};

struct DropOptions {
    std::string file;
    std::vector<std::string> which;
};

Json inJson(std::size_t number, const KeyDesc &key) {
    Json parts = Json::array();
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        parts.push_back({{"start", part.start},
                         {"length", part.length},
                         {"type", word::keyTypeWord(part.type & kKeyTypeBits)},
                         {"descending", (part.type & ISDESC) != 0},
                         {"nullByte", part.type >> kNullByteShift}});
    }
    return {{"number", number},
            {"duplicates", (key.flags & ISDUPS) != 0},
            {"compressLeading", (key.flags & ISLEADCOMP) != 0},
            {"compressTrailing", (key.flags & ISTRAILCOMP) != 0},
            {"compressRepeated", (key.flags & ISDUPCOMP) != 0},
            {"trailingNuls", (key.flags & ISTRAILNUL) != 0},
            {"nullKeysLeftOut", (key.flags & ISNULLKEY) != 0},
            {"parts", parts}};
}

std::string words(const KeyDesc &key) {
    std::string text;
    for (int i = 0; i < key.nparts; ++i)
        text += (i == 0 ? "" : " ") + partWord(key.parts[i]);
    return text;
}

int list(const ListOptions &options) {
    const OpenFile file = OpenFile::forReading(options.file);
    const std::vector<KeyDesc> keys = file.indexes();
    if (options.json) {
        Json all = Json::array();
        for (std::size_t i = 0; i < keys.size(); ++i)
            all.push_back(inJson(i + 1, keys[i]));
        print({{"file", options.file}, {"primaryKey", file.hasPrimaryKey()}, {"indexes", all}});
        return kClean;
    }
    if (!file.hasPrimaryKey()) std::printf("-  record-number order comes first\n");
    for (std::size_t i = 0; i < keys.size(); ++i)
        std::printf("%zu  %s  %s\n", i + 1, words(keys[i]).c_str(), flagsInWords(keys[i]).c_str());
    return kClean;
}

void setNulls(KeyDesc &key, const std::vector<unsigned> &nulls) {
    if (nulls.empty()) return;
    if (nulls.size() != 1 && nulls.size() != static_cast<std::size_t>(key.nparts))
        throw Failure("--null takes one byte for all parts, or one for each");
    key.flags |= ISNULLKEY;
    for (std::size_t i = 0; i < static_cast<std::size_t>(key.nparts); ++i) {
        const unsigned null = nulls.size() == 1 ? nulls.front() : nulls[i];
        key.parts[i].type = static_cast<unsigned short>(key.parts[i].type | null << kNullByteShift);
    }
}

// What the library would call a bad key, or an argument that is not allowed.
void requireRoomFor(const KeyDesc &key, const OpenFile &file) {
    if (!file.hasRecords()) throw Failure(file.name() + ": has keys alone: there are no records to fill an index from");
    int length = 0;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        if (part.start + part.length > file.minimumLength()) {
            throw Failure(file.name() + ": " + partWord(part) + ": ends behind the record's " +
                          (file.variableLength() ? "fixed part of " : "") + std::to_string(file.minimumLength()) +
                          " bytes");
        }
        length += part.length;
    }
    if (length > ISMAXKEYLEN)
        throw Failure(file.name() + ": the key would have " + std::to_string(length) + " bytes; " +
                      std::to_string(ISMAXKEYLEN) + " is the most");
    if (file.indexes().size() + (file.hasPrimaryKey() ? 0U : 1U) >= ISMAXINDEXES)
        throw Failure(file.name() + ": has as many indexes as a file can have: " + std::to_string(ISMAXINDEXES) +
                      (file.hasPrimaryKey() ? "" : ", with record-number order"));
}

bool sameParts(const KeyDesc &a, const KeyDesc &b) {
    constexpr unsigned kTypeAndOrder = kKeyTypeBits | ISDESC;
    const auto same = [](const KeyPart &x, const KeyPart &y) {
        return x.start == y.start && x.length == y.length && (x.type & kTypeAndOrder) == (y.type & kTypeAndOrder);
    };
    return std::equal(a.parts, a.parts + a.nparts, b.parts, b.parts + b.nparts, same);
}

[[noreturn]] void failAdding(const OpenFile &file, const KeyDesc &key) {
    const std::string failed = file.name() + ": the index cannot be added: ";
    if (iserrno == ISERR_DUPLICATE)
        throw Failure(failed + "two records have the same key (100); with --duplicates they may");
    if (iserrno != ISERR_INDEXEXISTS) failCall(file.name(), "the index cannot be added");
    const std::vector<KeyDesc> keys = file.indexes();
    const auto there =
        std::find_if(keys.begin(), keys.end(), [&key](const KeyDesc &other) { return sameParts(other, key); });
    throw Failure(failed + "index " + std::to_string(there - keys.begin() + 1) + " has the same parts (108)");
}

int add(const AddOptions &options) {
    KeyDesc key = parseKey(options.parts, options.file);
    key.flags = parseCompressions(options.compressions);
    if (options.duplicates) key.flags |= ISDUPS;
    if (options.trailingNuls) key.flags |= ISTRAILNUL;
    setNulls(key, options.nulls);
    OpenFile file = OpenFile::alone(options.file);
    requireRoomFor(key, file);
    int result;
    {
        const Watch watch("adding an index to " + options.file + ", bytes", options.file + ".idx", 0);
        result = isaddindex(file.fd(), &key);
    }
    if (result != 0) failAdding(file, key);
    std::printf("%s: index %zu added\n", options.file.c_str(), file.indexes().size());
    file.close();
    return kClean;
}

bool isNumber(const std::string &word) {
    return std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::size_t findIndex(const DropOptions &options, const std::vector<KeyDesc> &keys) {
    if (options.which.size() == 1 && isNumber(options.which.front())) {
        const std::string &number = options.which.front();
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (std::to_string(i + 1) == number) return i;
        throw Failure(options.file + ": there is no index " + number);
    }
    if (std::all_of(options.which.begin(), options.which.end(), isNumber))
        throw Failure("one index at a time: those behind it move down by one");
    const KeyDesc wanted = parseKey(options.which, options.file);
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (sameParts(wanted, keys[i])) return i;
    throw Failure(options.file + ": no index has these parts");
}

int drop(const DropOptions &options) {
    OpenFile file = OpenFile::alone(options.file);
    const std::vector<KeyDesc> keys = file.indexes();
    const std::size_t index = findIndex(options, keys);
    KeyDesc key = keys[index];
    // Of two with the same parts, as files with masks may have, the call drops the first.
    for (std::size_t i = 0; i < index; ++i)
        if (sameParts(keys[i], key)) throw Failure(options.file + ": index " + std::to_string(i + 1) + " is the same");
    const bool primary = index == 0 && file.hasPrimaryKey();
    if (primary && keys.size() == 1)
        throw Failure(options.file + ": the index cannot be dropped: it is the only one of a file with a primary key");
    if (isdelindex(file.fd(), &key) != 0) failCall(options.file, "the index cannot be dropped");
    file.close();
    std::printf("%s: index %zu dropped\n", options.file.c_str(), index + 1);
    if (primary) {
        std::printf("%s: the primary key is now %s%s\n", options.file.c_str(), words(keys[1]).c_str(),
                    (keys[1].flags & ISDUPS) != 0 ? ", which is not unique: isrewrite and isdelete refuse it" : "");
    }
    return kClean;
}

void addList(Program &program, CLI::App *index) {
    auto options = std::make_shared<ListOptions>();
    CLI::App *command = program.addUnder(index, "list", "List the indexes of a file",
                                         "Shows each index with its number, its parts and its properties.",
                                         {{"isam index list orders", "The indexes of orders, number 1 first."}});
    Program::addFile(command, options->file);
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return list(*options); });
}

void addAdd(Program &program, CLI::App *index) {
    auto options = std::make_shared<AddOptions>();
    CLI::App *command = program.addUnder(
        index, "add", "Add an index to a file and fill it",
        "A part is START:LENGTH:TYPE, START counted from 0, LENGTH in bytes, TYPE one of char, int, long, double, "
        "float, "
        "mint, mlong, string; \":desc\" behind it has the part sort descending. A field of FILE.layout, and "
        "FIELD:desc, is a "
        "part too. Nobody else may have the file open.",
        {{"isam index add orders 10:16:char", "A unique index on bytes 10 to 25."},
         {"isam index add orders 4:4:long:desc 10:16:char --duplicates --compress all",
          "An index of two parts, the first one descending, in which a key may occur again; stored in little room."},
         {"isam index add orders 26:8:char --duplicates --null 32",
          "Records whose bytes 26 to 33 are blank are left out."}});
    Program::addFile(command, options->file);
    command->add_option("PART", options->parts, "START:LENGTH:TYPE[:desc], or a field of the layout")
        ->required()
        ->type_name("");
    command->add_flag("--duplicates", options->duplicates, "a key may occur any number of times");
    command
        ->add_option("--compress", options->compressions,
                     "leading (bytes shared with the key before), trailing (blanks), repeated (keys), or all of them")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("WAY,...");
    command->add_flag("--nul", options->trailingNuls, "trailing NULs are what is not stored, in place of blanks");
    command->add_option("--null", options->nulls, "keys made of this byte alone are left out; one, or one a part")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::Range(0, 255))
        ->type_name("BYTE,...");
    program.onRun(command, [options] { return add(*options); });
}

void addDrop(Program &program, CLI::App *index) {
    auto options = std::make_shared<DropOptions>();
    CLI::App *command = program.addUnder(
        index, "drop", "Drop an index of a file",
        "The index is told by its number or by its parts. Those behind it move down by one; where the first one goes "
        "the next one becomes the primary key, by which programs rewrite and delete records. Nobody else may have the "
        "file open, and the last index of a file with a primary key stays.",
        {{"isam index drop orders 2", "Index 2 goes, 3 becomes 2."},
         {"isam index drop orders 10:16:char", "The index on bytes 10 to 25 goes, whatever its number."}});
    Program::addFile(command, options->file);
    command->add_option("INDEX", options->which, "number from 1, or the parts as for 'isam index add'")
        ->required()
        ->type_name("");
    program.onRun(command, [options] { return drop(*options); });
}

}  // namespace

void addIndex(Program &program) {
    CLI::App *index = program.add("index", "List, add and drop indexes", "Works on the indexes of a file.",
                                  {{"isam index list orders", "The indexes of orders, number 1 first."},
                                   {"isam index add orders 10:16:char --duplicates", "An index more, filled at once."},
                                   {"isam index drop orders 2", "One less."}});
    index->require_subcommand(1);
    addList(program, index);
    addAdd(program, index);
    addDrop(program, index);
}

}  // namespace tool
