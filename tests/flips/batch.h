// Work in forked processes, which a fatal stop ends: the next process goes on behind it.
#pragma once

#include "flips/session.h"

#include <functional>
#include <map>
#include <set>
#include <string>

namespace flips {

struct BatchResult {
    std::map<std::string, long> stops;  // by message
    long givenUp = 0;                   // scenes in which too many calls stopped
    bool sound = true;                  // no process ended in any other way, no problem was found
};

// Plays scene number scene of item, under a session.
using Play = std::function<void(long item, int scene, Session &session)>;
// What findings call the item's scene.
using Place = std::function<std::string(long item, int scene)>;

// Plays all scenes of the items 0 to items - 1. After mostStops stops in one scene the rest of it is left out.
BatchResult playBatch(Progress *progress, long items, int scenes, int mostStops, const Play &play, const Place &place);

// Memory that the processes of a batch share with the one that started them.
void *sharedMemory(std::size_t size);

}  // namespace flips
