#include "table.h"

#include "status.h"

#include <filesystem>
#include <fstream>
#include <ostream>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace api {

namespace {

// A handle's notes of its locks have room for so many records.
constexpr long kMostLocks = 32760;

// Characters that nothing is told by.
const std::string kPrimedStatus = "78";

}  // namespace

void PrintTo(const Globals &globals, std::ostream *out) {
    *out << "iserrno " << globals.error << " iserrio 0x" << std::hex << globals.io << std::dec << " isrecnum "
         << globals.recnum << " isreclen " << globals.reclen;
}

void PrintTo(const Error &error, std::ostream *out) { *out << error.call << " " << error.code << " " << error.when; }

Globals globals() {
    EXPECT_EQ(status(), iserrno == kPrimed.error ? kPrimedStatus : statusOf(iserrno)) << "iserrno " << iserrno;
    return {iserrno, iserrio, isrecnum, isreclen};
}

void prime() {
    iserrno = kPrimed.error;
    isstat1 = kPrimedStatus[0];
    isstat2 = kPrimedStatus[1];
    iserrio = kPrimed.io;
    isrecnum = kPrimed.recnum;
    isreclen = kPrimed.reclen;
}

Beside &beside() {
    static Beside one;
    return one;
}

const Family &wholeTable() {
    static const Family whole = [] {
        Family all;
        for (Family (*const family)() :
             {buildFamily, openFamily, indexFamily, readFamily, startFamily, writeFamily, rewriteFamily, deleteFamily,
              lockFamily, transactionFamily, auditFamily, wholeFamily, copyFamily, clusterFamily, checkFamily,
              rebuildFamily, infoFamily, lookFamily, numberFamily}) {
            const Family rows = family();
            appendRows(&all.calls, rows.calls);
            appendRows(&all.nulls, rows.nulls);
            appendRows(&all.errors, rows.errors);
        }
        return all;
    }();
    return whole;
}

int Bench::usual(int mode) {
    if (!exists(path("file.idx"))) {
        const int fd = build();
        for (const long id : {1, 2, 3})
            put(fd, row(id, "name" + std::to_string(id), static_cast<int>(id)));
        add(fd, nameKey());
        EXPECT_OK(isclose(fd));
    }
    const int fd = again(mode);
    EXPECT_OK(isgoto(fd, 2));
    return fd;
}

void Bench::layBeside() {
    beside() = {buildNamed(path("beside")), path("beside"), path("fresh"), log()};
    add(beside().fd, nameKey());
}

std::pair<int, long> Bench::place(int fd) {
    int index = -1;
    long number = -1;
    if (isqv_name(fd) != nullptr) EXPECT_OK(ispush(fd, &index, &number));
    return {index, number};
}

void Bench::fails(int fd, const After &after, const std::function<long()> &call) {
    const auto before = place(fd);
    prime();
    const long result = call();
    const Globals found = globals();
    done_ = true;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(found, (Globals{code_, after.io, after.recnum, after.reclen}));
    if (isqv_name(fd) == nullptr) return;
    EXPECT_EQ((Globals{*is_errno(fd), *is_errio(fd), *is_recnum(fd), *is_reclen(fd)}), found);
    EXPECT_EQ(place(fd) != before, after.moves);
}

void Bench::expectSuccess(const TableCall &call, long result) {
    Globals expected = kPrimed;
    const Globals found = globals();
    if (call.sets == Sets::kError || call.sets == Sets::kOpened || call.sets == Sets::kAll) expected.error = 0;
    if (call.sets == Sets::kAll) expected.io = 0;
    if (call.sets == Sets::kOpened || call.sets == Sets::kAll) {
        expected.recnum = call.recnum;
        expected.reclen = call.reclen;
    }
    EXPECT_EQ(found, expected);
    if (call.good == kDescriptor)
        EXPECT_NE(isqv_name(static_cast<int>(result)), nullptr) << result;
    else
        EXPECT_EQ(result, call.good);
}

void Bench::clear() {
    EXPECT_OK(iscleanup());
    for (const auto &file : std::filesystem::directory_iterator(directory()))
        std::filesystem::remove(file.path());
    dontCheck();
}

void Bench::forgetRecovery() {
    constexpr int kInFront = 20;
    const std::string name = path("recovered");
    EXPECT_OK(isclose(buildNamed(name)));
    std::vector<int> inFront;
    for (int i = 0; i < kInFront; ++i)
        inFront.push_back(isopen(name.c_str(), ISINPUT));
    LogWriter().add("FO", fileBody(5, name)).add("SU", uniqueBody(5, 1)).save(path("recovered.log"));
    EXPECT_OK(islogopen(path("recovered.log").c_str()));
    EXPECT_EQ(isrecover(), 0);
    EXPECT_OK(islogclose());
    for (const int fd : inFront)
        EXPECT_OK(isclose(fd));
}

void Bench::hold(int fd, long number) {
    const auto before = place(fd);
    Row got;
    EXPECT_OK(isgoto(fd, number));
    EXPECT_OK(isread(fd, got, ISCURR | ISLOCK));
    EXPECT_OK(ispop(fd, before.first, before.second));
}

void Bench::fillLog() const {
    // Sparse. Offsets in the log have 32 bits.
    std::error_code failed;
    std::filesystem::resize_file(log(), std::uintmax_t{1} << 32, failed);
    ASSERT_FALSE(failed) << failed.message();
}

int Bench::withAllLocks(int mode) {
    EXPECT_OK(isclose(build(mode, noKey())));
    fillSlots(kMostLocks + 3);
    const int fd = again(mode);
    Row got;
    for (long i = 0; i < kMostLocks; ++i)
        if (isread(fd, got, ISNEXT | ISLOCK) != 0) {
            ADD_FAILURE() << "lock " << i << ": iserrno " << iserrno;
            break;
        }
    return fd;
}

void Bench::fillSlots(long count) const {
    std::string slots;
    for (long id = 1; id <= count; ++id)
        slots += std::string(row(id).bytes, kRowLen) + '\n';
    patchFile(path("file.dat"), 0, slots);
    patchHeader(kLastRecordAt, count);
}

void Bench::touch(const std::string &name) const { const std::ofstream made(name); }

void Bench::patchHeader(std::size_t offset, long value) const {
    patchFile(path("file.idx"), offset, long4(static_cast<unsigned long>(value)));
}

void Bench::TearDown() {
    isTxnInit(nullptr);
    beside() = {};
    AuditTest::TearDown();
}

Neighbour::Neighbour(const std::function<bool()> &steps) {
    int ready[2], hold[2];
    if (pipe(ready) != 0 || pipe(hold) != 0) return;
    pid_ = fork();
    char sign = 0;
    if (pid_ == 0) {
        close(ready[0]);
        close(hold[1]);
        sign = steps() ? 'y' : 'n';
        if (write(ready[1], &sign, 1) == 1 && read(hold[0], &sign, 1) == 0) _exit(0);
        _exit(1);
    }
    close(ready[1]);
    close(hold[0]);
    hold_ = hold[1];
    EXPECT_EQ(read(ready[0], &sign, 1), 1);
    EXPECT_EQ(sign, 'y');
    close(ready[0]);
}

Neighbour::~Neighbour() {
    close(hold_);
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
    EXPECT_EQ(status, 0);
}

}  // namespace api
