#include "flips/hostile.h"

#include "flips/batch.h"
#include "flips/check_calls.h"
#include "flips/scenes.h"

#include <new>

namespace flips {
namespace {

constexpr int kMostStops = 1000;

void put(Bytes &bytes, std::size_t offset, std::uint32_t value, int width) {
    for (int i = width - 1; i >= 0; --i, value >>= 8)
        bytes.at(offset + static_cast<std::size_t>(i)) = static_cast<std::uint8_t>(value);
}

Progress *progress() {
    static auto *const shared = new (sharedMemory(sizeof(Progress))) Progress();
    return shared;
}

}  // namespace

void Hostile::take(const char *kind) {
    kind_ = kindNamed(kind);
    ASSERT_NE(kind_, nullptr);
    sound_ = damaged_ = makeSet(*kind_);
}

void Hostile::node(std::uint32_t number, std::size_t offset, std::uint32_t value, int width) {
    put(damaged_.index, (number - 1) * static_cast<std::size_t>(reader().nodeSize()) + offset, value, width);
}

void Hostile::slot(std::uint32_t record, std::size_t offset, std::uint32_t value, int width) {
    put(damaged_.data, (record - 1) * static_cast<std::size_t>(reader().slotLength()) + offset, value, width);
}

void Hostile::work(int error, int io, bool harm) {
    const auto prepare = [this] {
        setStage({kind_, &damaged_});
        for (const auto &[path, bytes] : beside_)
            memory_files::make(path) = bytes;
        if (!directory_.empty()) memory_files::makeDirectory(directory_);
    };
    const std::vector<Scene> &scenes = callScenes();
    const Play play = [&](long, int scene, Session &session) {
        prepare();
        if (harm) session.expectHarm();
        if (scene < static_cast<int>(scenes.size())) {
            scenes[static_cast<std::size_t>(scene)].play(session, {kind_, &damaged_});
            return;
        }
        const Verdict said = askLibrary(session);
        if (said.openError != error || said.openIo != io) session.problem("opening it: " + textOf(said));
        if (!beside_.empty() || !directory_.empty()) return;
        if (!(said == judge(damaged_)))
            session.problem("expected " + textOf(judge(damaged_)) + ", got " + textOf(said));
    };
    const Place place = [&](long, int scene) {
        return std::string(kind_->name) + ", " +
               (scene < static_cast<int>(scenes.size()) ? scenes[static_cast<std::size_t>(scene)].name : "checks");
    };
    EXPECT_TRUE(playBatch(progress(), 1, static_cast<int>(scenes.size()) + 1, kMostStops, play, place).sound);
    damaged_ = sound_;
    beside_.clear();
    directory_.clear();
}

std::size_t Hostile::description(std::size_t index) const {
    const std::uint8_t *const node = reader().node(2);
    std::size_t offset = layout::kListStart;
    for (; index > 0; --index)
        offset += SetReader::number(node + offset, 2);
    return offset;
}

std::uint32_t Hostile::root(std::size_t index) const {
    return SetReader::number(reader().node(2) + description(index) + 2, 4);
}

// Of a flat index with a key of 126 bytes, or any other: the pointer ends the first entry.
std::uint32_t Hostile::firstChild(std::uint32_t node) const {
    const std::uint8_t *const bytes = reader().node(node);
    return SetReader::number(bytes + 2 + 126, 4);
}

std::uint32_t Hostile::tailNode(std::uint32_t record) const {
    return SetReader::number(reader().slot(record) + reader().recordLength() + 4, 3);
}

}  // namespace flips
