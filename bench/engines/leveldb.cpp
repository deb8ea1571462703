// LevelDB: a log-structured tree for one process. What belongs to one change goes in as one batch.
#include "key_value.h"

#include <leveldb/cache.h>
#include <leveldb/db.h>
#include <leveldb/write_batch.h>

namespace bench {
namespace {

constexpr std::size_t kCacheBytes = 256U << 20;
constexpr std::uint64_t kLoadedAtOnce = 1000;

leveldb::Slice sliceOf(Bytes bytes) { return {bytes.data(), bytes.size()}; }

Bytes bytesOf(const leveldb::Slice &slice) { return {slice.data(), slice.size()}; }

void demand(const leveldb::Status &status) {
    if (!status.ok()) throw Failure(status.ToString());
}

class LevelDb : public KeyValue {
  public:
    void beginLoading(const Shape &shape) override {
        openAll(shape, true);
        keepWriting(true);
        loading_ = true;
    }
    void load(const Step &step, char *record) override {
        insert(step, record);
        if (++loaded_ % kLoadedAtOnce == 0) endWrite();
    }
    void endLoading() override {
        endWrite();
        // What has not been sorted yet would be while something is measured.
        db_->CompactRange(nullptr, nullptr);
        close();
    }
    void open(const Shape &shape, bool) override { openAll(shape, false); }
    void close() override {
        held_.reset();
        db_.reset();
        cache_.reset();
    }

  protected:
    bool get(Table table, Bytes key, Bytes &value) override;
    bool put(Table table, Bytes key, Bytes value, Put how) override;
    bool drop(Table table, Bytes key) override;
    bool seek(Table table, Seek how, Bytes key, Bytes &found, Bytes &value) override;
    bool seekHeld(Seek how, Bytes &found, Bytes &value) override;
    void endWrite() override {
        demand(db_->Write(leveldb::WriteOptions(), &batch_));
        batch_.Clear();
    }

  private:
    void openAll(const Shape &shape, bool create);
    // Both tables are in one store, told apart by a byte before the key.
    Bytes named(Table table, Bytes key);
    static char markOf(Table table) { return table == Table::Primary ? 'p' : 's'; }
    bool answer(leveldb::Iterator &at, Table table, Bytes &foundKey, Bytes &value);

    std::unique_ptr<leveldb::Cache> cache_;
    std::unique_ptr<leveldb::DB> db_;
    std::unique_ptr<leveldb::Iterator> held_;
    leveldb::WriteBatch batch_;
    std::string name_, value_, foundKey_;
    bool loading_ = false;
    std::uint64_t loaded_ = 0;
};

void LevelDb::openAll(const Shape &shape, bool create) {
    shapeIs(shape);
    cache_.reset(leveldb::NewLRUCache(kCacheBytes));
    leveldb::Options options;
    options.create_if_missing = create;
    options.block_cache = cache_.get();
    // The others do not compress records either.
    options.compression = leveldb::kNoCompression;
    leveldb::DB *db = nullptr;
    demand(leveldb::DB::Open(options, "data.ldb", &db));
    db_.reset(db);
}

Bytes LevelDb::named(Table table, Bytes key) {
    name_.assign(1, markOf(table));
    name_.append(key);
    return name_;
}

bool LevelDb::get(Table table, Bytes key, Bytes &value) {
    const leveldb::Status status = db_->Get(leveldb::ReadOptions(), sliceOf(named(table, key)), &value_);
    if (status.IsNotFound()) return false;
    demand(status);
    value = value_;
    return true;
}

// A batch takes whatever comes: whether there is a record already is asked before. While loading there is none.
bool LevelDb::put(Table table, Bytes key, Bytes value, Put how) {
    Bytes old;
    if (table == Table::Primary && !loading_ && get(table, key, old) != (how == Put::Replace)) return false;
    batch_.Put(sliceOf(named(table, key)), sliceOf(value));
    return true;
}

bool LevelDb::drop(Table table, Bytes key) {
    Bytes old;
    if (table == Table::Primary && !get(table, key, old)) return false;
    batch_.Delete(sliceOf(named(table, key)));
    return true;
}

bool LevelDb::answer(leveldb::Iterator &at, Table table, Bytes &foundKey, Bytes &value) {
    if (!at.Valid() || at.key()[0] != markOf(table)) {
        demand(at.status());
        return false;
    }
    foundKey = bytesOf(at.key()).substr(1);
    value = bytesOf(at.value());
    return true;
}

bool LevelDb::seek(Table table, Seek how, Bytes key, Bytes &foundKey, Bytes &value) {
    const std::unique_ptr<leveldb::Iterator> at(db_->NewIterator(leveldb::ReadOptions()));
    switch (how) {
    case Seek::First: at->Seek(sliceOf(named(table, {}))); break;
    case Seek::Last: at->Seek(sliceOf(named(table, "\xff"))); break;
    default: at->Seek(sliceOf(named(table, key)));
    }
    if (how == Seek::Below || how == Seek::Last) {
        if (at->Valid())
            at->Prev();
        else
            at->SeekToLast();
    } else if (how == Seek::Above && at->Valid() && bytesOf(at->key()) == Bytes(name_)) {
        at->Next();
    }
    Bytes there, what;
    if (!answer(*at, table, there, what)) return false;
    // They go with the iterator.
    foundKey_ = there;
    value_ = what;
    foundKey = foundKey_;
    value = value_;
    return true;
}

bool LevelDb::seekHeld(Seek how, Bytes &foundKey, Bytes &value) {
    if (held_ == nullptr) held_.reset(db_->NewIterator(leveldb::ReadOptions()));
    if (how == Seek::First)
        held_->Seek(sliceOf(named(Table::Primary, {})));
    else
        held_->Next();
    return answer(*held_, Table::Primary, foundKey, value);
}

}  // namespace

std::unique_ptr<Subject> makeLevelDb() { return std::make_unique<LevelDb>(); }

}  // namespace bench
