// bench_instructions SUBJECT OPERATION COUNT RECORDS: so many operations on the prepared files in the directory, all of
// them warm but the first thousand. bench/instructions counts what they take.
#include "subject.h"

#include <cstdio>
#include <cstdlib>

namespace bench {
namespace {

constexpr std::uint64_t kWarm = 1000;

void operate(Subject &subject, const std::string &operation, std::uint64_t count, std::uint64_t records) {
    const Shape &shape = shapeNamed("two");
    subject.expect(records);
    subject.open(shape);
    Draft draft(shape.length());
    std::vector<char> record(static_cast<std::size_t>(shape.length()));
    if (operation == "next" && !subject.first(record.data())) throw Failure("no record");
    const Permutation lot(records);
    for (std::uint64_t i = 0; i < count + kWarm; ++i) {
        const std::uint64_t number = kSpacing * lot(i % records);
        bool well;
        if (operation == "hit")
            well = subject.find(stepOf(number, records), record.data());
        else if (operation == "miss")
            well = !subject.find(stepOf(number + kNever, records), record.data());
        else if (operation == "next")
            well = subject.next(record.data());
        else if (operation == "write") {
            const Step step = stepOf(number + 1, records);
            well = subject.insert(step, draft.with(step));
        } else if (operation == "rewrite") {
            const Step step = stepOf(number, records);
            well = subject.rewrite(step, draft.with(step), false);
        } else
            throw Failure("no such operation: " + operation);
        if (!well) throw Failure(operation + " has another result than it should");
    }
    subject.close();
}

}  // namespace
}  // namespace bench

int main(int argc, char **argv) {
    try {
        if (argc != 5) throw bench::Failure("SUBJECT OPERATION COUNT RECORDS");
        bench::operate(*bench::subjectNamed(argv[1]).make(), argv[2], std::strtoull(argv[3], nullptr, 10),
                       std::strtoull(argv[4], nullptr, 10));
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "bench_instructions: %s\n", failure.what());
        return 1;
    }
    return 0;
}
