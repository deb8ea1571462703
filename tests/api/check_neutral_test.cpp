// The same work on two files, with checks and rebuilds woven into one of them: no call tells the two apart.
#include "check_sweep.h"
#include "rebuild_kinds.h"

#include <ostream>

namespace api {
namespace {

// What a call has left.
struct Outcome {
    int result, code;
    long recnum;
    std::string record;
    bool operator==(const Outcome &other) const {
        return result == other.result && code == other.code && recnum == other.recnum && record == other.record;
    }
};
void PrintTo(const Outcome &outcome, std::ostream *out) {
    *out << outcome.result << " (" << outcome.code << ") record " << outcome.recnum;
}

struct Step {
    std::uint32_t what, mode, key, length;
};

class CheckNeutral : public CheckTest, public testing::WithParamInterface<int> {
  protected:
    static KeyDesc keyOf(std::uint32_t index) {
        return index == 0 ? noKey() : index == 1 ? idKey() : index == 2 ? nameKey() : nullNote();
    }
    static KeyDesc nullNote() { return keyDesc(ISDUPS | ISNULLKEY | ISLEADCOMP, {{kNoteAt, 4, CHARTYPE, ' '}}); }
    int start(const std::string &name) {
        const int fd = buildNamed(path(name));
        add(fd, nameKey());
        add(fd, nullNote());
        for (std::uint32_t n = 0; n < 150; ++n)
            put(fd, some(n));
        return fd;
    }
    static Row some(std::uint32_t n) {
        return row(3L * n, "name " + std::to_string(n % 13), static_cast<int>(n), n % 4 == 0 ? "" : "note");
    }
    // The same steps on both files, and something between them on one.
    void work(const std::function<void(int fd)> &between, bool settled = false) {
        const int plain = start("plain"), watched = start("watched");
        Dice dice(static_cast<std::uint32_t>(GetParam()));
        std::string history;
        for (int i = 0; i < 400 && !HasFailure(); ++i) {
            const Step step = {dice.below(40), dice.below(8), dice.below(170), dice.below(4)};
            history += " " + std::to_string(step.what) + "/" + std::to_string(step.mode) + "/" +
                       std::to_string(step.key) + "/" + std::to_string(step.length);
            const Outcome expected = run(plain, step);
            EXPECT_EQ(run(watched, step), expected) << "after" << history;
            EXPECT_EQ(position(watched), position(plain));
            // After a search in vain the position is a key that was looked for and a record that was not found by it.
            for (const int fd : {plain, watched})
                if (settled && expected.result != 0) EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISFIRST));
            between(watched);
        }
    }
    static Outcome run(int fd, const Step &step) {
        Row record = some(step.key);
        KeyDesc key = keyOf(step.length);
        int result = 0;
        isrecnum = step.key;
        switch (step.what) {
        case 0: result = isstart(fd, &key, 0, record, static_cast<int>(step.mode)); break;
        case 1: result = isstart(fd, &key, step.length == 0 ? 0 : 2, record, static_cast<int>(step.mode)); break;
        case 2: result = isdelcurr(fd); break;
        case 3: result = isrewcurr(fd, record); break;
        case 4: result = iswrite(fd, record); break;
        case 5: result = iswrcurr(fd, record); break;
        case 6: result = isdelrec(fd, isrecnum); break;
        case 7: result = isindex(fd, static_cast<int>(step.length), 0); break;
        default: result = isread(fd, record, static_cast<int>(step.mode)); break;
        }
        return {result, iserrno, isrecnum, std::string(record.bytes, kRowLen)};
    }
};

TEST_P(CheckNeutral, Checks) {
    work([](int fd) { EXPECT_EQ(checksOf(fd, 3), (Found{0, {0, 0, 0}, 0})); });
}

// Equal keys may change places, and other record numbers be given out first; with keys that occur once nothing shows.
TEST_P(CheckNeutral, RebuildsOfAUniqueIndex) {
    work([](int fd) { EXPECT_TRUE(rebuilds(fd, 1)); }, true);
}

INSTANTIATE_TEST_SUITE_P(Seeds, CheckNeutral, testing::Range(1, 13));

}  // namespace
}  // namespace api
