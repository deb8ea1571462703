// One of two processes on a file set. Reads commands, a line each, from standard input and answers each with one line.
//
//   record: 0 id (LONGTYPE, unique key) | 4 name, 24 bytes (key with duplicates, compressed) | 28 revision (LONGTYPE)
//
//   width                      bits of a long
//   build PATH | open PATH | close
//   write ID NAME REVISION     and rewrite: iserrno isrecnum
//   delete ID                  iserrno
//   read ID                    and lock, wait: iserrno isrecnum name revision; lock keeps a lock, wait waits for it
//   release                    all record locks: iserrno
//   lockfile | unlockfile      iserrno
//   named NAME                 number of records of that name, found through its index
//   bulk FIRST STEP COUNT      writes numbered records: ok, or what went wrong
//   churn FIRST STEP COUNT     deletes each third of them, renames each other third
//   verify FIRST LAST CHURNED  every record of the range is there as bulk and churn (0 or 1) left it, in every order
//   tails ...                  another file, see tails.h
#include "tails.h"

#include "isam.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace {

constexpr int kNameOffset = 4;
constexpr int kNameLength = 24;
constexpr int kRevisionOffset = 28;
constexpr int kRecordLength = 32;

int fd = -1;
Tails tails;

KeyDesc idKey() {
    KeyDesc key{};
    key.nparts = 1;
    key.parts[0] = KeyPart{0, 4, LONGTYPE};
    return key;
}

KeyDesc nameKey() {
    KeyDesc key{};
    key.flags = ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP;
    key.nparts = 1;
    key.parts[0] = KeyPart{kNameOffset, kNameLength, CHARTYPE};
    return key;
}

struct Record {
    long id = 0;
    std::string name;
    long revision = 0;

    void store(char *to) const {
        stlong(id, to);
        stchar(name.c_str(), to + kNameOffset, kNameLength);
        stlong(revision, to + kRevisionOffset);
    }
    void load(const char *from) {
        char text[kNameLength + 1];
        id = ldlong(from);
        ldchar(from + kNameOffset, kNameLength, text);
        name = text;
        revision = ldlong(from + kRevisionOffset);
    }
    bool operator==(const Record &other) const {
        return id == other.id && name == other.name && revision == other.revision;
    }
};

Record plainRecord(long id) { return {id, "NAME-" + std::to_string(id % 97) + "-OF-MANY", id * 3}; }
Record movedRecord(long id) { return {id, "MOVED-" + std::to_string(id % 13), -id}; }

std::string numbers(int code) { return std::to_string(code == 0 ? 0 : iserrno) + " " + std::to_string(isrecnum); }

std::string failure(const std::string &what, long id) {
    return what + " " + std::to_string(id) + ": " + std::to_string(iserrno) + "/" + std::to_string(iserrio);
}

// The two indexes are made by the builder; whoever starts on an index does so before each read of it.
std::string build(const std::string &path) {
    KeyDesc key = idKey();
    fd = isbuild(path.c_str(), kRecordLength, &key, ISINOUT | ISLOCKMANUAL);
    if (fd < 0) return failure("build", 0);
    key = nameKey();
    return isaddindex(fd, &key) == 0 ? "ok" : failure("addindex", 0);
}

std::string open(const std::string &path) {
    fd = isopen(path.c_str(), ISINOUT | ISLOCKMANUAL);
    return fd >= 0 ? "ok" : failure("open", 0);
}

std::string change(const std::string &command, const Record &record) {
    char buffer[kRecordLength];
    record.store(buffer);
    return numbers(command == "write" ? iswrite(fd, buffer) : isrewrite(fd, buffer));
}

std::string remove(long id) {
    char buffer[kRecordLength] = {};
    stlong(id, buffer);
    return std::to_string(isdelete(fd, buffer) == 0 ? 0 : iserrno);
}

std::string read(const std::string &command, long id) {
    char buffer[kRecordLength] = {};
    KeyDesc key = idKey();
    Record record;
    stlong(id, buffer);
    if (isstart(fd, &key, 0, buffer, ISFIRST) != 0) return failure("start", id);
    const int flags = command == "lock" ? ISLOCK : command == "wait" ? ISLOCK | ISWAIT : 0;
    const int code = isread(fd, buffer, ISEQUAL | flags);
    if (code != 0) return numbers(code);
    record.load(buffer);
    return numbers(code) + " " + record.name + " " + std::to_string(record.revision);
}

std::string named(const std::string &name) {
    char buffer[kRecordLength] = {};
    KeyDesc key = nameKey();
    Record record;
    record.name = name;
    record.store(buffer);
    if (isstart(fd, &key, 0, buffer, ISEQUAL) != 0) return iserrno == ISERR_NOTFOUND ? "0" : failure("start", 0);
    int count = 0;
    while (isread(fd, buffer, ISNEXT) == 0) {
        record.load(buffer);
        if (record.name != name) return std::to_string(count);
        ++count;
    }
    return iserrno == ISERR_ENDOFFILE ? std::to_string(count) : failure("next", 0);
}

std::string bulk(long first, long step, long count) {
    char buffer[kRecordLength];
    for (long id = first; count > 0; --count, id += step) {
        plainRecord(id).store(buffer);
        if (iswrite(fd, buffer) != 0) return failure("write", id);
    }
    return "ok";
}

std::string churn(long first, long step, long count) {
    char buffer[kRecordLength];
    for (long id = first; count > 0; --count, id += step) {
        movedRecord(id).store(buffer);
        if (id % 3 == 0 && isdelete(fd, buffer) != 0) return failure("delete", id);
        if (id % 3 == 1 && isrewrite(fd, buffer) != 0) return failure("rewrite", id);
    }
    return "ok";
}

// Reads all records in one order and compares them with the expected ones.
std::string verifyOrder(KeyDesc *key, const std::map<long, Record> &expected) {
    char buffer[kRecordLength];
    std::map<long, Record> seen;
    Record before, record;
    if (isstart(fd, key, 0, buffer, ISFIRST) != 0) return failure("start", 0);
    while (isread(fd, buffer, ISNEXT) == 0) {
        record.load(buffer);
        if (!seen.empty() && key->nparts != 0) {
            const bool by_name = key->parts[0].type == CHARTYPE;
            if (by_name ? record.name < before.name : record.id <= before.id) return failure("out of order", record.id);
        }
        if (!seen.emplace(record.id, record).second) return failure("twice", record.id);
        before = record;
    }
    if (iserrno != ISERR_ENDOFFILE) return failure("next", before.id);
    return seen == expected ? "ok" : "not the expected records, " + std::to_string(seen.size());
}

std::string verify(long first, long last, int churned) {
    std::map<long, Record> expected;
    for (long id = first; id <= last; ++id)
        if (churned == 0 || id % 3 == 2)
            expected[id] = plainRecord(id);
        else if (id % 3 == 1)
            expected[id] = movedRecord(id);
    DictInfo info{};
    if (isisaminfo(fd, &info) != 0) return failure("info", 0);
    if (info.recordCount != static_cast<int>(expected.size()))
        return "recordCount is " + std::to_string(info.recordCount);
    for (KeyDesc key : {idKey(), nameKey(), KeyDesc{}})
        if (std::string answer = verifyOrder(&key, expected); answer != "ok") return answer;
    return "ok";
}

std::string answer(const std::string &line) {
    std::istringstream in(line);
    std::string command, text;
    in >> command;
    if (command == "tails") return tails.answer(in);
    if (command == "width") return std::to_string(sizeof(long) * CHAR_BIT);
    if (command == "build" || command == "open" || command == "named") {
        in >> text;
        return command == "build" ? build(text) : command == "open" ? open(text) : named(text);
    }
    if (command == "close") return isclose(fd) == 0 ? "ok" : failure("close", 0);
    if (command == "release") return std::to_string(isrelease(fd) == 0 ? 0 : iserrno);
    if (command == "lockfile") return std::to_string(islock(fd) == 0 ? 0 : iserrno);
    if (command == "unlockfile") return std::to_string(isunlock(fd) == 0 ? 0 : iserrno);
    long a = 0, b = 0, c = 0;
    in >> a;
    if (command == "write" || command == "rewrite") {
        Record record;
        record.id = a;
        in >> record.name >> record.revision;
        return change(command, record);
    }
    if (command == "delete") return remove(a);
    if (command == "read" || command == "lock" || command == "wait") return read(command, a);
    in >> b >> c;
    if (command == "bulk") return bulk(a, b, c);
    if (command == "churn") return churn(a, b, c);
    if (command == "verify") return verify(a, b, static_cast<int>(c));
    return "what is " + command + "?";
}

}  // namespace

int main() {
    std::string line;
    while (std::getline(std::cin, line))
        std::cout << answer(line) << std::endl;
    return 0;
}
