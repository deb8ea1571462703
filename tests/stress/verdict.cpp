#include "verdict.h"

#include "record.h"

#include "process/raw_file.h"
#include "support/file_check.h"

#include <array>

namespace stress {
namespace {

using testing_support::Bytes;

// Room that has been lost, and numbers that nothing uses: what a kill may leave where the checks find nothing.
bool isLeak(const std::string &problem) {
    static const char *const leaks[] = {"belongs to nothing", "used, but no record has it",   "index file: ",
                                        "data file: ",        "free bytes that are not zero", "is not zero"};
    for (const char *leak : leaks)
        if (problem.find(leak) != std::string::npos) return true;
    return false;
}

}  // namespace

std::string verdict(const Journal &journal, const std::string &base, bool leaks) {
    testing_support::FileReader reader(base);
    const testing_support::CheckReport report = testing_support::checkFiles(reader);
    for (const std::string &problem : report.problems)
        if (!leaks || !isLeak(problem)) return problem;
    std::array<int, kKeys> met{};
    int records = 0;
    for (std::size_t i = 0; i < report.tails.size(); ++i) {
        Bytes slot;
        if (!reader.slot(static_cast<long>(i + 1), &slot) || slot[kFixed] != 0x0a) continue;
        Bytes record(slot.begin(), slot.begin() + kFixed);
        record.insert(record.end(), report.tails[i].begin(), report.tails[i].end());
        record.resize(record.size() + 8);
        Facts facts;
        const auto *text = reinterpret_cast<const char *>(record.data());
        if (!parse(text, static_cast<int>(record.size()) - 8, &facts))
            return "record " + std::to_string(i + 1) + " is torn";
        if (facts.key < 0 || facts.key >= kKeys || ++met[static_cast<std::size_t>(facts.key)] != 1)
            return "key " + std::to_string(facts.key) + " is there more than once";
        if (know(journal.keys[facts.key]).image != facts.image())
            return "key " + std::to_string(facts.key) + " has version " + std::to_string(facts.version) + ":\n" +
                   extract(journal, facts.key, 40);
        ++records;
    }
    for (int key = 0; key < kKeys; ++key)
        if (journal.keys[key].version != 0 && met[static_cast<std::size_t>(key)] == 0)
            return "key " + std::to_string(key) + " is not there:\n" + extract(journal, key, 40);
    for (const auto &leaves : report.leaves)
        if (static_cast<int>(leaves.size()) != records) return "an index has not every record";
    return "";
}

std::string locksLeft(const std::string &base, int pid) {
    for (const char *kind : {".idx", ".dat"})
        for (const process_testing::HeldLock &lock : process_testing::RawFile(base + kind).held())
            if (pid == 0 || lock.pid == pid)
                return base + kind + ": process " + std::to_string(lock.pid) + " has a lock at " +
                       std::to_string(lock.start) + " for " + std::to_string(lock.length);
    return "";
}

}  // namespace stress
