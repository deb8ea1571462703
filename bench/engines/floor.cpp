// The floor: the system calls that an operation cannot do without, and nothing else. They go to files that the library
// has made, at places drawn by the same lot, so the page cache is used alike. What stands in a node or a slot is not
// looked at: a floor finds everything.
//
// What cannot be done without follows from the promises: other processes see a change when the call returns, nobody
// sees half of one, and nothing is lost when the process is killed. Hence a lock around each operation, a look at the
// header's counters, and everything that changed handed to the system before the lock goes. Nodes are taken to be
// cached; which ones are written is what a change without a split needs. Where it can be argued about, the smaller
// floor is taken, and a comment says so.
#include "../subject.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr off_t kNode = 1024;
constexpr off_t kPhaseLength = 0x3fffffff;
constexpr off_t kHigh = 0x40000000;
constexpr off_t kLook = 25;  // in the header: from the free lists to the change counter and the next unique id
constexpr std::size_t kLookBytes = 28;
constexpr int kTailPointer = 6;     // bytes that a slot has more when there are tails
constexpr int kLogFrame = 28;       // bytes around a record in the log, about
constexpr int kBlock = 256 * 1024;  // of reads and writes of whole files

class Floor : public Subject {
  public:
    void beginLoading(const Shape &) override { throw Failure("the floor takes the library's files"); }
    void open(const Shape &shape, bool transactions) override;
    void close() override;
    bool find(const Step &step, char *record) override;
    bool insert(const Step &step, char *record) override;
    bool rewrite(const Step &step, char *record, bool keyChanges) override;
    bool remove(const Step &step, char *record) override;
    bool first(char *record) override;
    bool last(char *record) override;
    bool next(char *record) override;
    bool previous(char *record) override;
    bool start(const Step &step, int bytes) override;
    void inRecordOrder() override { recordOrder_ = true; }
    bool findSecond(const Step &step, char *record) override { return find(step, record); }
    void begin() override;
    void commit() override;
    void addIndex() override;
    void check() override;
    void cluster() override;
    void prepareRecovery(const Shape &shape) override;
    void recover() override;
    bool keepsRecords() const override { return false; }

    void bareLock() override;

  private:
    static void lock(int fd, short type, off_t start, off_t length, int command = F_SETLKW);
    void lockShared() { lock(index_, F_RDLCK, 0, kPhaseLength); }
    void lockExclusive() { lock(index_, F_WRLCK, 0, kPhaseLength); }
    void unlock() { lock(index_, F_UNLCK, 0, kPhaseLength, F_SETLK); }
    static void get(int fd, void *bytes, std::size_t count, off_t offset);
    static void put(int fd, const void *bytes, std::size_t count, off_t offset);
    static off_t sizeOf(int fd);
    void look() { get(index_, header_.data(), kLookBytes, kLook); }
    void testRecord(std::uint64_t slot);
    void getSlot(std::uint64_t slot, char *record);
    void putSlot(std::uint64_t slot, const char *record);
    void putNode(std::uint64_t node) { put(index_, node_.data(), node_.size(), static_cast<off_t>(node) * kNode); }
    void putNodes(int count);
    // The list of free numbers goes on in one node for long, and so do keys that come in order.
    void putListNode() { putNode(nodes_ - 1); }
    void putLastLeaf() { putNode(nodes_ - 2); }
    void putHeader() { put(index_, header_.data(), header_.size(), 0); }
    void getTail(char *record);
    void putTail(const char *record);
    void append(std::size_t count);
    void appendLinked(std::size_t count);
    std::uint64_t slotOf(const Step &step) const { return (step.number / kSpacing) % records_; }
    std::uint64_t place() const;
    static void readAll(int fd);
    static void writeAll(const char *name, off_t size);
    int trees() const { return shape_->second ? 2 : 1; }

    const Shape *shape_ = nullptr;
    int index_ = -1, data_ = -1, log_ = -1;
    off_t slotBytes_ = 0;
    std::uint64_t end_ = 0;    // slots
    std::uint64_t nodes_ = 0;  // of the index file
    std::uint64_t drawn_ = 0, position_ = 0;
    bool recordOrder_ = false;
    std::array<char, kNode> header_{}, node_{};
    std::vector<char> slot_;
};

void Floor::lock(int fd, short type, off_t start, off_t length, int command) {
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = length;
    while (fcntl(fd, command, &range) != 0)
        if (errno != EINTR) throw Failure(std::string("fcntl: ") + std::strerror(errno));
}

void Floor::get(int fd, void *bytes, std::size_t count, off_t offset) {
    if (pread(fd, bytes, count, offset) != static_cast<ssize_t>(count)) throw Failure("pread is short");
}

void Floor::put(int fd, const void *bytes, std::size_t count, off_t offset) {
    if (pwrite(fd, bytes, count, offset) != static_cast<ssize_t>(count)) throw Failure("pwrite is short");
}

off_t Floor::sizeOf(int fd) {
    struct stat status;
    if (fstat(fd, &status) != 0) throw Failure("fstat");
    return status.st_size;
}

// Both files opened, the open lock; under the phase lock the header and one node with the indexes' descriptions.
void Floor::open(const Shape &shape, bool transactions) {
    shape_ = &shape;
    index_ = ::open("data.idx", O_RDWR | O_CLOEXEC);
    data_ = ::open("data.dat", O_RDWR | O_CLOEXEC);
    if (index_ < 0 || data_ < 0) throw Failure("the library's files are not there");
    if (transactions && log_ < 0) log_ = ::open("log", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    lock(index_, F_RDLCK, kHigh, kPhaseLength, F_SETLK);
    lockShared();
    get(index_, header_.data(), header_.size(), 0);
    get(index_, node_.data(), node_.size(), kNode);
    unlock();
    if (nodes_ != 0) return;
    slotBytes_ = kRecord + 1 + (shape.tail > 0 ? kTailPointer : 0);
    slot_.resize(static_cast<std::size_t>(slotBytes_));
    end_ = static_cast<std::uint64_t>(sizeOf(data_) / slotBytes_);
    nodes_ = static_cast<std::uint64_t>(sizeOf(index_) / kNode);
}

// Closing lets go of the locks.
void Floor::close() {
    if (::close(index_) != 0 || ::close(data_) != 0) throw Failure("close");
}

std::uint64_t Floor::place() const {
    return recordOrder_ || shape_->clustered ? position_ : mixed(position_) % records_;
}

void Floor::testRecord(std::uint64_t slot) {
    const off_t byte = kHigh + static_cast<off_t>(slot) + 1;
    lock(data_, F_WRLCK, byte, 1, F_SETLK);
    lock(data_, F_UNLCK, byte, 1, F_SETLK);
}

void Floor::getSlot(std::uint64_t slot, char *record) {
    get(data_, slot_.data(), slot_.size(), static_cast<off_t>(slot) * slotBytes_);
    std::memcpy(record, slot_.data(), kRecord);
}

void Floor::putSlot(std::uint64_t slot, const char *record) {
    std::memcpy(slot_.data(), record, kRecord);
    put(data_, slot_.data(), slot_.size(), static_cast<off_t>(slot) * slotBytes_);
}

// Leaves, each at a place of its own.
void Floor::putNodes(int count) {
    for (int i = 0; i < count; ++i)
        putNode(2 + mixed(++drawn_) % (nodes_ - 2));
}

// One call, as if a long tail's nodes lay side by side; that they need not is what makes this the smaller floor.
void Floor::getTail(char *record) {
    if (shape_->tail == 0) return;
    const std::uint64_t whole = static_cast<std::uint64_t>(shape_->tail) / kNode + 1;
    std::array<char, 8 * kNode> nodes;
    get(index_, nodes.data(), whole * kNode, static_cast<off_t>(2 + mixed(++drawn_) % (nodes_ - 2 - whole)) * kNode);
    std::memcpy(record + kRecord, nodes.data(), static_cast<std::size_t>(shape_->tail));
}

void Floor::putTail(const char *record) {
    if (shape_->tail == 0) return;
    const std::uint64_t whole = static_cast<std::uint64_t>(shape_->tail) / kNode + 1;
    std::array<char, 8 * kNode> nodes{};
    std::memcpy(nodes.data(), record + kRecord, static_cast<std::size_t>(shape_->tail));
    put(index_, nodes.data(), whole * kNode, static_cast<off_t>(2 + mixed(++drawn_) % (nodes_ - 2 - whole)) * kNode);
}

// Several processes append to one log.
void Floor::append(std::size_t count) {
    if (write(log_, node_.data(), count) != static_cast<ssize_t>(count)) throw Failure("write is short");
}

// The next record of the transaction tells where this one is.
void Floor::appendLinked(std::size_t count) {
    lock(log_, F_WRLCK, 0, 1);
    if (lseek(log_, 0, SEEK_END) < 0) throw Failure("lseek");
    append(count);
    lock(log_, F_UNLCK, 0, 1, F_SETLK);
}

void Floor::bareLock() {
    lockShared();
    unlock();
}

bool Floor::find(const Step &step, char *record) {
    lockShared();
    look();
    const bool there = step.number % kSpacing != kNever;
    if (there) {
        getSlot(slotOf(step), record);
        getTail(record);
    }
    unlock();
    return there;
}

bool Floor::insert(const Step &step, char *record) {
    lockExclusive();
    look();
    // What has been deleted is written into its old place: its number comes off the free list.
    const bool again = step.number % kSpacing == 0 && step.number / kSpacing < records_;
    const std::uint64_t slot = again ? slotOf(step) : end_++;
    if (log_ >= 0) lock(data_, F_WRLCK, kHigh + static_cast<off_t>(slot) + 1, 1, F_SETLK);
    putSlot(slot, record);
    // The last node of a tail is shared: what others have in it is read first.
    if (shape_->tail > 0)
        get(index_, node_.data(), node_.size(), static_cast<off_t>(2 + drawn_ % (nodes_ - 2)) * kNode);
    putTail(record);
    const bool behind = step.number / kSpacing >= records_;
    if (behind) putLastLeaf();
    putNodes(trees() - (behind ? 1 : 0));
    if (again) putListNode();
    putHeader();
    if (log_ >= 0) appendLinked(kRecord + kLogFrame);
    unlock();
    return true;
}

bool Floor::rewrite(const Step &step, char *record, bool keyChanges) {
    const std::uint64_t slot = slotOf(step);
    lockExclusive();
    look();
    testRecord(slot);
    std::array<char, 8 * kNode> old;
    getSlot(slot, old.data());
    getTail(old.data());
    // Out of one leaf and into another.
    if (keyChanges) putNodes(2);
    putTail(record);
    putSlot(slot, record);
    putHeader();
    unlock();
    return true;
}

bool Floor::remove(const Step &step, char *) {
    const std::uint64_t slot = slotOf(step);
    lockExclusive();
    look();
    testRecord(slot);
    char old[kRecord];
    getSlot(slot, old);
    put(data_, "", 1, static_cast<off_t>(slot) * slotBytes_ + slotBytes_ - 1);
    putNodes(trees());
    putHeader();
    putListNode();
    unlock();
    return true;
}

bool Floor::first(char *record) {
    position_ = 0;
    lockShared();
    look();
    getSlot(place(), record);
    unlock();
    return true;
}

bool Floor::last(char *record) {
    position_ = records_;
    return previous(record);
}

bool Floor::next(char *record) {
    position_ = (position_ + 1) % records_;
    lockShared();
    look();
    getSlot(place(), record);
    unlock();
    return true;
}

bool Floor::previous(char *record) {
    position_ = (position_ + records_ - 1) % records_;
    lockShared();
    look();
    getSlot(place(), record);
    unlock();
    return true;
}

bool Floor::start(const Step &step, int) {
    position_ = slotOf(step);
    lockShared();
    look();
    unlock();
    return true;
}

// Its beginning is a record of the log as well.
void Floor::begin() { appendLinked(kLogFrame); }

// All locks of a transaction's records go in one call, over the whole range: the smaller floor.
void Floor::commit() {
    lock(log_, F_WRLCK, 0, 1);
    append(kLogFrame);
    lock(log_, F_UNLCK, 0, 1, F_SETLK);
    lock(data_, F_UNLCK, kHigh, kPhaseLength, F_SETLK);
}

void Floor::readAll(int fd) {
    std::vector<char> block(kBlock);
    off_t at = 0;
    for (ssize_t count = 1; count > 0; at += count)
        if ((count = pread(fd, block.data(), block.size(), at)) < 0) throw Failure("pread");
}

void Floor::writeAll(const char *name, off_t size) {
    const std::vector<char> block(kBlock, 'x');
    const int fd = ::open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) throw Failure("open");
    for (off_t at = 0; at < size; at += kBlock)
        put(fd, block.data(), static_cast<std::size_t>(std::min<off_t>(kBlock, size - at)), at);
    if (::close(fd) != 0) throw Failure("close");
}

// The records are read in large blocks, the nodes of the new index, about three quarters full, written so.
void Floor::addIndex() {
    lockExclusive();
    readAll(data_);
    const off_t entry = kOther + 4;
    writeAll("added", static_cast<off_t>(records_) * entry * 4 / 3);
    unlock();
}

// Each byte of both files is read once.
void Floor::check() {
    lockShared();
    readAll(index_);
    readAll(data_);
    unlock();
}

// Each byte of both files is read and written once.
void Floor::cluster() {
    lockExclusive();
    readAll(index_);
    readAll(data_);
    writeAll("clustered.idx", sizeOf(index_));
    writeAll("clustered.dat", sizeOf(data_));
    if (rename("clustered.idx", "data.idx") != 0 || rename("clustered.dat", "data.dat") != 0) throw Failure("rename");
    unlock();
}

void Floor::prepareRecovery(const Shape &shape) {
    shape_ = &shape;
    writeAll("log", static_cast<off_t>(records_) * (shape.length() + kLogFrame));
}

// The log is read in large blocks, and the files are written so: the indexes as if made at the end.
void Floor::recover() {
    const int log = ::open("log", O_RDONLY | O_CLOEXEC);
    readAll(log);
    ::close(log);
    const off_t records = static_cast<off_t>(records_);
    writeAll("data.dat", records * (kRecord + 1));
    writeAll("data.idx", records * (kKey + 4 + kSecond + 8) * 4 / 3);
}

}  // namespace

std::unique_ptr<Subject> makeFloor() { return std::make_unique<Floor>(); }

}  // namespace bench
