// isam locks: who holds which lock of a file.
#include "base/failure.h"
#include "base/hex_text.h"
#include "base/json.h"
#include "base/place.h"
#include "commands/commands.h"
#include "locks/lock_table.h"
#include "locks/lock_words.h"
#include "locks/process_name.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace tool {

namespace {

struct Options {
    std::string file;
    bool json = false;
};

struct Found {
    std::string file;  // path
    FileLock lock;
    LockMeaning meaning;
    ProcessName holder;
};

std::vector<Found> find(const std::string &base) {
    std::vector<Found> found;
    const std::string place = linkedPlace(base);
    for (const bool index : {true, false}) {
        const std::string path = place + (index ? ".idx" : ".dat");
        // A file of keys alone has no data file.
        std::error_code ignored;
        if (!index && !std::filesystem::exists(path, ignored)) continue;
        for (const FileLock &lock : locksOf(path))
            found.push_back({path, lock, meaningOf(lock, index), processName(lock.process)});
    }
    return found;
}

std::string processInWords(long process) { return process > 0 ? std::to_string(process) : "?"; }

void show(const Found &found) {
    const FileLock &lock = found.lock;
    std::string effect = found.meaning.effect;
    if (lock.waiting) effect = "waits" + (lock.blocker > 0 ? " for process " + std::to_string(lock.blocker) : "");
    const std::string program = found.holder.program.empty() ? "(not of this machine)" : found.holder.program;
    std::printf("%-16s  %-9s  %7s  %-15s  %-10s  %s\n", found.meaning.words.c_str(),
                lock.exclusive ? "exclusive" : "shared", processInWords(lock.process).c_str(),
                printable(program).c_str(), printable(found.holder.user).c_str(), effect.c_str());
}

Json jsonOf(const Found &found) {
    const FileLock &lock = found.lock;
    Json json = {{"file", found.file},
                 {"lock", found.meaning.kind},
                 {"mode", lock.exclusive ? "exclusive" : "shared"},
                 {"state", lock.waiting ? "waiting" : "held"}};
    if (found.meaning.last > 0) {
        json["first"] = found.meaning.first;
        json["last"] = found.meaning.last;
    }
    json["start"] = lock.start;
    json["end"] = lock.end == kToTheEnd ? Json(nullptr) : Json(lock.end);
    json["process"] = lock.process > 0 ? Json(lock.process) : Json(nullptr);
    json["program"] = found.holder.program;
    json["command"] = found.holder.command;
    json["user"] = found.holder.user;
    if (lock.waiting) json["waitsFor"] = lock.blocker > 0 ? Json(lock.blocker) : Json(nullptr);
    return json;
}

int run(const Options &options) {
    const std::vector<Found> found = find(options.file);
    if (options.json) {
        Json locks = Json::array();
        for (const Found &one : found)
            locks.push_back(jsonOf(one));
        print({{"file", options.file}, {"locks", locks}});
        return kClean;
    }
    if (found.empty()) {
        std::printf("%s: nobody holds a lock\n", printable(options.file).c_str());
        return kClean;
    }
    std::printf("%-16s  %-9s  %7s  %-15s  %-10s\n", "lock", "how", "process", "program", "user");
    for (const Found &one : found)
        show(one);
    return kClean;
}

}  // namespace

void addLocks(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "locks", "Tell who holds which lock of a file",
        "Lists the locks on FILE.idx and FILE.dat that processes hold or wait for, by what they mean: the open lock, "
        "which "
        "everybody has who has the file open (exclusive: with nobody beside him), the phase lock, which a call holds "
        "while "
        "it reads or changes the file, and the locks on records. Locks of one process on neighbouring records are "
        "shown as "
        "one.\n\n"
        "The command takes none of these locks itself and disturbs nobody; it shows a moment. Who works with "
        "ISLOCKNONE has no locks. "
        "Processes of other machines that share the file over a network are shown without a name, as far as the file "
        "system tells of them.",
        {{"isam locks orders", "Who has orders open, and which records are locked."},
         {"isam locks orders --json | jq '.locks[] | select(.state == \"waiting\")'", "Who waits for a lock."}});
    Program::addFile(command, options->file);
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
