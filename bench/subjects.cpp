#include "subject.h"

#include "engines/engines.h"

namespace bench {
namespace {

constexpr unsigned kTrees = kOrdered | kSecondIndex;
constexpr unsigned kIsam = kTrees | kTransactions | kRecordOrder | kTails | kAddsIndex | kMaintenance;

}  // namespace

const std::vector<SubjectEntry> &subjects() {
    static const std::vector<SubjectEntry> kSubjects = {
        {"floor", "floor", "the unavoidable system calls alone, no work between them", nullptr, "isam",
         kIsam | kProcesses | kBareLock, true, makeFloor},
        {"isam", "isam", "several processes; a kill loses nothing done, one within a change is mended by a rebuild",
         nullptr, "isam", kIsam | kProcesses | kCompression | kHeldScan, true, makeIsam},
        {"isam-mapped", "isam, mapped", "as isam; reads go through a mapping (ISMAPPED)", nullptr, "isam",
         kIsam | kProcesses | kHeldScan, true, makeIsamMapped},
        {"isam-excl", "isam, exclusive", "as isam, but one process has the file alone (ISLOCKEXCL)", nullptr, "isam",
         kIsam & ~kMaintenance, true, makeIsamExclusive},
    };
    return kSubjects;
}

const SubjectEntry &subjectNamed(const std::string &name) {
    for (const SubjectEntry &entry : subjects())
        if (name == entry.name) return entry;
    throw Failure("no subject " + name);
}

const Shape &shapeNamed(const std::string &name) {
    static const Shape kShapes[] = {
        {"one", false, 0, 0, false},         {"two", true, 0, 0, false},      {"clustered", true, 0, 0, true},
        {"dup", true, 0, 0x02, false},       {"lead", true, 0, 0x04, false},  {"trail", true, 0, 0x08, false},
        {"all", true, 0, 0x0e, false},       {"tail50", false, 50, 0, false}, {"tail500", false, 500, 0, false},
        {"tail5000", false, 5000, 0, false}, {"empty", true, 0, 0, false},
    };
    for (const Shape &shape : kShapes)
        if (name == shape.name) return shape;
    throw Failure("no shape " + name);
}

}  // namespace bench
