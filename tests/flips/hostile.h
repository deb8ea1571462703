// Named hostile values: a file set of a kind with one value set, and every call on it.
#pragma once

#include "flips/flip_kinds.h"
#include "memory/files.h"
#include "flips/set_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace flips {

class Hostile : public testing::Test {
  protected:
    void TearDown() override { memory_files::clear(); }

    // Starts anew from a sound file set.
    void take(const char *kind);
    const FileSet &sound() const { return sound_; }
    SetReader reader() const { return SetReader(sound_); }

    // Numbers of a width in bytes in the damaged file set.
    void header(std::size_t offset, std::uint32_t value, int width = 4) { node(1, offset, value, width); }
    void node(std::uint32_t number, std::size_t offset, std::uint32_t value, int width);
    void slot(std::uint32_t record, std::size_t offset, std::uint32_t value, int width);
    FileSet &damaged() { return damaged_; }
    // Another file beside the file set.
    void beside(const std::string &path, const Bytes &bytes) { beside_[path] = bytes; }
    void directoryBeside(const std::string &path) { directory_ = path; }

    // The open gives this error; the checks and the open say what the layouts make of the file set; every family of
    // calls bears it. Then the file set is sound again.
    void expectOpens(int error = 0, int io = 0) { work(error, io, false); }
    // The same for damage that hides that something is in use.
    void expectOpensToHarm() { work(0, 0, true); }

    // Places in the sound file set.
    std::uint32_t root(std::size_t index = 0) const;
    std::uint32_t firstChild(std::uint32_t node) const;
    std::size_t description(std::size_t index = 0) const;  // offset of its entry in node 2
    std::uint32_t freeRecordNode() const { return reader().header(at::kDataFree, 4); }
    std::uint32_t freeNode() const { return reader().header(at::kNodeFree, 4); }
    std::uint32_t tailNode(std::uint32_t record) const;

  private:
    void work(int error, int io, bool harm);

    const FlipKind *kind_ = nullptr;
    FileSet sound_, damaged_;
    std::map<std::string, Bytes> beside_;
    std::string directory_;
};

}  // namespace flips
