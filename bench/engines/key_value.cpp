#include "key_value.h"

#include <algorithm>
#include <cstring>

namespace bench {
namespace {

constexpr std::size_t kRestEvery = 100000;
constexpr Bytes kNothing = "";  // some engines refuse a null pointer
constexpr std::size_t kSecondInValue = kSecondOffset - kKey;

Bytes keyOf(const Step &step) { return {step.key, kKey}; }

// Key of the second table: the field, then the primary key.
std::string entryOf(const char *second, const char *key) {
    std::string entry(second, kSecond);
    entry.append(key, kKey);
    return entry;
}

void restore(char *record, Bytes key, Bytes value) {
    std::memcpy(record, key.data(), kKey);
    std::memcpy(record + kKey, value.data(), value.size());
}

void expectLength(Bytes value, std::size_t length) {
    if (value.size() != length) throw Failure("a value has another length than was written");
}

}  // namespace

void KeyValue::load(const Step &step, char *record) {
    if (!loadsInOrder()) {
        insert(step, record);
        return;
    }
    put(Table::Primary, keyOf(step), {record + kKey, valueLength()}, Put::Insert);
    entries_.emplace_back();
    std::memcpy(entries_.back().data(), record + kSecondOffset, kSecond);
    std::memcpy(entries_.back().data() + kSecond, record, kKey);
    if (entries_.size() % kRestEvery == 0) rest();
}

void KeyValue::loadSecond(Bytes second, Bytes key) {
    put(Table::Second, entryOf(second.data(), key.data()), kNothing, Put::Insert);
}

void KeyValue::finishLoading() {
    if (shape_->second) {
        std::sort(entries_.begin(), entries_.end());
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            loadSecond({entries_[i].data(), kSecond}, {entries_[i].data() + kSecond, kKey});
            if (i % kRestEvery == 0) rest();
        }
    }
    entries_.clear();
}

bool KeyValue::find(const Step &step, char *record) {
    beginRead();
    Bytes value;
    const bool found = get(Table::Primary, keyOf(step), value);
    if (found) {
        expectLength(value, valueLength());
        restore(record, keyOf(step), value);
    }
    endRead();
    return found;
}

bool KeyValue::insert(const Step &step, char *record) {
    startWrite();
    const bool put = this->put(Table::Primary, keyOf(step), {record + kKey, valueLength()}, Put::Insert);
    if (put && shape_->second) this->put(Table::Second, entryOf(record + kSecondOffset, record), kNothing, Put::Insert);
    finishWrite();
    return put;
}

bool KeyValue::rewrite(const Step &step, char *record, bool) {
    startWrite();
    Bytes value;
    // An engine without a second index need not look: replacing tells whether there was a record.
    bool found = true;
    if (shape_->second && (found = get(Table::Primary, keyOf(step), value)) &&
        std::memcmp(value.data() + kSecondInValue, record + kSecondOffset, kSecond) != 0) {
        old_ = entryOf(value.data() + kSecondInValue, record);
        if (!drop(Table::Second, old_)) throw Failure("the second table lacks an entry");
        put(Table::Second, entryOf(record + kSecondOffset, record), kNothing, Put::Insert);
    }
    found = found && put(Table::Primary, keyOf(step), {record + kKey, valueLength()}, Put::Replace);
    finishWrite();
    return found;
}

bool KeyValue::remove(const Step &step, char *) {
    startWrite();
    Bytes value;
    bool found = true;
    if (shape_->second && (found = get(Table::Primary, keyOf(step), value))) {
        old_ = entryOf(value.data() + kSecondInValue, step.key);
        if (!drop(Table::Second, old_)) throw Failure("the second table lacks an entry");
    }
    found = found && drop(Table::Primary, keyOf(step));
    finishWrite();
    return found;
}

bool KeyValue::move(Seek how, char *record) {
    Bytes key, value;
    bool found;
    if (held_) {
        found = seekHeld(how, key, value);
    } else {
        beginRead();
        found = seek(Table::Primary, how, {position_, kKey}, key, value);
    }
    if (found) {
        expectLength(value, valueLength());
        restore(record, key, value);
        std::memcpy(position_, record, kKey);
    }
    if (!held_) endRead();
    started_ = false;
    return found;
}

bool KeyValue::first(char *record) { return move(Seek::First, record); }

bool KeyValue::last(char *record) { return move(Seek::Last, record); }

bool KeyValue::next(char *record) { return move(started_ ? Seek::AtLeast : Seek::Above, record); }

bool KeyValue::previous(char *record) { return move(Seek::Below, record); }

bool KeyValue::start(const Step &step, int bytes) {
    std::memset(position_, 0, kKey);
    std::memcpy(position_, step.key, static_cast<std::size_t>(bytes));
    beginRead();
    Bytes key, value;
    const bool found = seek(Table::Primary, Seek::AtLeast, {position_, kKey}, key, value) &&
                       std::memcmp(key.data(), position_, static_cast<std::size_t>(bytes)) == 0;
    if (found) std::memcpy(position_, key.data(), kKey);
    endRead();
    started_ = true;
    return found;
}

bool KeyValue::findSecond(const Step &step, char *record) {
    beginRead();
    Bytes entry, value;
    const bool found = seek(Table::Second, Seek::AtLeast, {step.second, kSecond}, entry, value) &&
                       std::memcmp(entry.data(), step.second, kSecond) == 0;
    if (found) {
        char key[kKey];
        std::memcpy(key, entry.data() + kSecond, kKey);
        if (!get(Table::Primary, {key, kKey}, value)) throw Failure("the second table has an entry too many");
        expectLength(value, valueLength());
        restore(record, {key, kKey}, value);
    }
    endRead();
    return found;
}

void KeyValue::begin() {
    beginWrite();
    within_ = true;
}

void KeyValue::commit() {
    within_ = false;
    endWrite();
}

}  // namespace bench
