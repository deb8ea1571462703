#include "check_sweep.h"

#include "isam.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace api {

namespace {

constexpr unsigned kSeconds = 30;  // more than any case takes, under sanitizers too

// What the child tells, however it ends.
struct Progress {
    int at = 0;
    int stopped = 0;
    char message[120] = {};
};
Progress *shared = nullptr;

void noteStop(char *message) {
    shared->stopped = 1;
    std::strncpy(shared->message, message, sizeof shared->message - 1);
}

[[noreturn]] void runFrom(int first, int count, const std::function<void(int)> &one) {
    isfatal(noteStop);
    for (int i = first; i < count; ++i) {
        shared->at = i;
        alarm(kSeconds);
        one(i);
        if (testing::Test::HasFailure()) {
            std::fflush(nullptr);
            _exit(2);
        }
    }
    _exit(0);
}

void putNumber(testing_support::Damage &damage, std::int64_t offset, std::uint32_t value, int width) {
    for (int i = 0; i < width; ++i)
        damage.indexByte(offset + i, static_cast<std::uint8_t>(value >> (8 * (width - 1 - i))));
}

}  // namespace

void scatterDamage(testing_support::Damage &damage, Dice &dice, const std::vector<std::uint32_t> &nodes) {
    constexpr std::int64_t size = 1024;
    const testing_support::Damage::Contents now = damage.contents();
    const auto all = static_cast<std::uint32_t>(now.index.size() / size);
    const auto among = [&] {
        return nodes.empty() ? 1 + dice.below(all) : nodes[dice.below(static_cast<std::uint32_t>(nodes.size()))];
    };
    const std::uint32_t odd[] = {0, 1, 2, among(), among(), all, all + 1, 0x7fffffff, 0xffffffff, 0x80000000};
    const auto oddNumber = [&] {
        return odd[dice.below(sizeof odd / sizeof *odd)];
    };
    for (std::uint32_t changes = 1 + dice.below(3); changes > 0; --changes) {
        const std::int64_t start = (std::int64_t{among()} - 1) * size;
        const std::int64_t used =
            now.index[static_cast<std::size_t>(start)] * 256 + now.index[static_cast<std::size_t>(start) + 1];
        const std::int64_t within = used > 2 && used < size ? used : 100;
        const bool anywhere = nodes.empty();
        switch (dice.below(anywhere ? 12 : 7)) {
        case 0:  // a byte in use
        case 1: damage.indexByte(start + dice.upTo(within - 1), static_cast<std::uint8_t>(dice.below(256))); break;
        case 2:  // a number in use
        case 3: putNumber(damage, start + dice.upTo(within - 4), oddNumber(), 4); break;
        case 4: putNumber(damage, start, dice.below(2) != 0 ? dice.below(1100) : oddNumber(), 2); break;
        case 5:  // the last bytes: mark and level
            damage.indexByte(start + size - 4 + dice.upTo(3), static_cast<std::uint8_t>(dice.below(256)));
            break;
        case 6: {  // another node's bytes
            const std::int64_t from = (std::int64_t{among()} - 1) * size;
            for (std::int64_t i = 0; i < size; ++i)
                damage.indexByte(start + i, now.index[static_cast<std::size_t>(from + i)]);
            break;
        }
        case 7:  // the header
            damage.indexByte(dice.upTo(90), static_cast<std::uint8_t>(dice.below(256)));
            break;
        case 8: putNumber(damage, 13 + 4 * dice.upTo(17), oddNumber(), 4); break;
        case 9:
        case 10:
            if (!now.data.empty())
                damage.dataByte(dice.upTo(static_cast<std::int64_t>(now.data.size()) - 1),
                                static_cast<std::uint8_t>(dice.below(256)));
            break;
        default:
            if (dice.below(4) != 0) break;
            if (dice.below(2) != 0)
                damage.cutIndex(dice.upTo(static_cast<std::int64_t>(now.index.size())));
            else if (!now.data.empty())
                damage.cutData(dice.upTo(static_cast<std::int64_t>(now.data.size())));
            return;
        }
    }
}

int sweep(int count, const std::function<void(int)> &one, std::vector<std::string> *messages) {
    void *memory = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(memory, MAP_FAILED);
    shared = new (memory) Progress();
    int stops = 0;
    // Told at the end: a child that inherits a failure takes it for its own.
    std::vector<std::string> lost;
    for (int next = 0; next < count && lost.size() < 5; next = shared->at + 1) {
        shared->stopped = 0;
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) runFrom(next, count, one);
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) break;
        if (WIFEXITED(status) && WEXITSTATUS(status) == 1 && shared->stopped != 0) {
            ++stops;
            if (messages != nullptr) messages->push_back(shared->message);
            continue;
        }
        lost.push_back("case " + std::to_string(shared->at) + " ended its process with status " +
                       std::to_string(status));
    }
    munmap(memory, sizeof(Progress));
    for (const std::string &each : lost)
        ADD_FAILURE() << each;
    return stops;
}

}  // namespace api
