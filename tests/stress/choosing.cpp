// Keys, claims, and what the journal is told before and after a change.
#include "worker.h"

#include <algorithm>
#include <unistd.h>

namespace stress {

int Worker::presentKey() {
    for (int i = 0; i < 20; ++i)
        if (const int key = anyKey(); entry(key).version != 0) return key;
    return anyKey();
}

int Worker::absentKey() {
    for (int i = 0; i < 40; ++i)
        if (const int key = anyKey(); entry(key).version == 0 && entry(key).claim == 0) return key;
    return anyKey();
}

bool Worker::claim(int key, Purpose purpose) {
    std::uint32_t free = 0;
    return entry(key).claim.compare_exchange_strong(free, own_ | static_cast<std::uint32_t>(purpose) << 8);
}

void Worker::unclaim(int key) { entry(key).claim = 0; }

// Tails of no, one and several nodes, and around their borders: a full node holds 994 bytes.
Facts Worker::freshFacts(int key) {
    static constexpr int kTails[] = {0,   0,   1,   17,  60,   200,  200,  400,  600,  992,
                                     993, 994, 995, 996, 1100, 1500, 1987, 1988, 1989, 2982};
    Facts facts;
    facts.key = key;
    facts.badge = key < kKeys - kRacers ? key * 2 + random_.below(2) : 10000 + key / 2;
    facts.name = random_.below(kNames);
    facts.group = random_.below(kGroups);
    facts.version = ++entry(key).drawn;
    facts.writer = static_cast<std::uint32_t>(getpid());
    facts.length = kFixed + kTails[random_.below(static_cast<int>(std::size(kTails)))];
    return facts;
}

// Most rewrites leave most keys as they are.
Facts Worker::changedFacts(int key, const Facts &from) {
    Facts facts = freshFacts(key);
    if (!chance(25)) facts.badge = from.badge;
    if (!chance(30)) facts.name = from.name;
    if (!chance(30)) facts.group = from.group;
    if (chance(40)) facts.length = from.length;
    return facts;
}

void Worker::fly(int key, Image image) {
    const std::uint32_t at = seat_.flights;
    if (at == kImages) finding(key, "too much in flight");
    seat_.flight[at].key = static_cast<std::uint32_t>(key);
    seat_.flight[at].version = image.version;
    seat_.flight[at].checksum = image.checksum;
    seat_.flights = at + 1;
}

void Worker::announce(Action action, int key, Image image) {
    doing(action, key);
    note(journal_, slot_, action, key, image.version, 0);
    fly(key, know(entry(key)).image);
    fly(key, image);
    ++entry(key).sequence;
}

void Worker::told(int key, Image image, bool happened, int code) {
    if (happened) {
        if (seat_.inTransaction != 0) {
            auto same = [key](const Touched &touched) {
                return touched.key == key;
            };
            auto touched = std::find_if(touched_.begin(), touched_.end(), same);
            if (touched == touched_.end()) {
                const Image before = know(entry(key)).image;
                touched = touched_.insert(touched_.end(), Touched{key, before, {before}});
            }
            touched->images.push_back(image);
        }
        entry(key).version = image.version;
        entry(key).checksum = image.checksum;
    }
    ++entry(key).sequence;
    seat_.flights = 0;
    note(journal_, slot_, Action::Told, key, image.version, code);
}

}  // namespace stress
