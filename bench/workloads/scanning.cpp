// Reads one record after the other: in key order, through one view held for all of it, in record-number order, and in
// key order of a file that lies in it.
#include "../workload.h"

#include <cstring>

namespace bench {
namespace {

constexpr std::uint64_t kReads = 50000;
constexpr std::uint64_t kLookedAt = 64;  // every so many records one is compared with what was written

// In key order each record is checked against the one before it.
enum class Order { Keys, Records };

void scan(Task &task, bool forward, Order order) {
    const std::uint64_t count = task.operations(kReads);
    std::vector<char> record = task.buffer();
    char before[kKey];
    const bool keeps = task.subject.keepsRecords();
    const auto read = [&](bool fresh) {
        Subject &subject = task.subject;
        const bool found = fresh     ? (forward ? subject.first(record.data()) : subject.last(record.data()))
                           : forward ? subject.next(record.data())
                                     : subject.previous(record.data());
        require(found, "a scan ends early");
    };
    const auto verify = [&](std::uint64_t done) {
        require(whole(record.data(), task.shape.length()), "a scan meets a torn record");
        if (done % kLookedAt == 0)
            require(genuine(record.data(), task.shape.length()), "a scan meets a record that was not written");
        if (order == Order::Records) return;
        const int compared = done == 1 ? 0 : std::memcmp(record.data(), before, kKey);
        require(done == 1 || (forward ? compared > 0 : compared < 0), "a scan leaves the order");
        std::memcpy(before, record.data(), kKey);
    };
    for (Meter warming(count, task.seconds); warming.more();)
        read(warming.done() == 1);
    Meter meter(count, task.seconds);
    while (meter.more()) {
        read(meter.done() == 1);
        if (keeps) verify(meter.done());
    }
    task.report("", meter.stop(), meter.done());
    if (!keeps) return;
    // A file that has been read to its end has no more.
    if (meter.done() == task.records && task.batch == 0)
        require(!(forward ? task.subject.next(record.data()) : task.subject.previous(record.data())),
                "a scan finds more records than there are");
}

void forward(Task &task) { scan(task, true, Order::Keys); }

void backward(Task &task) { scan(task, false, Order::Keys); }

void held(Task &task) {
    task.subject.holdScan();
    scan(task, true, Order::Keys);
}

void recordsForward(Task &task) {
    task.subject.inRecordOrder();
    scan(task, true, Order::Records);
}

void recordsBackward(Task &task) {
    task.subject.inRecordOrder();
    scan(task, false, Order::Records);
}

}  // namespace

std::vector<Workload> scanningWorkloads() {
    return {
        {"forward", "scan", "read next in key order", "two", kSecondIndex | kOrdered, kNoLimit, false, true, false,
         forward},
        {"backward", "scan", "read previous in key order", "two", kSecondIndex | kOrdered, 1000000, false, false, false,
         backward},
        {"held", "scan", "read next in key order, one view held", "two", kSecondIndex | kHeldScan, 1000000, false,
         false, false, held},
        {"records-forward", "scan", "read next in record-number order", "two", kRecordOrder, 1000000, false, false,
         false, recordsForward},
        {"records-backward", "scan", "read previous in record-number order", "two", kRecordOrder, 1000000, false, false,
         false, recordsBackward},
        {"clustered", "scan", "read next in key order, file clustered by it", "clustered", kRecordOrder, 1000000, false,
         false, false, forward},
    };
}

}  // namespace bench
