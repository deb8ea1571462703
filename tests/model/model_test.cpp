// Random calls over random file shapes, the library against the model.
//
// ISAM_MODEL_SEED sets the seed of the run, ISAM_MODEL_CALLS the calls of a shape, ISAM_MODEL_SHAPES the number
// of shapes, ISAM_MODEL_SHAPE runs one shape alone, ISAM_MODEL_EVERY=1 checks the bytes after each call.
#include "driver.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace model;

long setting(const char *name, long otherwise) {
    const char *text = std::getenv(name);
    return text != nullptr && *text != '\0' ? std::strtol(text, nullptr, 10) : otherwise;
}

constexpr std::uint64_t kSeed = 20240607;
constexpr long kShapes = 72;
constexpr long kVariableShapes = 42;
constexpr long kCalls = 3000;

const char *const kCallsThatBoth[] = {
    "isread",     "isstart",       "isindex",      "isgoto",     "isdata",    "ispop",    "iswrite",
    "iswrcurr",   "iswrlock",      "isrewrite",    "isrewrec",   "isrewcurr", "isrewnxt", "isdelete",
    "isdelrec",   "isdelcurr",     "isaddindex",   "isdelindex", "isrelrec",  "islock",   "isindexinfo",
    "isuserinfo", "isRebuildFree", "isRebuildIdx", "iscluster",  "isclone",   "iscopy",   "iserase"};
const char *const kCallsThatSucceed[] = {"ispush",     "isuniqueid",  "issetunique", "isgetlastrec",
                                         "isprecious", "isisaminfo",  "isrelease",   "isunlock",
                                         "isrelcurr",  "islockcheck", "isrename"};

struct Run {
    Shape (*makeShape)(int number, std::uint64_t seed);
    long shapes;       // of the ordinary run
    long wantedCalls;  // that it makes at least
};

std::uint64_t shapeSeed(std::uint64_t seed, long number) { return seed * 1000003 + static_cast<std::uint64_t>(number); }

// The statistics of the run; complete when it was the ordinary one and without failure.
struct Result {
    RunStatistics statistics;
    bool complete = false;
};

Result play(const Run &run) {
    auto seed = static_cast<std::uint64_t>(setting("ISAM_MODEL_SEED", static_cast<long>(kSeed)));
    long calls = setting("ISAM_MODEL_CALLS", kCalls);
    long shapes = setting("ISAM_MODEL_SHAPES", run.shapes);
    long only = setting("ISAM_MODEL_SHAPE", -1);
    installFatalReport();
    Result result;
    int failures = 0;
    for (long number = 0; number < shapes; ++number) {
        if (only >= 0 && number != only) continue;
        Driver driver(run.makeShape(static_cast<int>(number), shapeSeed(seed, number)), &result.statistics);
        if (!driver.run(static_cast<int>(calls), setting("ISAM_MODEL_EVERY", 0) != 0)) {
            ADD_FAILURE() << "ISAM_MODEL_SEED=" << seed << " ISAM_MODEL_SHAPE=" << number
                          << " ISAM_MODEL_CALLS=" << calls << "\n"
                          << driver.report();
            if (++failures == 8) break;
        }
    }
    isfatal(nullptr);
    const RunStatistics &s = result.statistics;
    std::printf("%ld random calls, %ld calls of scans, %ld structural checks, %d levels, %ld answers via the path, "
                "%ld changes left out, %ld indexes taken back, %ld reopenings, %ld remnant nodes, %ld audit entries, "
                "%ld records clustered, %ld copied, %ld times taken back\n",
                s.calls, s.scanReads, s.checks, s.levels, s.viaPath, s.avoided, s.addsTakenBack, s.resets,
                s.remnantNodes, s.auditEntries, s.clusteredRecords, s.copiedRecords, s.takenBack);
    result.complete = only < 0 && failures == 0 && calls >= kCalls && shapes >= run.shapes;
    if (result.complete) EXPECT_GE(s.calls, run.wantedCalls);
    return result;
}

// A comparison that never sees a call succeed, or fail, says little about it.
void expectBothOutcomes(RunStatistics &statistics) {
    for (const char *name : kCallsThatBoth) {
        EXPECT_GT(statistics.succeeded[name], 0) << name;
        EXPECT_GT(statistics.failed[name], 0) << name;
    }
    for (const char *name : kCallsThatSucceed)
        EXPECT_GT(statistics.succeeded[name], 0) << name;
}

TEST(ModelRun, RandomCallsOverRandomShapesAgreeWithTheModel) {
    Result result = play({makeShape, kShapes, 200000});
    if (!result.complete) return;
    EXPECT_GE(result.statistics.levels, 4);
    expectBothOutcomes(result.statistics);
}

TEST(ModelRun, RandomCallsOverVariableLengthShapesAgreeWithTheModel) {
    Result result = play({makeVariableShape, kVariableShapes, 120000});
    if (!result.complete) return;
    RunStatistics &statistics = result.statistics;
    EXPECT_GE(statistics.levels, 3);
    EXPECT_GE(statistics.remnantNodes, 300);
    EXPECT_GE(statistics.auditEntries, 1000);
    expectBothOutcomes(statistics);
    EXPECT_GT(statistics.succeeded["isaudit"], 0);
    EXPECT_GT(statistics.failed["isaudit"], 0);
    EXPECT_GT(statistics.tooLong, 0);
}

TEST(ModelRun, ShapesOfTheDefaultRunCoverKeysAndModes) {
    std::set<std::string> seen;
    for (long number = 0; number < kShapes; ++number)
        seen.merge(features(makeShape(static_cast<int>(number), shapeSeed(kSeed, number))));
    std::vector<std::string> wanted = {"keys alone", "masks",       "exclusive",  "two handles", "precious",
                                       "short key",  "longest key", "many parts", "null keys",   "no primary key"};
    for (int type = CHARTYPE; type <= STRINGTYPE; ++type)
        for (const char *direction : {"", " descending"})
            wanted.push_back("type " + std::to_string(type) + direction);
    for (int flags = 0; flags < 16; ++flags)
        for (const char *kind : {"unique", "duplicates"})
            wanted.push_back(std::string(kind) + " compression " + std::to_string(flags));
    for (const std::string &word : wanted)
        EXPECT_EQ(1U, seen.count(word)) << word;
}

TEST(ModelRun, VariableLengthShapesOfTheDefaultRunCoverTailsAndModes) {
    std::set<std::string> seen;
    for (long number = 0; number < kVariableShapes; ++number)
        seen.merge(features(makeVariableShape(static_cast<int>(number), shapeSeed(kSeed, number))));
    std::vector<std::string> wanted = {"masks",         "exclusive",   "two handles",       "precious",
                                       "minimum 1",     "audit trail", "tails of one byte", "maximum 32511",
                                       "no primary key"};
    for (const char *sort : {"tail ", "compressed tail "})
        for (int length : {0, 1, 993, 994, 995, 1988, 32000})
            wanted.push_back(sort + std::to_string(length));
    for (const std::string &word : wanted)
        EXPECT_EQ(1U, seen.count(word)) << word;
}

}  // namespace
