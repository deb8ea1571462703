// This library, through its public header.
#include "../subject.h"

#include <isam.h>

#include <cstring>
#include <unistd.h>

#ifndef ISMAPPED
#define ISMAPPED 0x10000  // a library that does not know the bit passes over it
#endif

namespace bench {
namespace {

constexpr char kName[] = "data";
constexpr char kLog[] = "log";
constexpr long kMemory = 256 * 1024;  // in units of 1,024 bytes: no more than others have

KeyDesc keyOver(int offset, int length, int flags) {
    KeyDesc key = {};
    key.flags = static_cast<unsigned short>(flags);
    key.nparts = 1;
    key.parts[0] = {static_cast<short>(offset), static_cast<short>(length), CHARTYPE};
    return key;
}

KeyDesc primaryOf(const Shape &shape) { return keyOver(0, kKey, ISNODUPS | (shape.compression & ~ISDUPCOMP)); }

KeyDesc secondOf(const Shape &shape) { return keyOver(kSecondOffset, kSecond, ISDUPS | shape.compression); }

void demand(int result, const char *call) {
    if (result < 0) throw Failure(std::string(call) + ": error " + std::to_string(iserrno));
}

class Isam : public Subject {
  public:
    explicit Isam(int mode) : mode_(mode) {}

    void beginLoading(const Shape &shape) override;
    void endLoading() override;
    void open(const Shape &shape, bool transactions) override;
    void close() override;
    bool find(const Step &step, char *record) override;
    bool insert(const Step &step, char *record) override;
    bool rewrite(const Step &step, char *record, bool keyChanges) override;
    bool remove(const Step &step, char *record) override;
    bool first(char *record) override { return read(record, ISFIRST); }
    bool last(char *record) override { return read(record, ISLAST); }
    bool next(char *record) override { return read(record, ISNEXT); }
    bool previous(char *record) override { return read(record, ISPREV); }
    bool start(const Step &step, int bytes) override;
    void inRecordOrder() override { use({}); }
    void useSecond() override { use(secondOf(*shape_)); }
    void useFirst() override { use(primaryOf(*shape_)); }
    bool findSecond(const Step &step, char *record) override;
    void begin() override;
    void commit() override;
    void addIndex() override;
    void check() override;
    void cluster() override;
    void prepareRecovery(const Shape &shape) override;
    void recover() override;

  private:
    void build(const Shape &shape, int mode);
    void use(KeyDesc key);
    bool read(char *record, int mode);
    bool done(int result, int missing, const char *call);

    int mode_;
    int fd_ = -1;
    const Shape *shape_ = nullptr;
    bool logging_ = false;
};

// Nothing but a record that is missing, or there already, is an answer.
bool Isam::done(int result, int missing, const char *call) {
    if (result == 0) return true;
    if (iserrno == missing) return false;
    throw Failure(std::string(call) + ": error " + std::to_string(iserrno));
}

void Isam::build(const Shape &shape, int mode) {
    shape_ = &shape;
    KeyDesc key = primaryOf(shape);
    const int tails = shape.tail > 0 ? ISVARLEN : 0;
    fd_ = isvbuild(kName, kRecord, shape.length(), &key, ISINOUT | tails | mode);
    demand(fd_, "isbuild");
    if (!shape.second) return;
    key = secondOf(shape);
    demand(isaddindex(fd_, &key), "isaddindex");
}

void Isam::beginLoading(const Shape &shape) { build(shape, ISLOCKEXCL); }

void Isam::endLoading() {
    if (shape_->clustered) cluster();
    close();
}

void Isam::open(const Shape &shape, bool transactions) {
    shape_ = &shape;
    iscachelimit(kMemory);
    if (transactions && !logging_) {
        demand(islogopen(kLog), "islogopen");
        logging_ = true;
    }
    fd_ = isopen(kName, ISINOUT | mode_ | (shape.tail > 0 ? ISVARLEN : 0) | (transactions ? ISTRANS : 0));
    demand(fd_, "isopen");
}

void Isam::close() { demand(isclose(fd_), "isclose"); }

bool Isam::read(char *record, int mode) { return done(isread(fd_, record, mode), ISERR_ENDOFFILE, "isread"); }

bool Isam::find(const Step &step, char *record) {
    std::memcpy(record, step.key, kKey);
    return done(isread(fd_, record, ISEQUAL), ISERR_NOTFOUND, "isread");
}

bool Isam::insert(const Step &, char *record) {
    isreclen = shape_->length();
    return done(iswrite(fd_, record), ISERR_DUPLICATE, "iswrite");
}

bool Isam::rewrite(const Step &, char *record, bool) {
    isreclen = shape_->length();
    return done(isrewrite(fd_, record), ISERR_NOTFOUND, "isrewrite");
}

bool Isam::remove(const Step &, char *record) { return done(isdelete(fd_, record), ISERR_NOTFOUND, "isdelete"); }

bool Isam::start(const Step &step, int bytes) {
    char record[kRecord];
    std::memcpy(record, step.key, kKey);
    KeyDesc key = primaryOf(*shape_);
    return done(isstart(fd_, &key, bytes, record, ISEQUAL), ISERR_NOTFOUND, "isstart");
}

void Isam::use(KeyDesc key) { demand(isstart(fd_, &key, 0, nullptr, ISFIRST), "isstart"); }

bool Isam::findSecond(const Step &step, char *record) {
    std::memcpy(record + kSecondOffset, step.second, kSecond);
    return done(isread(fd_, record, ISEQUAL), ISERR_NOTFOUND, "isread");
}

void Isam::begin() { demand(isbegin(), "isbegin"); }

void Isam::commit() { demand(iscommit(), "iscommit"); }

void Isam::addIndex() {
    KeyDesc key = keyOver(kOtherOffset, kOther, ISNODUPS);
    demand(isaddindex(fd_, &key), "isaddindex");
}

void Isam::check() {
    for (int index = 1; index <= (shape_->second ? 2 : 1); ++index) {
        const int found = ischeckindex(fd_, index);
        if (found != 0) throw Failure("ischeckindex finds " + std::to_string(found));
    }
}

// The one work that nobody else may have the file open for.
void Isam::cluster() {
    close();
    fd_ = isopen(kName, ISINOUT | ISLOCKEXCL | (mode_ & ISMAPPED));
    demand(fd_, "isopen");
    KeyDesc key = primaryOf(*shape_);
    fd_ = iscluster(fd_, &key);
    demand(fd_, "iscluster");
}

void Isam::prepareRecovery(const Shape &shape) {
    demand(islogopen(kLog), "islogopen");
    build(shape, ISLOCKEXCL);
    const Permutation order(records_);
    Draft draft(shape.length());
    for (std::uint64_t i = 0; i < records_; ++i) {
        const Step step = stepOf(kSpacing * order(i), records_);
        if (!insert(step, draft.with(step))) throw Failure("a new record is refused");
    }
    close();
    demand(islogclose(), "islogclose");
    if (unlink("data.idx") != 0 || unlink("data.dat") != 0) throw Failure("the files are not there");
}

void Isam::recover() {
    demand(islogopen(kLog), "islogopen");
    demand(isrecover(), "isrecover");
    demand(islogclose(), "islogclose");
}

}  // namespace

std::unique_ptr<Subject> makeIsam() { return std::make_unique<Isam>(ISLOCKMANUAL); }

std::unique_ptr<Subject> makeIsamMapped() { return std::make_unique<Isam>(ISLOCKMANUAL | ISMAPPED); }

std::unique_ptr<Subject> makeIsamExclusive() { return std::make_unique<Isam>(ISLOCKEXCL); }

}  // namespace bench
