// Tokyo Cabinet's B+ tree: for one process. It keeps changed leaves in the process's memory until a transaction ends,
// so each change is one; nothing is synced.
#include "key_value.h"

#include <cstdlib>
#include <sched.h>
#include <sys/syscall.h>
#include <tcbdb.h>
#include <unistd.h>

namespace bench {
namespace {

bool keepsProcessor = false;

class TokyoCabinet : public KeyValue {
  public:
    TokyoCabinet() { keepsProcessor = true; }
    void beginLoading(const Shape &shape) override { openAll(shape, BDBOWRITER | BDBOCREAT | BDBOTRUNC); }
    void open(const Shape &shape, bool) override { openAll(shape, BDBOWRITER); }
    void close() override;
    void begin() override;
    void commit() override;

  protected:
    bool get(Table table, Bytes key, Bytes &value) override;
    bool put(Table table, Bytes key, Bytes value, Put how) override;
    bool drop(Table table, Bytes key) override;
    bool seek(Table table, Seek how, Bytes key, Bytes &found, Bytes &value) override;
    bool seekHeld(Seek how, Bytes &found, Bytes &value) override;

  private:
    struct One {
        TCBDB *db = nullptr;
        BDBCUR *cursor = nullptr;
    };

    void openAll(const Shape &shape, int access);
    One &one(Table table) { return tables_[static_cast<int>(table)]; }
    void demand(bool well, const TCBDB *db, const char *call) {
        if (!well) throw Failure(std::string(call) + ": " + tcbdberrmsg(tcbdbecode(const_cast<TCBDB *>(db))));
    }
    bool answer(One &one, bool there, Bytes &foundKey, Bytes &value);

    One tables_[2];
};

void TokyoCabinet::openAll(const Shape &shape, int access) {
    shapeIs(shape);
    for (int i = 0; i < (shape.second ? 2 : 1); ++i) {
        TCBDB *db = tables_[i].db = tcbdbnew();
        demand(tcbdbtune(db, 0, 0, static_cast<std::int64_t>(records_ / 16), -1, -1, BDBTLARGE), db, "tcbdbtune");
        // Leaves and inner nodes of all records, so that none must give way.
        const auto leaves = static_cast<std::int32_t>(records_ / 16 + 1024);
        demand(tcbdbsetcache(db, leaves, leaves), db, "tcbdbsetcache");
        demand(tcbdbopen(db, i == 0 ? "primary.tcb" : "second.tcb", access), db, "tcbdbopen");
        tables_[i].cursor = tcbdbcurnew(db);
    }
}

void TokyoCabinet::close() {
    for (One &each : tables_) {
        if (each.db == nullptr) continue;
        tcbdbcurdel(each.cursor);
        demand(tcbdbclose(each.db), each.db, "tcbdbclose");
        tcbdbdel(each.db);
        each = {};
    }
}

void TokyoCabinet::begin() {
    for (const One &each : tables_)
        if (each.db != nullptr) demand(tcbdbtranbegin(each.db), each.db, "tcbdbtranbegin");
}

void TokyoCabinet::commit() {
    for (const One &each : tables_)
        if (each.db != nullptr) demand(tcbdbtrancommit(each.db), each.db, "tcbdbtrancommit");
}

bool TokyoCabinet::get(Table table, Bytes key, Bytes &value) {
    int size = 0;
    const void *found = tcbdbget3(one(table).db, key.data(), static_cast<int>(key.size()), &size);
    if (found == nullptr) return false;
    value = {static_cast<const char *>(found), static_cast<std::size_t>(size)};
    return true;
}

bool TokyoCabinet::put(Table table, Bytes key, Bytes value, Put how) {
    TCBDB *db = one(table).db;
    const int keySize = static_cast<int>(key.size()), size = static_cast<int>(value.size());
    if (how == Put::Insert) {
        if (tcbdbputkeep(db, key.data(), keySize, value.data(), size)) return true;
        demand(tcbdbecode(db) == TCEKEEP, db, "tcbdbputkeep");
        return false;
    }
    if (tcbdbvnum(db, key.data(), keySize) == 0) return false;
    demand(tcbdbput(db, key.data(), keySize, value.data(), size), db, "tcbdbput");
    return true;
}

bool TokyoCabinet::drop(Table table, Bytes key) {
    TCBDB *db = one(table).db;
    if (tcbdbout(db, key.data(), static_cast<int>(key.size()))) return true;
    demand(tcbdbecode(db) == TCENOREC, db, "tcbdbout");
    return false;
}

bool TokyoCabinet::answer(One &one, bool there, Bytes &foundKey, Bytes &value) {
    if (!there) return false;
    int keySize = 0, size = 0;
    const void *key = tcbdbcurkey3(one.cursor, &keySize);
    foundKey = {static_cast<const char *>(key), static_cast<std::size_t>(keySize)};
    const void *found = tcbdbcurval3(one.cursor, &size);
    value = {static_cast<const char *>(found), static_cast<std::size_t>(size)};
    return true;
}

bool TokyoCabinet::seek(Table table, Seek how, Bytes key, Bytes &foundKey, Bytes &value) {
    One &at = one(table);
    const int size = static_cast<int>(key.size());
    bool there;
    switch (how) {
    case Seek::First: there = tcbdbcurfirst(at.cursor); break;
    case Seek::Last: there = tcbdbcurlast(at.cursor); break;
    case Seek::Below:
        there = tcbdbcurjump(at.cursor, key.data(), size) ? tcbdbcurprev(at.cursor) : tcbdbcurlast(at.cursor);
        break;
    default: there = tcbdbcurjump(at.cursor, key.data(), size);
    }
    there = answer(at, there, foundKey, value);
    if (there && how == Seek::Above && foundKey == key) there = answer(at, tcbdbcurnext(at.cursor), foundKey, value);
    return there;
}

bool TokyoCabinet::seekHeld(Seek how, Bytes &foundKey, Bytes &value) {
    One &at = one(Table::Primary);
    return answer(at, how == Seek::First ? tcbdbcurfirst(at.cursor) : tcbdbcurnext(at.cursor), foundKey, value);
}

}  // namespace

std::unique_ptr<Subject> makeTokyoCabinet() { return std::make_unique<TokyoCabinet>(); }

}  // namespace bench

// Stands before the C library's for everything that is linked here.
extern "C" int sched_yield() noexcept {
    return !bench::keepsProcessor ? static_cast<int>(syscall(SYS_sched_yield)) : 0;
}
