// A subject over an engine that keeps values under keys. A record lies under its primary key, without it; the second
// index is a table of its own whose keys are second field and primary key, and whose values are empty.
#pragma once

#include "../subject.h"

#include <array>
#include <string_view>

namespace bench {

using Bytes = std::string_view;

class KeyValue : public Subject {
  public:
    // Very many records are loaded in key order, and the second index in its own order behind them.
    bool loadsInOrder() const override { return records_ > kMany; }
    void load(const Step &step, char *record) override;
    bool find(const Step &step, char *record) override;
    bool insert(const Step &step, char *record) override;
    bool rewrite(const Step &step, char *record, bool keyChanges) override;
    bool remove(const Step &step, char *record) override;
    bool first(char *record) override;
    bool last(char *record) override;
    bool next(char *record) override;
    bool previous(char *record) override;
    bool start(const Step &step, int bytes) override;
    void holdScan() override { held_ = true; }
    bool findSecond(const Step &step, char *record) override;
    void begin() override;
    void commit() override;

  protected:
    enum class Table { Primary, Second };
    enum class Put { Insert, Replace };
    enum class Seek { First, Last, AtLeast, Above, Below };

    // What an engine has to give. Bytes that it returns are good until the next call. Each of these runs within a pair
    // of the four that follow.
    virtual bool get(Table table, Bytes key, Bytes &value) = 0;
    virtual bool put(Table table, Bytes key, Bytes value, Put how) = 0;
    virtual bool drop(Table table, Bytes key) = 0;
    virtual bool seek(Table, Seek, Bytes /*key*/, Bytes & /*found*/, Bytes & /*value*/) { throw Failure("no order"); }
    virtual void beginRead() {}
    virtual void endRead() {}
    virtual void beginWrite() {}
    virtual void endWrite() {}
    // The same as seek, through a view that is kept: First begins a scan, Above goes on with it.
    virtual bool seekHeld(Seek, Bytes & /*found*/, Bytes & /*value*/) { throw Failure("no view to be held"); }

    // Called now and then while records are loaded in order.
    virtual void rest() {}
    virtual void loadSecond(Bytes second, Bytes key);
    // The second index, where it has been left for the end.
    void finishLoading();

    void shapeIs(const Shape &shape) { shape_ = &shape; }
    const Shape &shape() const { return *shape_; }
    // Loading and transactions put many changes into one pair.
    void keepWriting(bool keep) { within_ = keep; }
    bool within() const { return within_; }

  private:
    bool move(Seek how, char *record);
    void startWrite() {
        if (!within_) beginWrite();
    }
    void finishWrite() {
        if (!within_) endWrite();
    }
    std::size_t valueLength() const { return static_cast<std::size_t>(shape_->length() - kKey); }

    using Entry = std::array<char, kSecond + kKey>;

    const Shape *shape_ = nullptr;
    std::vector<Entry> entries_;  // of the second index, while records are loaded
    bool within_ = false;
    bool held_ = false;
    bool started_ = false;  // the position is where the next record is looked for, itself included
    char position_[kKey];   // key of the record last read
    std::string old_;       // of a record that is to be changed: its second index's key
};

}  // namespace bench
