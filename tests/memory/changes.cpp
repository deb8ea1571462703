#include "memory/changes.h"

#include "memory/node.h"

#include <algorithm>
#include <vector>

namespace memory_files {
namespace {

// What was overwritten in a file, oldest first, and the length that it had.
struct History {
    struct Old {
        std::size_t offset;
        Bytes bytes;
    };
    std::vector<Old> old;
    std::size_t length = 0;
};

bool noting = false, anythingWritten = false;
std::map<NodePointer, History> changed;
// Names that came or went, with what they had meant.
Names renamed;

NodePointer meaningOf(const std::string &path) {
    const auto found = names().find(path);
    return found != names().end() ? found->second : nullptr;
}

// The counter may rise without a change.
bool isSame(const Node &node, const History &history) {
    constexpr std::size_t kCounter = 41, kCounterEnd = 45;
    if (node.bytes.size() != history.length) return false;
    Bytes before = node.bytes;
    for (auto old = history.old.rbegin(); old != history.old.rend(); ++old)
        std::copy(old->bytes.begin(), old->bytes.end(), before.begin() + static_cast<std::ptrdiff_t>(old->offset));
    const bool index = node.name.size() > 4 && node.name.compare(node.name.size() - 4, 4, ".idx") == 0;
    if (index && before.size() >= kCounterEnd)
        std::copy_n(node.bytes.begin() + kCounter, kCounterEnd - kCounter, before.begin() + kCounter);
    return before == node.bytes;
}

}  // namespace

void noteBytes(const NodePointer &node, std::size_t offset, std::size_t length) {
    anythingWritten = true;
    if (!noting) return;
    const Bytes &bytes = node->bytes;
    const auto [found, first] = changed.try_emplace(node);
    History &history = found->second;
    if (first) history.length = bytes.size();
    // What the file had not got then is no part of it.
    const std::size_t end = std::min(bytes.size(), history.length);
    const std::size_t from = std::min(offset, end), to = std::min(offset + length, end);
    history.old.push_back({from, Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                                       bytes.begin() + static_cast<std::ptrdiff_t>(to))});
}

void noteName(const std::string &path) {
    anythingWritten = true;
    if (noting) renamed.emplace(path, meaningOf(path));
}

void forgetChanges() {
    noting = anythingWritten = false;
    changed.clear();
    renamed.clear();
}

void mark() {
    forgetChanges();
    noting = true;
}

bool written() { return anythingWritten; }

bool asMarked() {
    // A file that nothing leads to any more was made and removed.
    const auto isGone = [](const NodePointer &node) {
        return node.use_count() < 2;
    };
    return std::all_of(
               changed.begin(), changed.end(),
               [&](const auto &change) { return isGone(change.first) || isSame(*change.first, change.second); }) &&
           std::all_of(renamed.begin(), renamed.end(),
                       [](const auto &name) { return meaningOf(name.first) == name.second; });
}

}  // namespace memory_files
