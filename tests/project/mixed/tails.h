// The part of a worker that deals with variable-length records under a log.
//
//   record: 0 id (LONGTYPE, unique key) | 4 group (INTTYPE, key with duplicates) | 6 tail, which id and length make
//
//   tails build PATH | open PATH | close | log PATH | nolog | recover
//                                    ok, or what went wrong; log and nolog open and close the log
//   tails begin | commit | rollback  iserrno, as from the changes
//   tails write ID LENGTH            and rewrite; length counts the tail's bytes
//   tails delete ID
//   tails read ID                    iserrno and the tail's length
//   tails bulk FIRST STEP COUNT      writes them, ten to a transaction, and rolls back each third transaction: ok, or
//                                    what went wrong
//   tails verify FIRST LAST          all of the range that bulk leaves is there, in every order, and nothing else
#ifndef TESTS_PROJECT_MIXED_TAILS_H
#define TESTS_PROJECT_MIXED_TAILS_H

#include "isam.h"

#include <istream>
#include <set>
#include <string>

class Tails {
  public:
    std::string answer(std::istream &in) {
        std::string command, path;
        in >> command;
        if (command == "build" || command == "open" || command == "log") {
            in >> path;
            return command == "build" ? build(path) : command == "open" ? open(path) : told(islogopen(path.c_str()));
        }
        if (command == "close") return told(isclose(fd_));
        if (command == "nolog") return told(islogclose());
        if (command == "recover") return told(isrecover());
        if (command == "begin") return code(isbegin());
        if (command == "commit") return code(iscommit());
        if (command == "rollback") return code(isrollback());
        long a = 0, b = 0, c = 0;
        in >> a;
        if (command == "delete") return code(isdelete(fd_, compose(a, 0)));
        if (command == "read") return read(a);
        in >> b;
        if (command == "write") return code(iswrite(fd_, compose(a, b)));
        if (command == "rewrite") return code(isrewrite(fd_, compose(a, b)));
        if (command == "verify") return verify(a, b);
        in >> c;
        return command == "bulk" ? bulk(a, b, c) : "what is " + command + "?";
    }

  private:
    static constexpr int kMinimum = 6;
    static constexpr int kMaximum = 6000;
    static constexpr int kTogether = 10;

    static KeyDesc key(short start, short length, unsigned short type, unsigned short flags) {
        KeyDesc out{};
        out.flags = flags;
        out.nparts = 1;
        out.parts[0] = KeyPart{start, length, type};
        return out;
    }
    static KeyDesc idKey() { return key(0, 4, LONGTYPE, ISNODUPS); }
    static KeyDesc groupKey() { return key(4, 2, INTTYPE, ISDUPS | ISDUPCOMP); }

    static std::string code(int result) { return std::to_string(result == 0 ? 0 : iserrno); }
    static std::string told(int result) {
        return result >= 0 ? "ok" : "error " + std::to_string(iserrno) + "/" + std::to_string(iserrio);
    }

    static long lengthOf(long id) { return id * 37 % 2500; }
    static bool isKept(long id, long first, long step) { return (id - first) / step / kTogether % 3 != 2; }

    // The record, with its length in isreclen.
    char *compose(long id, long length) {
        stlong(id, record_);
        stint(static_cast<int>(id % 7), record_ + 4);
        for (long i = 0; i < length; ++i)
            record_[kMinimum + i] = i / 20 % 2 == 0 ? ' ' : static_cast<char>('a' + (id + length + i) % 26);
        isreclen = static_cast<int>(kMinimum + length);
        return record_;
    }

    std::string build(const std::string &path) {
        KeyDesc first = idKey(), second = groupKey();
        fd_ = isvbuild(path.c_str(), kMinimum, kMaximum, &first, ISINOUT | ISLOCKMANUAL | ISVARLEN | ISCOMPRESS);
        return told(fd_ < 0 ? -1 : isaddindex(fd_, &second));
    }
    std::string open(const std::string &path) {
        fd_ = isopen(path.c_str(), ISINOUT | ISLOCKMANUAL | ISVARLEN | ISTRANS);
        return told(fd_);
    }

    // Is what was read the record that its id and length make?
    bool isSound() {
        const std::string found(record_, static_cast<std::size_t>(isreclen));
        const int length = isreclen;
        return found == std::string(compose(ldlong(record_), length - kMinimum), static_cast<std::size_t>(length));
    }

    std::string read(long id) {
        KeyDesc first = idKey();
        if (isstart(fd_, &first, 0, compose(id, 0), ISFIRST) != 0 || isread(fd_, compose(id, 0), ISEQUAL) != 0)
            return code(-1);
        return isSound() ? "0 " + std::to_string(isreclen - kMinimum) : "another tail";
    }

    std::string bulk(long first, long step, long count) {
        for (long i = 0; i < count; ++i) {
            const long id = first + i * step;
            if (i % kTogether == 0 && isbegin() != 0) return told(-1);
            if (iswrite(fd_, compose(id, lengthOf(id))) != 0) return told(-1);
            if (i % kTogether != kTogether - 1) continue;
            if (isKept(id, first, step) ? iscommit() != 0 : isrollback() != 0) return told(-1);
            // What was rolled back is not logged any more until it has been opened again.
            const std::string path = isqv_name(fd_);
            if (isclose(fd_) != 0 || open(path) != "ok") return told(-1);
        }
        return "ok";
    }

    // The ids of a range are dealt out to two bulks, by turns.
    std::string verify(long first, long last) {
        std::set<long> expected;
        for (long id = first; id <= last; ++id)
            if (isKept(id, first + (id - first) % 2, 2)) expected.insert(id);
        for (KeyDesc order : {idKey(), groupKey(), KeyDesc{}}) {
            std::set<long> seen;
            if (isstart(fd_, &order, 0, record_, ISFIRST) != 0) return told(-1);
            while (isread(fd_, record_, ISNEXT) == 0) {
                const long id = ldlong(record_);
                if (isreclen - kMinimum != lengthOf(id) || !isSound()) return "another tail in " + std::to_string(id);
                if (!seen.insert(id).second) return "twice " + std::to_string(id);
            }
            if (iserrno != ISERR_ENDOFFILE) return told(-1);
            if (seen != expected) return "not the expected records, " + std::to_string(seen.size());
        }
        return "ok";
    }

    int fd_ = -1;
    char record_[kMaximum] = {};
};

#endif
