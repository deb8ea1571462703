// The two files of a set as bytes, read only, for looking into sets that the library refuses as well.
//
// It holds locks as the library's handles do: the open lock, shared or exclusive, as long as it lives, and where it is
// shared the phase lock as well, so that nobody is in the middle of a change while it reads. Both belong to the
// process, and closing any descriptor of a file drops them: no handle of the library may be open on the set in this
// process at the same time.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tool {

using ByteSpan = std::span<std::uint8_t>;
using ConstBytes = std::span<const std::uint8_t>;

class FileView {
  public:
    enum class Access { kShared, kAlone };

    // Opens what there is of the two files; throws Failure where there is neither, or somebody else holds the set.
    FileView(const std::string &base, Access access);
    ~FileView();
    FileView(const FileView &) = delete;
    FileView &operator=(const FileView &) = delete;

    const std::string &name() const { return name_; }
    // Where the files are: another place than the name says where NAME.lnk sends them there.
    std::string indexPath() const { return place_ + ".idx"; }
    std::string dataPath() const { return place_ + ".dat"; }
    const std::string &place() const { return place_; }

    bool hasIndex() const { return index_fd_ >= 0; }
    bool hasData() const { return data_fd_ >= 0; }
    std::uint64_t indexSize() const { return index_size_; }
    std::uint64_t dataSize() const { return data_size_; }

    // Fills the bytes from that offset on; false where the file ends before, or cannot be read.
    bool readIndex(std::uint64_t offset, ByteSpan bytes) const;
    bool readData(std::uint64_t offset, ByteSpan bytes) const;

  private:
    void lock(Access access) const;

    std::string name_;
    std::string place_;
    int index_fd_ = -1;
    int data_fd_ = -1;
    std::uint64_t index_size_ = 0;
    std::uint64_t data_size_ = 0;
};

}  // namespace tool
