// Berkeley DB, concurrent data store: one writer or many readers, the cache in memory that the processes share. It
// keeps the second index itself, an associated tree with duplicates.
#include "key_value.h"

#include <algorithm>
#include <db.h>

namespace bench {
namespace {

constexpr std::uint32_t kLeastCache = 16U << 20;
constexpr std::uint64_t kMostCache = std::uint64_t{2} << 30;
constexpr std::uint64_t kCacheRecord = 450;  // bytes of cache a record that the files hold

void demand(int result, const char *call) {
    if (result != 0) throw Failure(std::string(call) + ": " + db_strerror(result));
}

bool found(int result, int missing, const char *call) {
    if (result == missing) return false;
    demand(result, call);
    return true;
}

DBT thingOf(Bytes bytes) {
    DBT thing = {};
    thing.data = const_cast<char *>(bytes.data());
    thing.size = static_cast<u_int32_t>(bytes.size());
    return thing;
}

Bytes bytesOf(const DBT &thing) { return {static_cast<const char *>(thing.data), thing.size}; }

extern "C" int secondField(DB *, const DBT *, const DBT *value, DBT *second) {
    second->data = static_cast<char *>(value->data) + (kSecondOffset - kKey);
    second->size = kSecond;
    return 0;
}

class BerkeleyDb : public KeyValue {
  public:
    void beginLoading(const Shape &shape) override { openAll(shape, DB_CREATE); }
    // Only here the pages go to the files: closing would wait for the device as well. Later ones stay in the cache.
    void endLoading() override {
        finishLoading();
        closeAll(0);
    }
    void open(const Shape &shape, bool) override { openAll(shape, 0); }
    void close() override { closeAll(DB_NOSYNC); }
    bool insert(const Step &step, char *record) override;
    bool rewrite(const Step &step, char *record, bool keyChanges) override;
    bool remove(const Step &step, char *record) override;
    bool findSecond(const Step &step, char *record) override;

  protected:
    bool get(Table table, Bytes key, Bytes &value) override;
    bool put(Table, Bytes key, Bytes value, Put how) override;
    void loadSecond(Bytes second, Bytes key) override;
    bool drop(Table, Bytes) override { throw Failure("not used"); }
    bool seek(Table table, Seek how, Bytes key, Bytes &found, Bytes &value) override;
    bool seekHeld(Seek how, Bytes &found, Bytes &value) override;

  private:
    void openAll(const Shape &shape, u_int32_t flags);
    void closeAll(u_int32_t flags);
    DB *table(const char *file, u_int32_t kind, u_int32_t flags);

    DB_ENV *env_ = nullptr;
    DB *primary_ = nullptr, *second_ = nullptr;
    DBC *held_ = nullptr;
    std::vector<char> key_, value_;  // where what is read goes
};

DB *BerkeleyDb::table(const char *file, u_int32_t kind, u_int32_t flags) {
    DB *db;
    demand(db_create(&db, env_, 0), "db_create");
    if (kind != 0) demand(db->set_flags(db, kind), "set_flags");
    demand(db->open(db, nullptr, file, nullptr, DB_BTREE, flags, 0666), file);
    return db;
}

void BerkeleyDb::openAll(const Shape &shape, u_int32_t flags) {
    shapeIs(shape);
    const std::uint64_t cache = std::clamp<std::uint64_t>(
        records_ * kCacheRecord + records_ * static_cast<std::uint64_t>(2 * shape.tail), kLeastCache, kMostCache);
    demand(db_env_create(&env_, 0), "db_env_create");
    demand(
        env_->set_cachesize(env_, static_cast<u_int32_t>(cache >> 30), static_cast<u_int32_t>(cache & 0x3fffffff), 1),
        "set_cachesize");
    demand(env_->open(env_, ".", DB_CREATE | DB_INIT_CDB | DB_INIT_MPOOL, 0666), "DB_ENV->open");
    primary_ = table("primary", 0, flags);
    key_.resize(kKey);
    value_.resize(static_cast<std::size_t>(shape.length()));
    if (shape.second) {
        second_ = table("second", DB_DUP | DB_DUPSORT, flags);
        // A second index of many records is filled in its order.
        if (flags != 0 && loadsInOrder()) return;
        demand(primary_->associate(primary_, nullptr, second_, secondField, 0), "associate");
    }
}

void BerkeleyDb::loadSecond(Bytes second, Bytes key) {
    DBT from = thingOf(second), to = thingOf(key);
    demand(second_->put(second_, nullptr, &from, &to, 0), "put");
}

void BerkeleyDb::closeAll(u_int32_t flags) {
    if (held_ != nullptr) demand(held_->close(held_), "close");
    held_ = nullptr;
    if (second_ != nullptr) demand(second_->close(second_, flags), "close");
    second_ = nullptr;
    demand(primary_->close(primary_, flags), "close");
    demand(env_->close(env_, 0), "close");
}

bool BerkeleyDb::insert(const Step &step, char *record) {
    return put(Table::Primary, {step.key, kKey}, {record + kKey, static_cast<std::size_t>(shape().length() - kKey)},
               Put::Insert);
}

bool BerkeleyDb::put(Table, Bytes key, Bytes value, Put) {
    DBT name = thingOf(key), data = thingOf(value);
    return found(primary_->put(primary_, nullptr, &name, &data, DB_NOOVERWRITE), DB_KEYEXIST, "put");
}

// Found and replaced through one cursor, under its lock.
bool BerkeleyDb::rewrite(const Step &step, char *record, bool) {
    DBC *cursor;
    demand(primary_->cursor(primary_, nullptr, &cursor, DB_WRITECURSOR), "cursor");
    DBT key = thingOf({step.key, kKey});
    DBT nothing = {};
    nothing.flags = DB_DBT_PARTIAL;
    const bool there = found(cursor->get(cursor, &key, &nothing, DB_SET), DB_NOTFOUND, "get");
    if (there) {
        DBT value = thingOf({record + kKey, static_cast<std::size_t>(shape().length() - kKey)});
        demand(cursor->put(cursor, &key, &value, DB_CURRENT), "put");
    }
    demand(cursor->close(cursor), "close");
    return there;
}

bool BerkeleyDb::remove(const Step &step, char *) {
    DBT key = thingOf({step.key, kKey});
    return found(primary_->del(primary_, nullptr, &key, 0), DB_NOTFOUND, "del");
}

bool BerkeleyDb::findSecond(const Step &step, char *record) {
    DBT second = thingOf({step.second, kSecond}), key = {}, value = {};
    key.data = record;
    key.ulen = kKey;
    value.data = record + kKey;
    value.ulen = static_cast<u_int32_t>(shape().length() - kKey);
    key.flags = value.flags = DB_DBT_USERMEM;
    return found(second_->pget(second_, nullptr, &second, &key, &value, 0), DB_NOTFOUND, "pget");
}

bool BerkeleyDb::get(Table, Bytes key, Bytes &value) {
    DBT name = thingOf(key), data = {};
    data.data = value_.data();
    data.ulen = static_cast<u_int32_t>(value_.size());
    data.flags = DB_DBT_USERMEM;
    if (!found(primary_->get(primary_, nullptr, &name, &data, 0), DB_NOTFOUND, "get")) return false;
    value = bytesOf(data);
    return true;
}

bool BerkeleyDb::seek(Table, Seek how, Bytes key, Bytes &foundKey, Bytes &value) {
    DBC *cursor;
    demand(primary_->cursor(primary_, nullptr, &cursor, 0), "cursor");
    DBT name = {}, data = {};
    name.data = key_.data();
    name.ulen = kKey;
    name.size = kKey;
    data.data = value_.data();
    data.ulen = static_cast<u_int32_t>(value_.size());
    name.flags = data.flags = DB_DBT_USERMEM;
    std::copy(key.begin(), key.end(), key_.begin());
    const auto step = [&](u_int32_t op) {
        return found(cursor->get(cursor, &name, &data, op), DB_NOTFOUND, "get");
    };
    bool there;
    switch (how) {
    case Seek::First: there = step(DB_FIRST); break;
    case Seek::Last: there = step(DB_LAST); break;
    case Seek::Below: there = step(DB_SET_RANGE) ? step(DB_PREV) : step(DB_LAST); break;
    default:
        there = step(DB_SET_RANGE);
        if (there && how == Seek::Above && bytesOf(name) == key) there = step(DB_NEXT);
    }
    demand(cursor->close(cursor), "close");
    foundKey = bytesOf(name);
    value = bytesOf(data);
    return there;
}

bool BerkeleyDb::seekHeld(Seek how, Bytes &foundKey, Bytes &value) {
    if (held_ == nullptr) demand(primary_->cursor(primary_, nullptr, &held_, 0), "cursor");
    DBT name = {}, data = {};
    if (!found(held_->get(held_, &name, &data, how == Seek::First ? DB_FIRST : DB_NEXT), DB_NOTFOUND, "get"))
        return false;
    foundKey = bytesOf(name);
    value = bytesOf(data);
    return true;
}

}  // namespace

std::unique_ptr<Subject> makeBerkeleyDb() { return std::make_unique<BerkeleyDb>(); }

}  // namespace bench
