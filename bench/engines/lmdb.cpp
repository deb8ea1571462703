// LMDB: one transaction an operation, nothing synced; the transaction of reads is kept and renewed.
#include "key_value.h"

#include <lmdb.h>

namespace bench {
namespace {

constexpr std::size_t kMapBytes = std::size_t{16} << 30;  // room to grow; only what is used takes space

void demand(int result, const char *call) {
    if (result != MDB_SUCCESS) throw Failure(std::string(call) + ": " + mdb_strerror(result));
}

bool found(int result, int missing, const char *call) {
    if (result == missing) return false;
    demand(result, call);
    return true;
}

MDB_val valueOf(Bytes bytes) { return {bytes.size(), const_cast<char *>(bytes.data())}; }

Bytes bytesOf(const MDB_val &value) { return {static_cast<const char *>(value.mv_data), value.mv_size}; }

class Lmdb : public KeyValue {
  public:
    // By lot in one transaction: with several each would copy most of what those before it have written.
    void beginLoading(const Shape &shape) override {
        openAll(shape, MDB_CREATE);
        beginWrite();
        keepWriting(true);
    }
    void endLoading() override {
        finishLoading();
        keepWriting(false);
        endWrite();
        close();
    }
    void open(const Shape &shape, bool) override { openAll(shape, 0); }
    void close() override;

  protected:
    void rest() override {
        endWrite();
        beginWrite();
    }
    bool get(Table table, Bytes key, Bytes &value) override;
    bool put(Table table, Bytes key, Bytes value, Put how) override;
    bool drop(Table table, Bytes key) override;
    bool seek(Table table, Seek how, Bytes key, Bytes &found, Bytes &value) override;
    bool seekHeld(Seek how, Bytes &found, Bytes &value) override;
    void beginRead() override;
    void endRead() override;
    void beginWrite() override;
    void endWrite() override;

  private:
    void openAll(const Shape &shape, unsigned flags);
    MDB_cursor *cursor(Table table);

    MDB_env *env_ = nullptr;
    MDB_dbi tables_[2] = {};
    MDB_txn *reading_ = nullptr, *writing_ = nullptr;
    MDB_cursor *cursors_[2] = {};
    bool renewed_[2] = {};
};

void Lmdb::openAll(const Shape &shape, unsigned flags) {
    shapeIs(shape);
    demand(mdb_env_create(&env_), "mdb_env_create");
    demand(mdb_env_set_maxdbs(env_, 2), "mdb_env_set_maxdbs");
    demand(mdb_env_set_mapsize(env_, kMapBytes), "mdb_env_set_mapsize");
    demand(mdb_env_open(env_, ".", MDB_NOSYNC | MDB_NOTLS, 0666), "mdb_env_open");
    MDB_txn *txn;
    demand(mdb_txn_begin(env_, nullptr, flags == 0 ? MDB_RDONLY : 0, &txn), "mdb_txn_begin");
    demand(mdb_dbi_open(txn, "primary", flags, &tables_[0]), "mdb_dbi_open");
    if (shape.second) demand(mdb_dbi_open(txn, "second", flags, &tables_[1]), "mdb_dbi_open");
    demand(mdb_txn_commit(txn), "mdb_txn_commit");
}

void Lmdb::close() {
    for (MDB_cursor *&cursor : cursors_) {
        if (cursor != nullptr) mdb_cursor_close(cursor);
        cursor = nullptr;
    }
    if (reading_ != nullptr) mdb_txn_abort(reading_);
    reading_ = nullptr;
    mdb_env_close(env_);
}

void Lmdb::beginRead() {
    if (writing_ != nullptr) return;
    if (reading_ == nullptr)
        demand(mdb_txn_begin(env_, nullptr, MDB_RDONLY, &reading_), "mdb_txn_begin");
    else
        demand(mdb_txn_renew(reading_), "mdb_txn_renew");
    renewed_[0] = renewed_[1] = false;
}

void Lmdb::endRead() {
    if (writing_ == nullptr) mdb_txn_reset(reading_);
}

void Lmdb::beginWrite() { demand(mdb_txn_begin(env_, nullptr, 0, &writing_), "mdb_txn_begin"); }

void Lmdb::endWrite() {
    demand(mdb_txn_commit(writing_), "mdb_txn_commit");
    writing_ = nullptr;
}

bool Lmdb::get(Table table, Bytes key, Bytes &value) {
    MDB_val name = valueOf(key), data;
    MDB_txn *txn = writing_ != nullptr ? writing_ : reading_;
    if (!found(mdb_get(txn, tables_[static_cast<int>(table)], &name, &data), MDB_NOTFOUND, "mdb_get")) return false;
    value = bytesOf(data);
    return true;
}

// A put replaces or makes; that it is to replace shows a look before.
bool Lmdb::put(Table table, Bytes key, Bytes value, Put how) {
    MDB_val name = valueOf(key), data = valueOf(value), old;
    const MDB_dbi dbi = tables_[static_cast<int>(table)];
    if (how == Put::Replace && !found(mdb_get(writing_, dbi, &name, &old), MDB_NOTFOUND, "mdb_get")) return false;
    const unsigned flags = how == Put::Insert ? MDB_NOOVERWRITE : 0;
    return found(mdb_put(writing_, dbi, &name, &data, flags), MDB_KEYEXIST, "mdb_put");
}

bool Lmdb::drop(Table table, Bytes key) {
    MDB_val name = valueOf(key);
    return found(mdb_del(writing_, tables_[static_cast<int>(table)], &name, nullptr), MDB_NOTFOUND, "mdb_del");
}

MDB_cursor *Lmdb::cursor(Table table) {
    const int index = static_cast<int>(table);
    if (cursors_[index] == nullptr)
        demand(mdb_cursor_open(reading_, tables_[index], &cursors_[index]), "mdb_cursor_open");
    else if (!renewed_[index])
        demand(mdb_cursor_renew(reading_, cursors_[index]), "mdb_cursor_renew");
    renewed_[index] = true;
    return cursors_[index];
}

bool Lmdb::seek(Table table, Seek how, Bytes key, Bytes &foundKey, Bytes &value) {
    MDB_cursor *at = cursor(table);
    MDB_val name = valueOf(key), data;
    const auto step = [&](MDB_cursor_op op) {
        return found(mdb_cursor_get(at, &name, &data, op), MDB_NOTFOUND, "seek");
    };
    bool there;
    switch (how) {
    case Seek::First: there = step(MDB_FIRST); break;
    case Seek::Last: there = step(MDB_LAST); break;
    case Seek::Below: there = step(MDB_SET_RANGE) ? step(MDB_PREV) : step(MDB_LAST); break;
    default:
        there = step(MDB_SET_RANGE);
        if (there && how == Seek::Above && bytesOf(name) == key) there = step(MDB_NEXT);
    }
    foundKey = bytesOf(name);
    value = bytesOf(data);
    return there;
}

bool Lmdb::seekHeld(Seek how, Bytes &foundKey, Bytes &value) {
    if (how == Seek::First && (reading_ == nullptr || cursors_[0] == nullptr)) beginRead();
    MDB_val name, data;
    const MDB_cursor_op op = how == Seek::First ? MDB_FIRST : MDB_NEXT;
    if (!found(mdb_cursor_get(cursor(Table::Primary), &name, &data, op), MDB_NOTFOUND, "seek")) return false;
    foundKey = bytesOf(name);
    value = bytesOf(data);
    return true;
}

}  // namespace

std::unique_ptr<Subject> makeLmdb() { return std::make_unique<Lmdb>(); }

}  // namespace bench
