#include "flips/flip_sweep.h"

#include "flips/batch.h"
#include "flips/check_calls.h"
#include "memory/files.h"
#include "flips/mending.h"
#include "flips/scenes.h"

#include <cstdio>
#include <map>
#include <vector>

namespace flips {
namespace {

// What the processes of a sweep count together.
struct Counts {
    Progress progress;
    long flips = 0, refused = 0, named = 0, unseen = 0, rebuilt = 0;
    long bits[16] = {};             // flips that a check names so
    long errors[ISERR_FIRST] = {};  // refusals of the open, by code less 100; of the system at 0
    long seen[kRegions] = {}, all[kRegions] = {};
};

constexpr int kChecks = 0;  // the first scene; the calls' scenes follow, then the mending

int sceneCount() { return static_cast<int>(callScenes().size()) + 2; }

const char *sceneName(int scene) {
    if (scene == kChecks) return "checks";
    return scene == sceneCount() - 1 ? "mending" : callScenes()[static_cast<std::size_t>(scene) - 1].name;
}

std::uint32_t mixed(std::uint32_t value) {
    value ^= value >> 16;
    value *= 0x7feb352dU;
    value ^= value >> 15;
    value *= 0x846ca68bU;
    return value ^ value >> 16;
}

// The short form's choice: of what is in use a bit of each byte, or of every few where there is much of one sort; of
// the rest a sample.
bool isSampled(const LayoutMap &map, const Flip &flip) {
    const std::uint32_t lot = mixed(static_cast<std::uint32_t>(flip.offset * 2 + (flip.data ? 1 : 0)));
    if (static_cast<int>(lot % 8) != flip.bit) return false;
    const std::uint32_t other = lot / 8;
    switch (map.of(flip.data, flip.offset, flip.bit)) {
    case Region::Unused:
    case Region::TailBytes:
    case Region::NodeFreeList:
    case Region::AuditSettings: return other % 97 == 0;
    case Region::DeadRecord:
    case Region::RecordBytes: return other % 29 == 0;
    case Region::LeafKey:
    case Region::RecordKey:
    case Region::BranchKey:
    case Region::SerialNumber: return other % 11 == 0;
    case Region::EntryShape: return other % 7 == 0;
    case Region::EntryPointer: return other % 5 == 0;
    default: return true;
    }
}

class Sweep {
  public:
    Sweep(const SweepOptions &options, Counts *counts) : options_(options), counts_(counts) {}

    bool run(const FlipKind &kind) {
        const Whole whole(kind);
        const std::vector<Flip> flips = choose(whole);
        kinds_ += flips.empty() ? 0 : 1;
        if (!isSound(whole)) return false;
        const int mostStops = options_.everything || options_.bit >= 0 ? kManyStops : kFewStops;
        FileSet damaged = whole.set;
        const Play play = [&](long item, int scene, Session &session) {
            const Flip &flip = flips[static_cast<std::size_t>(item)];
            turn(damaged, flip);
            playScene(whole, damaged, flip, scene, session);
            turn(damaged, flip);
        };
        const Place place = [&](long item, int scene) {
            const Flip &flip = flips[static_cast<std::size_t>(item)];
            const std::string bit = std::to_string(flip.offset * 8 + static_cast<std::size_t>(flip.bit));
            return std::string("--kind ") + kind.name + " --file " + (flip.data ? "dat" : "idx") + " --bit " + bit +
                   " (" + nameOf(whole.map.of(flip.data, flip.offset, flip.bit)) + ") " + sceneName(scene);
        };
        const BatchResult result =
            playBatch(&counts_->progress, static_cast<long>(flips.size()), sceneCount(), mostStops, play, place);
        for (const auto &[message, count] : result.stops)
            stops_[message] += count;
        givenUp_ += result.givenUp;
        return result.sound;
    }

    void print(bool sound) const {
        const Counts &c = *counts_;
        std::printf("flips by what the bit belongs to (seen by a check or at the open, of all):\n");
        for (int i = 0; i < kRegions; ++i)
            if (c.all[i] != 0)
                std::printf("  %-20s %8ld of %8ld\n", nameOf(static_cast<Region>(i)), c.seen[i], c.all[i]);
        std::printf("named by a check, by bit:");
        for (int i = 0; i < 16; ++i)
            if (c.bits[i] != 0) std::printf(" 0x%x %ld", 1U << i, c.bits[i]);
        std::printf("\nrefused at the open, by error:");
        for (int i = 1; i < ISERR_FIRST; ++i)
            if (c.errors[i] != 0) std::printf(" %d %ld", ISERR_FIRST + i, c.errors[i]);
        std::printf(" system %ld\nfatal stops:", c.errors[0]);
        long stops = 0;
        for (const auto &[message, count] : stops_) {
            std::printf(" [%s] %ld", message.c_str(), count);
            stops += count;
        }
        std::printf(
            "\nbit flips: %d kinds of files, %ld flips: %ld named by a check, %ld refused at the open, %ld not "
            "verifiable, each as the layouts say;\n%ld with a rebuild; %ld calls, %ld fatal stops, %ld scenes cut "
            "short; %s\n",
            kinds_, c.flips, c.named, c.refused, c.unseen, c.rebuilt, c.progress.calls, stops, givenUp_,
            sound ? "nothing wrong" : "SOMETHING IS WRONG");
    }

  private:
    static constexpr int kFewStops = 2, kManyStops = 1000;

    static void turn(FileSet &set, const Flip &flip) {
        std::uint8_t &byte = (flip.data ? set.data : set.index)[flip.offset];
        byte = static_cast<std::uint8_t>(byte ^ 1U << flip.bit);
    }

    std::vector<Flip> choose(const Whole &whole) const {
        std::vector<Flip> flips;
        for (const bool data : {false, true}) {
            if (!options_.file.empty() && (options_.file == "dat") != data) continue;
            const std::size_t bits = (data ? whole.set.data : whole.set.index).size() * 8;
            for (std::size_t i = 0; i < bits; ++i) {
                const Flip flip{data, i / 8, static_cast<int>(i % 8)};
                if (options_.bit >= 0 ? static_cast<long>(i) == options_.bit
                                      : options_.everything || isSampled(whole.map, flip))
                    flips.push_back(flip);
            }
        }
        return flips;
    }

    // Both sides must call the sound file sound.
    static bool isSound(const Whole &whole) {
        Progress progress;
        const std::set<int> none;
        memory_files::clear();
        install(whole.set);
        Session session(&progress, none, whole.kind->name);
        const Verdict said = askLibrary(session);
        if (said == whole.map.sound()) return true;
        std::printf("%s, sound: expected %s, got %s\n", whole.kind->name, textOf(whole.map.sound()).c_str(),
                    textOf(said).c_str());
        return false;
    }

    // Numbers that tell which nodes are free: nothing can tell that they are wrong.
    static bool hidesNodes(const Whole &whole, const Flip &flip) {
        if (whole.map.of(flip.data, flip.offset, flip.bit) == Region::NodeFreeList) return true;
        return !flip.data && flip.offset >= at::kLastNode && flip.offset < at::kLastNode + 4;
    }

    void playScene(const Whole &whole, const FileSet &damaged, const Flip &flip, int scene, Session &session) {
        const Stage stage{whole.kind, &damaged};
        if (hidesNodes(whole, flip)) session.expectHarm();
        if (scene == sceneCount() - 1) {
            if (playMending(session, stage, whole, flip)) ++counts_->rebuilt;
            return;
        }
        setStage(stage);
        if (scene == kChecks)
            compare(whole, damaged, flip, session);
        else
            callScenes()[static_cast<std::size_t>(scene) - 1].play(session, stage);
    }

    void compare(const Whole &whole, const FileSet &damaged, const Flip &flip, Session &session) {
        const Verdict wanted = judge(damaged), said = askLibrary(session);
        if (!(said == wanted)) session.problem("expected " + textOf(wanted) + ", got " + textOf(said));
        const std::string wrong = whole.map.contradiction(flip.data, flip.offset, flip.bit, said);
        if (!wrong.empty()) session.problem(wrong + ": " + textOf(said));
        count(whole, flip, said);
    }

    void count(const Whole &whole, const Flip &flip, const Verdict &verdict) {
        Counts &c = *counts_;
        const auto region = static_cast<int>(whole.map.of(flip.data, flip.offset, flip.bit));
        const bool seen = !(verdict == whole.map.sound());
        ++c.flips;
        ++c.all[region];
        if (seen) ++c.seen[region];
        if (verdict.openError != 0) {
            ++c.refused;
            ++c.errors[verdict.openError >= ISERR_FIRST ? verdict.openError - ISERR_FIRST : 0];
            return;
        }
        ++(seen ? c.named : c.unseen);
        int bits = verdict.tails | (verdict.data & ~whole.map.sound().data);
        for (const int each : verdict.indexes)
            bits |= each;
        for (int i = 0; i < 16; ++i)
            c.bits[i] += bits >> i & 1;
    }

    const SweepOptions &options_;
    Counts *const counts_;
    std::map<std::string, long> stops_;
    long givenUp_ = 0;
    int kinds_ = 0;
};

}  // namespace

bool sweepFlips(const SweepOptions &options) {
    auto *const counts = new (sharedMemory(sizeof(Counts))) Counts();
    counts->progress.mostShown = options.mostShown;
    Sweep sweep(options, counts);
    bool sound = true, any = false;
    for (const FlipKind &kind : flipKinds()) {
        if (!options.kind.empty() && options.kind != kind.name) continue;
        any = true;
        sound = sweep.run(kind) && sound;
    }
    if (!any) std::printf("there is no such kind\n");
    sweep.print(sound && any);
    return sound && any;
}

}  // namespace flips
