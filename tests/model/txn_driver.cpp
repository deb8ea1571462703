// A run: files, steps, the comparison after each transaction, recovery.
#include "txn_driver.h"

#include "tail_text.h"
#include "whole_file.h"

#include <algorithm>
#include <ctime>
#include <filesystem>

namespace model {

namespace {

constexpr std::size_t kStepLines = 60;
constexpr int kCallers[] = {0, 7, -3};
// About the longest records of which two, or one, fit into a log record.
constexpr int kWideRecords[] = {32752, 32753, 65507, 65508};

short caller = 0;
short callerNow() { return caller; }

}  // namespace

Shape makeTxnShape(Random *random, bool variable) {
    for (;;) {
        int number = random->below(1000);
        std::uint64_t seed = random->next();
        Shape shape = variable ? makeVariableShape(number, seed) : makeShape(number, seed);
        if (shape.pure() || shape.masked) continue;
        if (shape.maximumLength == ISMAXVARLEN && random->percent(70)) continue;
        if (!variable && random->percent(8)) shape.recordLength = shape.bufferLength = kWideRecords[random->below(4)];
        return shape;
    }
}

TxnDriver::TxnDriver(std::uint64_t seed, TxnStatistics *statistics)
    : seed_(seed), random_(seed ^ 0x7c4aULL), statistics_(statistics), logPath_(dir_.file("log")),
      livePath_(dir_.file("live")), initialPath_(dir_.file("initial")),
      since_(static_cast<std::uint32_t>(std::time(nullptr))) {}

TxnDriver::~TxnDriver() {
    iscleanup();
    for (int who : kCallers) {
        caller = static_cast<short>(who);
        iscommit();
    }
    islogclose();
    isTxnInit(nullptr);
}

void TxnDriver::fail(const std::string &what) {
    if (!failed_) error_ = what;
    failed_ = true;
}

std::string TxnDriver::report() const {
    std::string out = error_ + "\nseed " + std::to_string(seed_) + "\n";
    for (const FileSet &set : world_.files)
        out += set.name + ": " + describe(set.shape);
    out += "last steps:\n";
    for (const std::string &line : steps_)
        out += "  " + line + "\n";
    out += endOfLog(world_);
    return out;
}

Outcome TxnDriver::prepare(const Buffer &record, long recnum, int reclen) {
    Outcome in;
    in.record = record;
    in.recnum = isrecnum = recnum;
    in.reclen = isreclen = reclen;
    iserrno = -1;
    return in;
}

void TxnDriver::settle(const std::string &what, const Outcome &expected, int ret, const Buffer &record, long value) {
    std::string line = what + ": result " + std::to_string(ret) + ", iserrno " + std::to_string(iserrno) +
                       ", isrecnum " + std::to_string(isrecnum) + ", isreclen " + std::to_string(isreclen);
    steps_.push_back(line);
    if (steps_.size() > kStepLines) steps_.pop_front();
    ++(ret < 0 ? statistics_->failed : statistics_->succeeded)[what.substr(0, what.find(' '))];
    if (ret != expected.ret || iserrno != expected.err || isreclen != expected.reclen || value != expected.value ||
        (expected.recnumKnown && isrecnum != expected.recnum))
        fail(line + "\nexpected result " + std::to_string(expected.ret) + ", iserrno " + std::to_string(expected.err) +
             ", isrecnum " + std::to_string(expected.recnum) + ", isreclen " + std::to_string(expected.reclen));
    if (expected.recordKnown && expected.record != record) fail(line + "\nanother record");
}

// ------------------------------------------------------------------- files

std::string TxnDriver::newName() { return livePath_ + "/file" + std::to_string(++names_); }

Buffer TxnDriver::someRecord(const FileSet &file, long like) {
    Buffer record(static_cast<std::size_t>(file.shape.bufferLength), 0x5e);
    for (int i = 0; i < file.shape.recordLength; ++i)
        record[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(random_.below(256));
    if (file.model.live(like)) {
        const Buffer &old = file.model.records()[static_cast<std::size_t>(like - 1)].bytes;
        std::copy_n(old.begin(), file.shape.recordLength, record.begin());
    }
    for (const Field &field : file.shape.fields)
        if (!file.model.live(like) || random_.percent(25)) fillField(field, random_.below(field.domain), record.data());
    return record;
}

int TxnDriver::giveTail(const FileSet &file, Buffer *record) {
    return file.shape.variable() ? makeTail(&random_, file.shape, record->data()) : 1234;
}

bool TxnDriver::makeFile(const std::string &name, int records, bool neverLogged) {
    world_.files.emplace_back(name, makeTxnShape(&random_, random_.percent(50)));
    FileSet &set = world_.files.back();
    set.neverLogged = neverLogged;
    const Shape &shape = set.shape;
    KeyDesc key = shape.indexes[0];
    int mode = ISINOUT | ISLOCKEXCL;
    if (shape.variable()) mode |= ISVARLEN | (shape.compressed ? ISCOMPRESS : 0);
    int fd = isvbuild(name.c_str(), shape.recordLength, shape.maximumLength, &key, mode);
    set.model.openAfterBuild(true);
    for (std::size_t i = 1; i < shape.indexes.size(); ++i) {
        KeyDesc more = shape.indexes[i];
        if (set.model.addIndex(set.model.handle(0), {}, more).ok() && isaddindex(fd, &more) == 0)
            set.descs.push_back(more);
    }
    set.shape.candidates.insert(set.shape.candidates.end(), set.descs.begin(), set.descs.end());
    std::string trail = dir_.file("trail" + std::to_string(names_));
    if (trail.size() <= ISAUDNAMELEN && random_.percent(30)) {
        set.model.audit({}, ISAUDSETNAME, &trail);
        set.model.audit({}, ISAUDSTART, &trail);
        isaudit(fd, trail.data(), ISAUDSETNAME);
        isaudit(fd, trail.data(), ISAUDSTART);
    }
    if (shape.recordLength >= kWideRecords[0]) records = std::min(records, 4);
    for (int i = 0; i < records && !failed_; ++i) {
        Buffer record = someRecord(set, 0);
        Outcome in = prepare(record, 0, giveTail(set, &record));
        in.record = record;
        Outcome expected = set.model.write(set.model.handle(0), in, FileModel::Write::kPlain);
        settle("iswrite before the log", expected, iswrite(fd, reinterpret_cast<char *>(record.data())), record);
        if (random_.percent(20)) {
            long rec = someRecnum(set.model);
            in = prepare({}, 0, 0);
            expected = set.model.deleteRecord(set.model.handle(0), in, rec);
            settle("isdelrec before the log", expected, isdelrec(fd, rec), {});
        }
    }
    if (isclose(fd) != 0) fail("a file that cannot be made");
    set.model.removeHandle(0);
    return !failed_;
}

bool TxnDriver::makeFiles() {
    std::filesystem::create_directory(livePath_);
    int files = random_.between(2, 4);
    for (int i = 0; i < files; ++i)
        if (!makeFile(newName(), random_.between(0, 25), false)) return false;
    if (random_.percent(60) && !makeFile(newName(), 5, true)) return false;
    copyFiles(livePath_, initialPath_);
    initial_ = world_;
    if (islogopen(logPath_.c_str()) != 0) fail("the log cannot be opened");
    world_.identified = random_.percent(50);
    become(0);
    isTxnInit(world_.identified ? callerNow : nullptr);
    return !failed_;
}

// --------------------------------------------------------------------- run

void TxnDriver::takeSnapshot() { snapshots_.push_back({world_, slurp(logPath_)}); }

void TxnDriver::become(int who) {
    world_.who = who;
    caller = static_cast<short>(who);
}

bool TxnDriver::finish() {
    if (world_.inTransaction() && random_.percent(50)) end();
    if (failed_ || !compareAll(world_, false)) return false;
    iscleanup();
    world_.cleanUp();
    for (int who : kCallers) {
        become(who);
        if (!world_.inTransaction()) continue;
        if (iscommit() != 0) fail("iscommit with all closed: iserrno " + std::to_string(iserrno));
        world_.commit();
    }
    islogclose();
    if (failed_ || !compareLog() || !compareTrails()) return false;
    takeSnapshot();
    for (const Snapshot &snapshot : snapshots_)
        if (!recover(snapshot)) return false;
    return !failed_;
}

void TxnDriver::step() {
    if (world_.identified && random_.percent(25)) become(kCallers[random_.below(3)]);
    struct Choice {
        int weight;
        void (TxnDriver::*call)();
    };
    static const Choice choices[] = {
        {18, &TxnDriver::write},    {12, &TxnDriver::rewrite},  {10, &TxnDriver::erase},
        {8, &TxnDriver::read},      {12, &TxnDriver::open},     {8, &TxnDriver::close},
        {3, &TxnDriver::release},   {2, &TxnDriver::unique},    {3, &TxnDriver::changeIndexes},
        {1, &TxnDriver::build},     {1, &TxnDriver::eraseFile}, {1, &TxnDriver::renameFile},
        {2, &TxnDriver::useParked}, {9, &TxnDriver::begin},     {5, &TxnDriver::end},
        {1, &TxnDriver::rebuild},   {1, &TxnDriver::cluster},   {2, &TxnDriver::clone},
    };
    int total = 0;
    for (const Choice &choice : choices)
        total += choice.weight;
    int pick = random_.below(total);
    const Choice *chosen = choices;
    while (pick >= chosen->weight)
        pick -= (chosen++)->weight;
    (this->*chosen->call)();
    ++statistics_->steps;
}

bool TxnDriver::run(int steps) {
    if (!makeFiles()) return false;
    for (int i = 0; i < steps && !failed_; ++i) {
        step();
        if (i == steps / 3 || i == steps * 2 / 3) takeSnapshot();
    }
    return !failed_ && finish();
}

}  // namespace model
