#include "mend/in_place.h"

#include "base/failure.h"
#include "base/open_file.h"
#include "base/progress.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <isam_maint.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool {

namespace {

const char *const kListStep = "list of free record numbers made anew";

std::string indexStep(std::size_t i) { return "index " + std::to_string(i + 1) + " made anew"; }

// Entries that the checks cannot count may be wrong without a word.
bool isCounted(const Checked &checked, std::size_t i) {
    return !checked.shape.header.precious() && (checked.shape.indexes[i].flags & ISNULLKEY) == 0;
}

bool isSuspect(const Checked &checked, std::size_t i) {
    return checked.indexes[i] != 0 || !checked.survey.trees[i].whole || !isCounted(checked, i);
}

void rebuild(const std::string &name, const Checked &checked, const std::function<void(const std::string &)> &did) {
    OpenFile file = OpenFile::alone(name);
    IsamFile *handle = isAdmItoD(file.fd());
    const std::size_t indexes = checked.indexes.size();
    Progress progress("mending " + name, indexes + 1);
    if (checked.data != 0 || !checked.survey.recordListWhole) {
        if (isRebuildFree(handle, ISFREE_DATA) == 0) throw Failure("list");
        did(kListStep);
    }
    progress.step();
    for (std::size_t i = 0; i < indexes; ++i) {
        const int number = static_cast<int>(i) + 1;
        // With a new list an index may agree in number no more.
        if (isSuspect(checked, i) || ischeckindex(file.fd(), number) != 0) {
            if (isRebuildIdx(handle, number) == 0) throw Failure("index");
            did(indexStep(i));
        }
        progress.step();
    }
    file.close();
}

void quietly(char *) {}

int childMain(const std::string &name, const Checked &checked, int out) {
    isfatal(quietly);
    const auto did = [out](const std::string &step) {
        const std::string line = step + "\n";
        if (write(out, line.data(), line.size()) != static_cast<ssize_t>(line.size())) throw Failure("pipe");
    };
    try {
        rebuild(name, checked, did);
    } catch (const Failure &) {
        iscleanup();
        return 1;
    }
    return 0;
}

std::vector<std::string> readLines(int in) {
    std::string text;
    char part[512];
    for (ssize_t got; (got = read(in, part, sizeof part)) > 0 || (got < 0 && errno == EINTR);)
        if (got > 0) text.append(part, static_cast<std::size_t>(got));
    std::vector<std::string> lines;
    for (std::size_t from = 0, to; (to = text.find('\n', from)) != std::string::npos; from = to + 1)
        lines.push_back(text.substr(from, to - from));
    return lines;
}

}  // namespace

bool isMendedInPlace(const Checked &checked) {
    const Shape &shape = checked.shape;
    const auto &nodes = checked.survey.nodes;
    // A rebuild takes masks otherwise than a write does, and what records are must be beyond doubt.
    return checked.opens && shape.problems.empty() && shape.header.recordLength != 0 && !shape.header.masks() &&
           (checked.data & ~ISCHK_FREELIST) == 0 && checked.tails == 0 && checked.uncounted <= 1 &&
           checked.survey.nodeListWhole && checked.indexes.size() == checked.survey.trees.size() &&
           std::none_of(nodes.begin(), nodes.end(), [](const NodeUse &use) { return use.shared; });
}

std::vector<std::string> stepsInPlace(const Checked &checked) {
    std::vector<std::string> steps;
    if (checked.data != 0 || !checked.survey.recordListWhole) steps.emplace_back(kListStep);
    for (std::size_t i = 0; i < checked.indexes.size(); ++i)
        if (isSuspect(checked, i)) steps.push_back(indexStep(i));
    return steps;
}

Mended mendInPlace(const std::string &name, const Checked &checked) {
    int ends[2];
    if (pipe(ends) != 0) failSystem(name, "no pipe can be made");
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) failSystem(name, "no process can be made");
    if (child == 0) {
        close(ends[0]);
        _exit(childMain(name, checked, ends[1]));
    }
    close(ends[1]);
    Mended mended;
    mended.steps = readLines(ends[0]);
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    mended.done = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return mended;
}

}  // namespace tool
