// TDB: a hash table, so there are keyed operations alone. Each locks its chain.
#include "key_value.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <tdb.h>

namespace bench {
namespace {

TDB_DATA dataOf(Bytes bytes) {
    return {reinterpret_cast<unsigned char *>(const_cast<char *>(bytes.data())), bytes.size()};
}

class Tdb : public KeyValue {
  public:
    // Nobody else is there while the file is loaded.
    void beginLoading(const Shape &shape) override { openFile(shape, TDB_NOSYNC | TDB_NOLOCK, O_RDWR | O_CREAT); }
    void open(const Shape &shape, bool) override { openFile(shape, TDB_NOSYNC, O_RDWR); }
    void close() override {
        if (tdb_close(file_) != 0) throw Failure("tdb_close");
    }
    void begin() override {
        if (tdb_transaction_start(file_) != 0) throw Failure("tdb_transaction_start");
    }
    void commit() override {
        if (tdb_transaction_commit(file_) != 0) throw Failure("tdb_transaction_commit");
    }

  protected:
    bool get(Table, Bytes key, Bytes &value) override {
        Copy copy = {this, value};
        return answer(tdb_parse_record(file_, dataOf(key), take, &copy), TDB_ERR_NOEXIST, "tdb_parse_record") &&
               (value = copy.value, true);
    }
    bool put(Table, Bytes key, Bytes value, Put how) override {
        const bool fresh = how == Put::Insert;
        return answer(tdb_store(file_, dataOf(key), dataOf(value), fresh ? TDB_INSERT : TDB_MODIFY),
                      fresh ? TDB_ERR_EXISTS : TDB_ERR_NOEXIST, "tdb_store");
    }
    bool drop(Table, Bytes key) override {
        return answer(tdb_delete(file_, dataOf(key)), TDB_ERR_NOEXIST, "tdb_delete");
    }

  private:
    struct Copy {
        Tdb *self;
        Bytes value;
    };

    // The value may lie in the mapping: it is copied under the lock.
    static int take(TDB_DATA, TDB_DATA data, void *to) {
        Copy *copy = static_cast<Copy *>(to);
        copy->self->value_.assign(reinterpret_cast<const char *>(data.dptr), data.dsize);
        copy->value = copy->self->value_;
        return 0;
    }
    bool answer(int result, TDB_ERROR missing, const char *call) {
        if (result == 0) return true;
        if (tdb_error(file_) == missing) return false;
        throw Failure(std::string(call) + ": " + tdb_errorstr(file_));
    }
    // About four records a chain.
    void openFile(const Shape &shape, int flags, int access) {
        shapeIs(shape);
        const int chains = static_cast<int>(std::clamp<std::uint64_t>(records_ / 4, 131, 1000003));
        file_ = tdb_open("data.tdb", chains, flags, access, 0666);
        if (file_ == nullptr) throw Failure("tdb_open");
    }

    TDB_CONTEXT *file_ = nullptr;
    std::string value_;
};

}  // namespace

std::unique_ptr<Subject> makeTdb() { return std::make_unique<Tdb>(); }

}  // namespace bench
