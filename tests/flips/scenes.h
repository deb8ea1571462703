// Every family of calls on a damaged file set, in scenes that begin with the damaged bytes each.
#pragma once

#include "flips/flip_kinds.h"
#include "flips/session.h"

#include <vector>

namespace flips {

// What a scene plays with.
struct Stage {
    const FlipKind *kind = nullptr;
    const FileSet *damaged = nullptr;
};

struct Scene {
    const char *name;
    void (*play)(Session &, const Stage &);
};

// Looking, reading, changing, rewriting and deleting, indexes, transactions, whole files; mending is in mending.h.
const std::vector<Scene> &callScenes();

// The scenes' files and nothing else, as they were damaged.
void setStage(const Stage &stage);

// Opens the file set; below 0 where that is refused.
int openIn(Session &session, int mode = ISINOUT);
void closeIn(Session &session, int fd);

}  // namespace flips
