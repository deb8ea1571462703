#include "journal.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

namespace stress {

static_assert(sizeof(Number) == 4 && alignof(Number) == 4 && Number::is_always_lock_free);
static_assert(sizeof(KeyEntry) == 28 && sizeof(Event) == 24);

namespace {
constexpr std::uint32_t kMagic = 0x73747265;
}

const char *taskName(Task task) {
    static const char *const names[] = {"none", "build",   "check", "change of indexes", "rebuild", "cluster",
                                        "mend", "recover", "verify"};
    return names[static_cast<int>(task)];
}

Journal *mapJournal(const std::string &path, bool make) {
    const int fd = open(path.c_str(), make ? O_RDWR | O_CREAT | O_EXCL : O_RDWR, 0600);
    if (fd < 0) return nullptr;
    void *at = MAP_FAILED;
    if (!make || ftruncate(fd, sizeof(Journal)) == 0)
        at = mmap(nullptr, sizeof(Journal), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (at == MAP_FAILED) return nullptr;
    auto *journal = static_cast<Journal *>(at);  // a file of zeros is a journal in which nothing has happened
    if (make) journal->magic = kMagic;
    return journal->magic == kMagic ? journal : nullptr;
}

void munmapJournal(Journal *journal) { munmap(journal, sizeof *journal); }

void note(Journal *journal, int slot, Action what, int key, std::uint32_t version, int result) {
    const std::uint32_t tick = journal->events++;
    Event &event = journal->event[tick % kEvents];
    event.tick = 0;
    event.who = static_cast<std::uint32_t>(slot);
    event.what = static_cast<std::uint32_t>(what);
    event.key = static_cast<std::uint32_t>(key);
    event.version = version;
    event.result = static_cast<std::uint32_t>(result);
    event.tick = tick + 1;
}

std::string extract(const Journal &journal, int key, int most) {
    static const char *const names[] = {"?",    "insert", "rewrite", "delete", "rollback", "lock",
                                        "told", "read",   "walk",    "wait",   "open",     "exclusive"};
    std::vector<std::string> lines;
    const std::uint32_t end = journal.events;
    for (std::uint32_t tick = end; tick-- > 0 && end - tick < kEvents && static_cast<int>(lines.size()) < most;) {
        const Event &event = journal.event[tick % kEvents];
        if (event.tick != tick + 1) continue;
        if (key >= 0 && event.key != static_cast<std::uint32_t>(key)) continue;
        char line[120];
        std::snprintf(line, sizeof line, "  %u process %u: %s key %d version %u: %d\n", tick, event.who.load(),
                      event.what < std::size(names) ? names[event.what] : "?", static_cast<int>(event.key),
                      event.version.load(), static_cast<int>(event.result));
        lines.push_back(line);
    }
    std::string text;
    for (auto line = lines.rbegin(); line != lines.rend(); ++line)
        text += *line;
    return text;
}

Known know(const KeyEntry &entry) {
    Known known;
    known.rollbacks = entry.rollbacks;  // raised after the sequence, so it is read before it
    known.sequence = entry.sequence;
    known.image.version = entry.version;
    known.image.checksum = entry.checksum;
    return known;
}

void knowAll(const Journal &journal, AllKnown *out) {
    for (std::size_t i = 0; i < out->size(); ++i)
        (*out)[i] = know(journal.keys[i]);
}

}  // namespace stress
