// bench_run: prepares files, runs every workload on every subject in turns and writes what was found as JSON.
//
//   bench_run --measure PROGRAM [--quick] [--sizes N,N...] [--rounds N] [--only NAME...] [--dir DIR] [--out FILE]
//
// PROGRAM is bench_measure. Names are those of workloads, groups and subjects. Ends with status 1 when
// anything failed that was looked at.
#include "child.h"
#include "results.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <unistd.h>

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kCopied = 2000000;  // larger files are not copied, but changed and used again
constexpr std::uint64_t kCostly = 1000000;
constexpr int kPreloadSeconds = 60;        // of the processor; the library's own files are needed in any case
constexpr int kMostPreloadSeconds = 1800;  // by the clock
constexpr int kMeasureSeconds = 120;

struct Options {
    bool quick = false;
    std::vector<std::uint64_t> sizes = {10000, 1000000, 10000000};
    int rounds = 5;
    std::set<std::string> only;
    std::string dir = ".", out = "bench.json", measure;
};

class Run {
  public:
    explicit Run(const Options &options);
    ~Run();
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;
    bool run();

  private:
    // Neighbouring workloads on files of one shape and size: they share a copy when they change it.
    struct Set {
        std::string shape;
        bool changes;
        std::uint64_t records;
        std::vector<const Workload *> workloads;
    };

    std::vector<Set> setsOf(std::uint64_t size);
    bool chosen(const Workload &workload) const;
    bool chosen(const SubjectEntry &entry) const;
    bool takesPart(const SubjectEntry &entry, const Workload &workload, std::uint64_t records) const;
    std::string baseOf(const SubjectEntry &entry, const Set &set) const;
    bool prepare(const SubjectEntry &entry, const Set &set);
    bool load(const SubjectEntry &entry, const Set &set, const std::string &base);
    void measure(const Set &set, const SubjectEntry &entry, int round);
    void measureOne(const Workload &workload, const SubjectEntry &entry, const std::string &dir, std::uint64_t records,
                    std::uint64_t batch, int round);
    static void copy(const std::string &from, const std::string &to);

    const Options options_;
    const std::string data_;
    const std::uint64_t most_;
    const double seconds_;
    Results results_;
    std::set<std::pair<std::string, std::uint64_t>> done_;  // workloads whose limit is below the size
    std::map<std::string, std::uint64_t> batches_;          // of files that are used again
};

Run::Run(const Options &options)
    : options_(options), data_(fs::absolute(options.dir) / ("bench-data." + std::to_string(getpid()))),
      most_(options.quick ? 1000 : 30000), seconds_(options.quick ? 0.01 : 0.15) {
    fs::create_directories(data_);
}

Run::~Run() {
    std::error_code ignored;
    fs::remove_all(data_, ignored);
}

// Environments of shared memory are not part of the files; they are made anew.
void Run::copy(const std::string &from, const std::string &to) {
    fs::remove_all(to);
    fs::create_directories(to);
    for (const auto &entry : fs::directory_iterator(from))
        if (entry.path().filename().string().rfind("__db.", 0) != 0)
            fs::copy(entry.path(), to / entry.path().filename(), fs::copy_options::recursive);
}

bool Run::chosen(const Workload &workload) const {
    const std::set<std::string> &only = options_.only;
    const bool any = std::any_of(bench::workloads().begin(), bench::workloads().end(), [&](const Workload &other) {
        return only.count(other.name) != 0 || only.count(other.group) != 0;
    });
    return !any || only.count(workload.name) != 0 || only.count(workload.group) != 0;
}

bool Run::chosen(const SubjectEntry &entry) const {
    const bool any = std::any_of(subjects().begin(), subjects().end(),
                                 [&](const SubjectEntry &other) { return options_.only.count(other.name) != 0; });
    return !any || options_.only.count(entry.name) != 0;
}

bool Run::takesPart(const SubjectEntry &entry, const Workload &workload, std::uint64_t records) const {
    return (workload.needs & ~entry.abilities) == 0 && (records <= kCopied || entry.large);
}

std::vector<Run::Set> Run::setsOf(std::uint64_t size) {
    std::vector<Set> sets;
    for (const Workload &workload : workloads()) {
        if (!chosen(workload) || (size > kCopied && !workload.large)) continue;
        // What works on fewer records than others takes long with each.
        const bool expensive = options_.quick && workload.limit < kCostly;
        const std::uint64_t records = std::min(expensive ? size / 5 : size, workload.limit);
        if (!done_.insert({workload.name, records}).second) continue;
        if (sets.empty() || sets.back().shape != workload.shape || sets.back().changes != workload.changes ||
            sets.back().records != records)
            sets.push_back({workload.shape, workload.changes, records, {}});
        sets.back().workloads.push_back(&workload);
    }
    return sets;
}

// The floor spoils what it writes to.
std::string Run::baseOf(const SubjectEntry &entry, const Set &set) const {
    const std::string files =
        set.records > kCopied ? std::string(entry.name) == "floor" ? "floor" : entry.files : entry.files;
    return data_ + "/" + files + "-" + set.shape + "-" + std::to_string(set.records);
}

bool Run::load(const SubjectEntry &entry, const Set &set, const std::string &base) {
    const Shape &shape = shapeNamed(set.shape);
    fs::create_directories(base);
    if (set.shape == "empty") return true;
    const SubjectEntry &maker = subjectNamed(entry.files);
    if (shape.clustered) {
        Set plain = set;
        plain.shape = "two";
        if (!prepare(entry, plain)) return false;
        copy(baseOf(entry, plain), base);
    }
    if (baseOf(maker, set) != base) {
        if (!prepare(maker, set)) return false;
        copy(baseOf(maker, set), base);
        return true;
    }
    std::printf("preparing %s, %s, %llu records\n", maker.title, set.shape.c_str(),
                static_cast<unsigned long long>(set.records));
    std::fflush(stdout);
    const bool own = std::string(maker.name) == "isam";
    const ChildReport report = runChild(
        options_.measure,
        {"prepare", maker.name, set.shape, std::to_string(set.records), std::to_string(own ? 0 : kPreloadSeconds)},
        base, kMostPreloadSeconds);
    if (report.failure.empty()) return true;
    fs::remove_all(base);
    if (report.late && !own) {
        results_.skip(maker.name, set.records, "its preload takes more than a minute");
        return false;
    }
    results_.fail(std::string(maker.name) + ", preparing " + set.shape + ": " + report.failure);
    return false;
}

bool Run::prepare(const SubjectEntry &entry, const Set &set) {
    if (results_.skipped(entry.files, set.records)) return false;
    const std::string base = baseOf(entry, set);
    return fs::exists(base) || load(entry, set, base);
}

void Run::measureOne(const Workload &workload, const SubjectEntry &entry, const std::string &dir, std::uint64_t records,
                     std::uint64_t batch, int round) {
    const ChildReport report =
        runChild(options_.measure,
                 {"measure", entry.name, workload.name, std::to_string(records), std::to_string(most_),
                  std::to_string(seconds_), std::to_string(batch), std::to_string(round * 1000 + 1)},
                 dir, kMeasureSeconds);
    if (!report.failure.empty()) {
        const std::string what =
            std::string(entry.name) + ", " + workload.name + ", " + std::to_string(records) + ": " + report.failure;
        std::fprintf(stderr, "FAILED %s\n", what.c_str());
        results_.fail(what);
        return;
    }
    // Several results of one role are those of processes side by side: their mean counts.
    std::map<std::string, std::vector<ChildReport::Line>> roles;
    for (const ChildReport::Line &line : report.lines)
        roles[line.role].push_back(line);
    for (const auto &[role, lines] : roles) {
        Cost mean;
        for (const ChildReport::Line &line : lines) {
            mean.clock += line.cost.clock / static_cast<double>(lines.size());
            mean.processor += line.cost.processor / static_cast<double>(lines.size());
        }
        results_.add(workload.name, entry.name, records, role, mean, lines.front().operations);
    }
}

void Run::measure(const Set &set, const SubjectEntry &entry, int round) {
    const auto takes = [&](const Workload *workload) {
        return takesPart(entry, *workload, set.records);
    };
    if (std::none_of(set.workloads.begin(), set.workloads.end(), takes) || !prepare(entry, set)) return;
    const std::string base = baseOf(entry, set);
    const bool copied = set.changes && set.records <= kCopied;
    const std::string dir = copied ? data_ + "/scratch" : base;
    if (copied) copy(base, dir);
    std::uint64_t batch = 0;
    for (const Workload *workload : set.workloads) {
        if (!takes(workload)) continue;
        std::uint64_t &used = copied || !set.changes ? batch : batches_[base];
        measureOne(*workload, entry, dir, set.records, set.changes ? used : batches_[base], round);
        ++used;
    }
    if (copied) fs::remove_all(dir);
}

bool Run::run() {
    endOnSignals();
    const auto started = Clock::now();
    const Facts facts = machineFacts(data_);
    for (const std::uint64_t size : options_.sizes) {
        const std::vector<Set> sets = setsOf(size);
        for (int round = 0; round < options_.rounds; ++round) {
            for (const Set &set : sets)
                for (const SubjectEntry &entry : subjects())
                    if (chosen(entry)) measure(set, entry, round);
            const std::chrono::duration<double> spent = Clock::now() - started;
            // A run that is ended leaves what it has found.
            results_.write(options_.out, facts, options_.sizes, options_.rounds);
            std::printf("%llu records: round %d of %d, after %.0f s\n", static_cast<unsigned long long>(size),
                        round + 1, options_.rounds, spent.count());
            std::fflush(stdout);
        }
        for (const auto &entry : fs::directory_iterator(data_))
            fs::remove_all(entry.path());
    }
    return !results_.failed();
}

std::vector<std::uint64_t> sizesIn(const std::string &list) {
    std::vector<std::uint64_t> sizes;
    for (const char *at = list.c_str(); *at != '\0';) {
        char *end;
        const std::uint64_t size = std::strtoull(at, &end, 10);
        if (end == at || size < 1000) throw Failure("sizes are numbers of 1000 and more, with commas between them");
        sizes.push_back(size);
        at = *end == ',' ? end + 1 : end;
    }
    std::sort(sizes.begin(), sizes.end());
    return sizes;
}

void addName(Options &options, const std::string &name) {
    const auto knows = [&](const Workload &workload) {
        return name == workload.name || name == workload.group;
    };
    if (std::none_of(workloads().begin(), workloads().end(), knows)) subjectNamed(name);
    options.only.insert(name);
}

Options optionsOf(const std::vector<std::string> &words) {
    Options options;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::string &word = words[i];
        if (word == "--quick") {
            options.quick = true;
            options.sizes = {10000};
            options.rounds = 1;
        } else if (word == "--sizes") {
            options.sizes = sizesIn(words.at(++i));
        } else if (word == "--rounds") {
            options.rounds = std::max(1, std::atoi(words.at(++i).c_str()));
        } else if (word == "--only") {
            while (i + 1 < words.size() && words[i + 1].rfind("--", 0) != 0)
                addName(options, words[++i]);
        } else if (word == "--dir") {
            options.dir = words.at(++i);
        } else if (word == "--out") {
            options.out = words.at(++i);
        } else if (word == "--measure") {
            options.measure = words.at(++i);
        } else {
            throw Failure("no such option: " + word);
        }
    }
    return options;
}

}  // namespace
}  // namespace bench

int main(int argc, char **argv) {
    try {
        const bench::Options options = bench::optionsOf(std::vector<std::string>(argv, argv + argc));
        bench::Run run(options);
        return run.run() ? 0 : 1;
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "bench: %s\n", failure.what());
        return 2;
    }
}
