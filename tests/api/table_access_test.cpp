// Every call through handles of every access and every lock mode: allowed or refused, and what it sets.
#include "table.h"

#include <cerrno>

#include "isam_maint.h"

namespace api {
namespace {

struct Modes {
    const char *name;
    int access, lock;
};
void PrintTo(const Modes &modes, std::ostream *out) { *out << modes.name; }

class TableAccess : public Bench, public testing::WithParamInterface<Modes> {};

bool allows(Needs needs, int access) {
    switch (needs) {
    case Needs::kRead: return access != ISOUTPUT;
    case Needs::kWrite: return access != ISINPUT;
    case Needs::kBoth: return access == ISINOUT;
    default: return true;
    }
}

// The code that the call fails with, 0 for none.
int expectedCode(const TableCall &call, const Modes &modes) {
    if (call.refusal != nullptr) return call.refusal(modes.access, modes.lock);
    if (!allows(call.needs, modes.access)) return ISERR_ARGUMENT;
    return modes.lock == ISLOCKNONE && call.lockless != 0 ? EBADF : 0;
}

void expectRefusal(const TableCall &call, int fd, int code) {
    const auto before = Bench::place(fd);
    const int io = code == EBADF ? call.lockless : 0;
    prime();
    EXPECT_EQ(call.run(fd), -1);
    const bool moves = code == EBADF && call.steps != 0;
    const Globals found = globals(), own = {code, io, moves ? call.steps : kPrimed.recnum, kPrimed.reclen};
    if (call.sets == Sets::kOwn) {
        EXPECT_EQ(found, kPrimed);
        EXPECT_EQ(*is_errno(fd), code);
        EXPECT_EQ(*is_errio(fd), io);
    } else {
        EXPECT_EQ(found, own);
    }
    EXPECT_EQ(Bench::place(fd), moves ? std::make_pair(before.first, call.steps) : before);
}

TEST_P(TableAccess, AllowsAndRefuses) {
    const Modes modes = GetParam();
    for (const TableCall &call : wholeTable().calls) {
        if (call.needs == Needs::kNoFile) continue;
        SCOPED_TRACE(call.name);
        layBeside();
        const int fd = usual(modes.access | modes.lock);
        const bool unread = call.unread != 0 && modes.access == ISOUTPUT;
        const int code = unread ? 0 : expectedCode(call, modes);
        if (code != 0) {
            const Image before = imageOf(base());
            expectRefusal(call, fd, code);
            EXPECT_TRUE(imageOf(base()) == before) << "a refused call has changed the file";
        } else {
            prime();
            const long result = call.run(fd);
            if (unread) {
                EXPECT_EQ(result, call.unread);
                EXPECT_EQ(globals(), kPrimed);
            } else {
                expectSuccess(call, result);
            }
        }
        clear();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Handles, TableAccess,
    testing::Values(Modes{"InputNone", ISINPUT, ISLOCKNONE}, Modes{"InputAuto", ISINPUT, ISLOCKAUTO},
                    Modes{"InputManual", ISINPUT, ISLOCKMANUAL}, Modes{"InputExclusive", ISINPUT, ISLOCKEXCL},
                    Modes{"OutputNone", ISOUTPUT, ISLOCKNONE}, Modes{"OutputAuto", ISOUTPUT, ISLOCKAUTO},
                    Modes{"OutputManual", ISOUTPUT, ISLOCKMANUAL}, Modes{"OutputExclusive", ISOUTPUT, ISLOCKEXCL},
                    Modes{"InOutNone", ISINOUT, ISLOCKNONE}, Modes{"InOutAuto", ISINOUT, ISLOCKAUTO},
                    Modes{"InOutManual", ISINOUT, ISLOCKMANUAL}, Modes{"InOutExclusive", ISINOUT, ISLOCKEXCL}),
    [](const auto &instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace api
