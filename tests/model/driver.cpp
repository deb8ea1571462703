// A run: building the file, choosing operations, checking after every batch.
#include "driver.h"

#include "file_compare.h"
#include "library_checks.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace model {

namespace {

Driver *running = nullptr;

void reportFatal(char *message) {
    std::fprintf(stderr, "fatal stop: %s\n%s\n", message, running != nullptr ? running->report().c_str() : "");
    std::fflush(stderr);
}

const char *const kMixNames[] = {"even", "ascending", "delete-heavy", "read-heavy", "no deletes", "rewrite-heavy"};

}  // namespace

void installFatalReport() { isfatal(reportFatal); }

Driver::Driver(const Shape &shape, RunStatistics *statistics)
    : shape_(shape), random_(shape.seed ^ 0x5eedULL), statistics_(statistics), base_(dir_.file("file")),
      model_({shape.recordLength, shape.maximumLength, shape.compressed, shape.masked}, shape.indexes[0]),
      since_(static_cast<std::uint32_t>(std::time(nullptr))) {
    running = this;
}

Driver::~Driver() {
    closeAll();
    running = nullptr;
}

void Driver::closeAll() {
    for (int fd : fds_)
        isclose(fd);
    fds_.clear();
}

std::string Driver::report() const {
    std::string out = error_ + "\n" + describe(shape_) + "  mix: " + kMixNames[static_cast<int>(shape_.mix)] +
                      "\nseed of the shape " + std::to_string(shape_.seed) + "\nlast operations:\n";
    for (const std::string &line : log_)
        out += "  " + line + "\n";
    return out + "  in progress: " + pending_ + "\n";
}

void Driver::fail(const std::string &what) {
    if (!failed_) error_ = what;
    failed_ = true;
}

bool Driver::build() {
    int mode = ISINOUT | (shape_.exclusive ? ISLOCKEXCL : ISLOCKMANUAL) | (shape_.masked ? ISMASK : 0);
    if (shape_.variable()) mode |= ISVARLEN | (shape_.compressed ? ISCOMPRESS : 0);
    KeyDesc key = shape_.indexes[0];
    isrecnum = 99;
    isreclen = shape_.variable() ? shape_.recordLength : 98;
    int fd = isbuild(base_.c_str(), shape_.variable() ? shape_.maximumLength : shape_.recordLength, &key, mode);
    if (fd < 0 || isrecnum != 0 || isreclen != shape_.recordLength) {
        fail("build: " + std::to_string(fd) + ", iserrno " + std::to_string(iserrno) + ", isrecnum " +
             std::to_string(isrecnum) + ", isreclen " + std::to_string(isreclen));
        return false;
    }
    fds_.push_back(fd);
    model_.openAfterBuild(shape_.exclusive);
    if (key.nparts > 0) descs_.push_back(shape_.indexes[0]);
    reader_ = std::make_unique<testing_support::FileReader>(base_);
    for (std::size_t i = 1; i < shape_.indexes.size() && !failed_; ++i) {
        KeyDesc more = shape_.indexes[i];
        Outcome in = prepare({}, 0);
        Outcome expected = model_.addIndex(model_.handle(0), in, more);
        settle("add first index " + std::to_string(i), expected, collect(isaddindex(fd, &more), {}));
        if (expected.ok()) descs_.push_back(more);
    }
    shape_.candidates.insert(shape_.candidates.end(), descs_.begin(), descs_.end());
    if (shape_.handles == 2 && !failed_) {
        model_.addHandle();
        Outcome expected = model_.open(1, false);
        fd = isopen(base_.c_str(), ISINOUT | ISLOCKMANUAL | openFlags());
        Outcome actual = collect(fd < 0 ? -1 : 0, {});
        fds_.push_back(fd);
        settle("open second handle", expected, actual);
    }
    return !failed_;
}

Driver::Operation Driver::chooseOperation(int call, int calls) {
    int weights[kOperations] = {};
    weights[kRead] = 30;
    weights[kStart] = 9;
    weights[kIndex] = weights[kGoto] = weights[kData] = weights[kPushPop] = 3;
    weights[kWrite] = 14;
    weights[kWriteCurrent] = 3;
    weights[kWriteLock] = 2;
    weights[kRewrite] = weights[kRewriteCurrent] = 4;
    weights[kRewriteRecord] = weights[kRewriteNext] = 3;
    weights[kDelete] = weights[kDeleteRecord] = weights[kDeleteCurrent] = 4;
    weights[kUniqueId] = weights[kSetUnique] = weights[kLastRecord] = weights[kInformation] = 1;
    weights[kAddIndex] = weights[kDropIndex] = 1;
    weights[kReopen] = 1;
    weights[kLocks] = 3;
    weights[kSetMask] = shape_.masked ? 8 : 1;
    weights[kPrecious] = shape_.precious ? 1 : 0;
    weights[kAudit] = shape_.audited ? 2 : 0;
    weights[kUserInfo] = 1;
    weights[kWholeFile] = 2;
    long count = model_.pure() ? static_cast<long>(model_.indexes()[0].entries.size()) : model_.liveCount();
    auto scale = [&](std::initializer_list<Operation> operations, int percent) {
        for (Operation operation : operations)
            weights[operation] = weights[operation] * percent / 100;
    };
    bool growing = call < calls * 2 / 5 || (call > calls * 85 / 100 && call < calls * 95 / 100);
    bool shrinking = call > calls * (shape_.target >= 700 ? 55 : 70) / 100 && call < calls * 82 / 100;
    if (growing && count < shape_.target) {
        weights[kWrite] = 150;
        scale({kDelete, kDeleteRecord, kDeleteCurrent}, 50);
    } else if (shrinking && shape_.mix != Mix::kNoDelete) {
        weights[kDelete] = weights[kDeleteCurrent] = 40;
        weights[kDeleteRecord] = 200;
        scale({kWrite, kWriteCurrent, kWriteLock}, 20);
    }
    switch (shape_.mix) {
    case Mix::kDeleteHeavy: scale({kDelete, kDeleteRecord, kDeleteCurrent}, 250); break;
    case Mix::kReadHeavy: scale({kRead, kStart, kIndex, kGoto, kPushPop}, 250); break;
    case Mix::kNoDelete: scale({kDelete, kDeleteRecord, kDeleteCurrent}, 0); break;
    case Mix::kRewriteHeavy: scale({kRewrite, kRewriteRecord, kRewriteCurrent, kRewriteNext}, 400); break;
    case Mix::kAscending: scale({kRewrite, kRewriteRecord, kRewriteCurrent, kRewriteNext}, 0); break;
    default: break;
    }
    int total = 0;
    for (int weight : weights)
        total += weight;
    int pick = random_.below(total);
    int chosen = 0;
    while (pick >= weights[chosen])
        pick -= weights[chosen++];
    return static_cast<Operation>(chosen);
}

void Driver::perform(Operation operation) {
    switch (operation) {
    case kRead: return randomRead();
    case kStart: return randomStart();
    case kIndex: return randomIndex();
    case kGoto: return randomGoto();
    case kData: return randomData();
    case kPushPop: return randomPushPop();
    case kWrite: return randomWrite(FileModel::Write::kPlain);
    case kWriteCurrent: return randomWrite(FileModel::Write::kCurrent);
    case kWriteLock: return randomWrite(FileModel::Write::kLock);
    case kRewrite:
    case kRewriteRecord:
    case kRewriteCurrent:
    case kRewriteNext: return randomRewrite(operation);
    case kDelete:
    case kDeleteRecord:
    case kDeleteCurrent: return randomDelete(operation);
    case kUniqueId:
    case kSetUnique:
    case kLastRecord: return randomUnique(operation);
    case kAddIndex: return randomAddIndex();
    case kDropIndex: return randomDropIndex();
    case kPrecious: return randomPrecious();
    case kAudit: return randomAudit();
    case kInformation: return randomInformation();
    case kReopen: return randomReopen();
    case kLocks: return randomLocks();
    case kUserInfo: return randomUserInfo();
    case kWholeFile: return randomWholeFile();
    default: return randomMask();
    }
}

bool Driver::scanIndex(std::size_t handle, std::size_t index) {
    bool natural = index >= model_.keyCount();
    KeyDesc key = natural ? KeyDesc{} : descs_[index];
    // Where two indexes have one description, the later one answers to it.
    index = static_cast<std::size_t>(model_.find(key));
    auto wanted =
        natural ? (model_.pure() ? 0 : model_.liveCount()) : static_cast<long>(model_.indexes()[index].entries.size());
    Buffer record(static_cast<std::size_t>(shape_.bufferLength), 0x5a);
    scanning_ = true;
    for (int forward = 1; forward >= 0 && !failed_; --forward) {
        start(handle, &key, 0, forward != 0 ? ISFIRST : ISLAST, record, 0);
        long seen = 0;
        for (; !failed_; ++seen) {
            read(handle, forward != 0 ? ISNEXT : ISPREV, record, 0);
            if (iserrno != 0) break;
        }
        statistics_->scanReads += seen + 1;
        if (!failed_ && seen != wanted)
            fail("scan of index " + std::to_string(index) + " saw " + std::to_string(seen) + " of " +
                 std::to_string(wanted) + " records");
    }
    scanning_ = false;
    return !failed_;
}

// The node of the audit settings has the trail's name, which is another one in every run.
void Driver::digestFiles() {
    testing_support::Bytes index = reader_->indexFile();
    const auto header = reader_->header();
    if (header.auditNode != 0) {
        const auto size = static_cast<std::ptrdiff_t>(header.nodeSize);
        const auto node = index.begin() + (static_cast<std::ptrdiff_t>(header.auditNode) - 1) * size;
        std::fill(node, node + size, std::uint8_t{0});
    }
    for (const testing_support::Bytes &file : {index, reader_->dataFile()}) {
        digest_ = digest_ * 31 + file.size();
        for (const std::uint8_t byte : file)
            digest_ = (digest_ ^ byte) * 0x100000001b3;
    }
}

bool Driver::checkStructure() {
    ++statistics_->checks;
    digestFiles();
    testing_support::CheckReport report = testing_support::checkFiles(*reader_);
    if (!report.clean()) {
        fail("structural check:\n" + report.text());
        return false;
    }
    statistics_->levels = std::max(statistics_->levels, report.levels);
    statistics_->remnantNodes = std::max(statistics_->remnantNodes, report.remnantNodes);
    std::string wrong = compareFile(*reader_, report, model_, Equals::kSerials);
    if (wrong.empty()) wrong = compareTrails();
    if (!wrong.empty()) fail(wrong);
    return !failed_ && askLibrary(report);
}

// The library's own checks must find nothing, and leave everything as it is.
bool Driver::askLibrary(const testing_support::CheckReport &report) {
    std::size_t handle = someHandle();
    pending_ = "the library's checks";
    std::string wrong = compareChecks(fds_[handle], *reader_, report);
    if (!wrong.empty()) fail(wrong);
    model_.loseSlot(model_.handle(handle));
    checkHandle(handle, pending_);
    return !failed_;
}

bool Driver::checkBatch() {
    if (!checkStructure()) return false;
    std::size_t handle = someHandle();
    bool small = model_.keyCount() * static_cast<std::size_t>(std::max(1L, model_.liveCount())) < 600;
    std::size_t chosen = static_cast<std::size_t>(random_.below(static_cast<int>(model_.keyCount()) + 1));
    for (std::size_t i = 0; i <= model_.keyCount() && !failed_; ++i)
        if (small || i == chosen) scanIndex(handle, i);
    return !failed_;
}

bool Driver::run(int calls, bool everyCall) {
    if (!build()) return false;
    int untilCheck = 1;
    for (int call = 0; call < calls && !failed_; ++call) {
        perform(chooseOperation(call, calls));
        ++statistics_->calls;
        if (everyCall && !failed_) checkStructure();
        if (--untilCheck == 0 && !failed_) {
            checkBatch();
            untilCheck = random_.between(50, 200);
        }
    }
    return !failed_ && checkBatch();
}

}  // namespace model
