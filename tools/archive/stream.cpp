#include "archive/stream.h"

#include "base/failure.h"

#include <cstring>
#include <istream>
#include <ostream>

namespace tool {

namespace {

constexpr std::size_t kPiece = std::size_t{64} * 1024;
constexpr unsigned kByteBits = 8;

std::string_view text(const Digest &digest) { return {reinterpret_cast<const char *>(digest.data()), digest.size()}; }

}  // namespace

void ArchiveOut::bytes(std::string_view bytes) {
    waiting_ += bytes;
    if (waiting_.size() >= kPiece) pass();
}

void ArchiveOut::number(std::uint64_t value, int size) {
    for (int i = size; i-- > 0;)
        waiting_ += static_cast<char>(value >> (kByteBits * static_cast<unsigned>(i)));
}

void ArchiveOut::pass() {
    digest_.add(waiting_.data(), waiting_.size());
    write(waiting_);
    waiting_.clear();
}

void ArchiveOut::write(std::string_view bytes) {
    if (!out_.write(bytes.data(), static_cast<std::streamsize>(bytes.size())))
        throw Failure(subject_ + ": the archive cannot be written");
}

void ArchiveOut::finish() {
    pass();
    write(text(digest_.finish()));
    if (!out_.flush()) throw Failure(subject_ + ": the archive cannot be written");
}

void ArchiveIn::damaged(const std::string &why) const { throw Failure(subject_ + ": the archive is damaged: " + why); }

// Has at least so many bytes behind at_, if there are so many.
bool ArchiveIn::fill(std::size_t count) {
    if (buffer_.size() - at_ >= count) return true;
    digest_.add(buffer_.data(), at_);
    buffer_.erase(0, at_);
    at_ = 0;
    const std::size_t before = buffer_.size();
    const std::size_t wanted = std::max(count, kPiece);
    buffer_.resize(wanted);
    in_.read(buffer_.data() + before, static_cast<std::streamsize>(wanted - before));
    buffer_.resize(before + static_cast<std::size_t>(in_.gcount()));
    if (in_.bad()) throw Failure(subject_ + ": the archive cannot be read");
    return buffer_.size() >= count;
}

const char *ArchiveIn::bytes(std::size_t count) {
    if (!fill(count)) throw Failure(subject_ + ": the archive ends too early");
    at_ += count;
    return buffer_.data() + (at_ - count);
}

std::uint64_t ArchiveIn::number(int size) {
    const char *from = bytes(static_cast<std::size_t>(size));
    std::uint64_t value = 0;
    for (int i = 0; i < size; ++i)
        value = value << kByteBits | static_cast<std::uint8_t>(from[i]);
    return value;
}

void ArchiveIn::finish() {
    digest_.add(buffer_.data(), at_);
    buffer_.erase(0, at_);
    at_ = 0;
    const Digest digest = digest_.finish();
    digest_ = Sha256();
    if (std::memcmp(bytes(digest.size()), digest.data(), digest.size()) != 0)
        damaged("its bytes are not those that were written");
    if (fill(1)) damaged("something follows its end");
}

}  // namespace tool
