#include "records/loader.h"

#include "base/failure.h"
#include "base/key_image.h"

#include <algorithm>

namespace tool {

namespace {

const char *const kLocked = "somebody else has locked the record";

// Releases the handle's record locks at the end.
class Unlocked {
  public:
    explicit Unlocked(const OpenFile &file) : file_(file) {}
    ~Unlocked() { isrelease(file_.fd()); }
    Unlocked(const Unlocked &) = delete;
    Unlocked &operator=(const Unlocked &) = delete;

  private:
    const OpenFile &file_;
};

}  // namespace

Loader::Loader(OpenFile &file, const Layout &layout, const Columns &columns, const LoadOptions &options)
    : file_(file), layout_(layout), columns_(columns), options_(options), blank_(columns.blankRecord()),
      buffer_(static_cast<std::size_t>(layout.imageLength()), '\0') {
    if (isindex(file_.fd(), layout_.indexes.empty() ? 0 : 1, 0) != 0) failCall(file_.name(), "cannot be read");
    const bool unique = layout_.primary && !layout_.indexes.empty() && (layout_.indexes[0].flags & ISDUPS) == 0;
    if (options_.update && (!unique || layout_.keysAlone()))
        throw Failure(file_.name() + ": has no unique primary key that would tell which record to update");
    if (options_.numbers && layout_.keysAlone())
        throw Failure(file_.name() + ": has no records; its keys get the numbers of their rows in any case");
}

Loader::~Loader() {
    if (numbers_ == Numbers::kMadeKept) isprecious(file_.fd(), 0);
}

void Loader::finish() {
    if (numbers_ == Numbers::kMadeKept && isprecious(file_.fd(), 0) != 0)
        failCall(file_.name(), "the numbers in between cannot be made free");
    numbers_ = Numbers::kUnknown;
}

void Loader::put(std::string &record, const InputRow &row) const {
    for (std::size_t i = 0; i < row.values.size(); ++i) {
        if (!row.values[i]) continue;
        try {
            columns_.store(record, i, *row.values[i]);
        } catch (const ValueFault &fault) {
            throw RowFault("field " + columns_[i].name() + ": " + fault.what());
        }
    }
}

// The record as a call takes it.
char *Loader::staged(const std::string &record) {
    std::copy(record.begin(), record.end(), buffer_.begin());
    isreclen = static_cast<int>(record.size());
    return buffer_.data();
}

// Puts the record that has the row's primary key into `record`, and locks it; false where there is none. The handle has
// its mask then.
bool Loader::readPresent(const InputRow &row, std::string &record) {
    const KeyDesc &key = layout_.indexes[0];
    for (std::size_t i = 0; i < columns_.count(); ++i) {
        const Field &field = columns_[i].field();
        const bool in_key = std::any_of(key.parts, key.parts + key.nparts, [&field](const KeyPart &part) {
            return !field.takesRest() && field.start < part.start + part.length &&
                   part.start < field.start + field.length;
        });
        if (in_key && !row.values[i])
            throw RowFault("field " + field.name + ": is missing, and belongs to the primary key");
    }
    if (isread(file_.fd(), staged(record), ISEQUAL | ISLOCK) != 0) {
        if (iserrno == ISERR_NOTFOUND) return false;
        if (iserrno == ISERR_LOCKED) throw RowFault(kLocked);
        failCall(file_.name(), "cannot be read");
    }
    record.assign(buffer_, 0, static_cast<std::size_t>(std::max(isreclen, 0)));
    return true;
}

void Loader::load(const InputRow &row) {
    if (row.mask.value_or(0) != 0 && !layout_.masks)
        throw RowFault(std::string(kMaskColumn) + ": the file has no masks");
    std::string record = blank_;
    put(record, row);
    if (options_.update) {
        std::string present = record;
        if (readPresent(row, present)) {
            // What others write into it between reading and rewriting would be lost.
            const Unlocked at_end(file_);
            record = present;
            put(record, row);
            rewrite(record, row, present);
            return;
        }
    }
    write(record, row);
}

// The flaw of the compression: some tails do not come back.
void Loader::checkTail(const std::string &record) const {
    if (!layout_.compressed || record.size() <= static_cast<std::size_t>(layout_.minimum)) return;
    std::string back(buffer_.size(), '\0');
    const long number = isrecnum;
    if (isdata(file_.fd(), back.data(), number) != 0) failCall(file_.name(), "cannot be read");
    back.resize(static_cast<std::size_t>(std::max(isreclen, 0)));
    isrecnum = number;
    if (back != record) throw RowFault("the compression of tails would lose the end of this one");
}

void Loader::rewrite(std::string &record, const InputRow &row, const std::string &present) {
    if (row.mask) issetmask(file_.fd(), *row.mask);
    const long mask = isgetmask(file_.fd());
    const long own = isrecnum;
    if (isrewrite(file_.fd(), staged(record)) != 0) {
        refuse(iserrno, record, own);
        return;
    }
    const long number = isrecnum;
    try {
        checkTail(record);
    } catch (const RowFault &) {
        issetmask(file_.fd(), mask);
        if (isrewrec(file_.fd(), number, staged(present)) != 0) failCall(file_.name(), "a rewrite cannot be undone");
        throw;
    }
    ++counts_.updated;
}

// Writes the record, as number isrecnum; false where a unique index has its key.
bool Loader::writeOnce(std::string &record, const InputRow &row) {
    if (layout_.masks) issetmask(file_.fd(), row.mask.value_or(0));
    if (layout_.keysAlone()) {
        if (!row.number)
            throw RowFault(std::string(kNumberColumn) + ": is missing, and a key without a record has one");
        isrecnum = *row.number;
    }
    if (iswrite(file_.fd(), staged(record)) == 0) return true;
    refuse(iserrno, record, 0);
    return false;
}

void Loader::write(std::string &record, const InputRow &row) {
    if (options_.numbers) {
        if (!row.number || *row.number == 0) throw RowFault(std::string(kNumberColumn) + ": is missing");
        writeUnder(*row.number, record, row);
        return;
    }
    if (!writeOnce(record, row)) return;
    try {
        checkTail(record);
    } catch (const RowFault &) {
        if (isdelrec(file_.fd(), isrecnum) != 0) failCall(file_.name(), "a write cannot be undone");
        throw;
    }
    ++counts_.written;
}

// A record gets the lowest number that was never used, once the numbers of deleted records are kept from being used
// again. So those before the one wanted are used up, by writing the record under each of them and deleting it.
void Loader::writeUnder(long number, std::string &record, const InputRow &row) {
    long last = 0;
    while (writeOnce(record, row)) {
        const long got = isrecnum;
        if (got == number) {
            try {
                checkTail(record);
            } catch (const RowFault &) {
                if (isdelrec(file_.fd(), number) != 0) failCall(file_.name(), "a write cannot be undone");
                throw;
            }
            ++counts_.written;
            return;
        }
        if (isdelrec(file_.fd(), got) != 0) failCall(file_.name(), "a write cannot be undone");
        if (got > number)
            throw RowFault(std::string(kNumberColumn) + ": number " + std::to_string(number) +
                           " is in use, or not free any more");
        if (numbers_ == Numbers::kUnknown && last != 0) {
            if (got != last) {
                numbers_ = Numbers::kKept;
            } else if (isprecious(file_.fd(), 1) != 0) {
                failCall(file_.name(), "record numbers cannot be kept");
            } else {
                numbers_ = Numbers::kMadeKept;
            }
        }
        last = got;
    }
}

// Which unique index has the key already, of another record than number `own`.
std::string Loader::duplicateIn(const std::string &record, long own) {
    std::string which = "a unique index";
    for (std::size_t i = 0; i < layout_.indexes.size(); ++i) {
        KeyDesc key = layout_.indexes[i];
        if ((key.flags & ISDUPS) != 0 || isNullKey(key, keyImage(key, record.data()))) continue;
        if (isstart(file_.fd(), &key, 0, staged(record), ISEQUAL) != 0 || isrecnum == own) continue;
        which = "index " + std::to_string(i + 1);
        break;
    }
    isindex(file_.fd(), 1, 0);
    return which + " has its key already";
}

// Why a record is not written: a fault of its row, or of the file.
void Loader::refuse(int code, const std::string &record, long own) {
    if (code == ISERR_LOCKED) throw RowFault(kLocked);
    if (code == ISERR_DUPLICATE) {
        if (options_.skip_duplicates) {
            ++counts_.skipped;
            return;
        }
        throw RowFault(duplicateIn(record, own));
    }
    iserrno = code;
    failCall(file_.name(), "cannot be changed");
}

}  // namespace tool
