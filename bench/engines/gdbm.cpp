// GDBM: a hash table that one process has to itself.
#include "key_value.h"

#include <cstdlib>
#include <gdbm.h>

namespace bench {
namespace {

datum datumOf(Bytes bytes) { return {const_cast<char *>(bytes.data()), static_cast<int>(bytes.size())}; }

bool answer(int result, int missing, const char *call) {
    if (result == 0) return true;
    if (result > 0 || gdbm_errno == missing) return false;
    throw Failure(std::string(call) + ": " + gdbm_strerror(gdbm_errno));
}

class Gdbm : public KeyValue {
  public:
    ~Gdbm() override { std::free(value_.dptr); }
    void beginLoading(const Shape &shape) override { openFile(shape, GDBM_NEWDB); }
    void open(const Shape &shape, bool) override { openFile(shape, GDBM_WRITER); }
    void close() override {
        if (gdbm_close(file_) != 0) throw Failure("gdbm_close");
    }

  protected:
    bool get(Table, Bytes key, Bytes &value) override {
        std::free(value_.dptr);
        value_ = gdbm_fetch(file_, datumOf(key));
        if (value_.dptr == nullptr && gdbm_errno != GDBM_ITEM_NOT_FOUND) throw Failure("gdbm_fetch");
        value = {value_.dptr, static_cast<std::size_t>(value_.dsize)};
        return value_.dptr != nullptr;
    }
    bool put(Table, Bytes key, Bytes value, Put how) override {
        if (how == Put::Replace && gdbm_exists(file_, datumOf(key)) == 0) return false;
        return answer(gdbm_store(file_, datumOf(key), datumOf(value), how == Put::Insert ? GDBM_INSERT : GDBM_REPLACE),
                      GDBM_CANNOT_REPLACE, "gdbm_store");
    }
    bool drop(Table, Bytes key) override {
        return answer(gdbm_delete(file_, datumOf(key)), GDBM_ITEM_NOT_FOUND, "gdbm_delete");
    }

  private:
    void openFile(const Shape &shape, int access) {
        shapeIs(shape);
        file_ = gdbm_open("data.gdbm", 0, access, 0666, nullptr);
        if (file_ == nullptr) throw Failure("gdbm_open");
    }

    GDBM_FILE file_ = nullptr;
    datum value_ = {nullptr, 0};
};

}  // namespace

std::unique_ptr<Subject> makeGdbm() { return std::make_unique<Gdbm>(); }

}  // namespace bench
