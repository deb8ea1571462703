#include "journal.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fault_testing {

// The entries follow the head. One counts as soon as used covers it; of the last one the state may change.
struct Journal::Head {
    std::atomic<std::size_t> used;
    std::size_t last;      // where the last entry begins
    std::size_t count;     // of entries
    std::size_t prepared;  // used and count, when prepare was done
    std::size_t preparedCount;
};

namespace {

constexpr std::size_t kHeadRoom = 64;

struct EntryHead {
    std::size_t length;  // with this head
    std::atomic<Event::State> state;
    int error, io;
};

class Writer {
  public:
    template <typename T> void number(T value) { bytes_.append(reinterpret_cast<const char *>(&value), sizeof value); }
    void text(const std::string &value) {
        number(value.size());
        bytes_ += value;
    }
    const std::string &bytes() const { return bytes_; }

  private:
    std::string bytes_;
};

class Reader {
  public:
    explicit Reader(const char *bytes) : at_(bytes) {}
    template <typename T> void number(T &value) {
        std::memcpy(&value, at_, sizeof value);
        at_ += sizeof value;
    }
    void text(std::string &value) {
        std::size_t length = 0;
        number(length);
        value.assign(at_, length);
        at_ += length;
    }

  private:
    const char *at_;
};

// The same for both directions.
template <typename Stream, typename C> void transfer(Stream &stream, C &change) {
    stream.number(change.kind);
    stream.text(change.file);
    stream.text(change.other);
    stream.number(change.shape);
    stream.number(change.ident);
    stream.number(change.present);
    stream.text(change.image);
    stream.number(change.mask);
    stream.number(change.key);
    stream.number(change.certain);
}

}  // namespace

std::int32_t identOf(const std::string &image) {
    return image.size() < 4 ? 0 : static_cast<std::int32_t>(ldlong(image.data()));
}

Journal::Journal(std::size_t room) : room_(room) {
    void *const memory = mmap(nullptr, room, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::perror("journal");
        std::abort();
    }
    head_ = new (memory) Head{};
}

Journal::~Journal() { munmap(head_, room_); }

void Journal::begin(const std::string &call, const std::vector<Change> &changes) {
    Writer body;
    body.text(call);
    body.number(changes.size());
    for (const Change &change : changes)
        transfer(body, change);

    const std::size_t used = head_->used;
    std::size_t length = sizeof(EntryHead) + body.bytes().size();
    length = (length + 15) / 16 * 16;
    if (kHeadRoom + used + length > room_) {
        std::fprintf(stderr, "the journal is full\n");
        std::abort();
    }
    char *const place = reinterpret_cast<char *>(head_) + kHeadRoom + used;
    new (place) EntryHead{length, Event::State::UnderWay, 0, 0};
    std::memcpy(place + sizeof(EntryHead), body.bytes().data(), body.bytes().size());
    head_->last = used;
    ++head_->count;
    head_->used = used + length;
}

void Journal::succeeded() {
    auto *const entry = reinterpret_cast<EntryHead *>(reinterpret_cast<char *>(head_) + kHeadRoom + head_->last);
    entry->state = Event::State::Succeeded;
}

void Journal::failed(int error, int io) {
    auto *const entry = reinterpret_cast<EntryHead *>(reinterpret_cast<char *>(head_) + kHeadRoom + head_->last);
    entry->error = error;
    entry->io = io;
    entry->state = Event::State::Failed;
}

void Journal::markPrepared() {
    head_->prepared = head_->used;
    head_->preparedCount = head_->count;
}

void Journal::restart() {
    head_->used = head_->prepared;
    head_->count = head_->preparedCount;
}

std::size_t Journal::count() const { return head_->count; }

std::vector<Event> Journal::events() const {
    std::vector<Event> all;
    const char *const start = reinterpret_cast<const char *>(head_) + kHeadRoom;
    const std::size_t used = head_->used;
    for (std::size_t at = 0; at < used;) {
        const auto *const entry = reinterpret_cast<const EntryHead *>(start + at);
        Reader body(start + at + sizeof(EntryHead));
        Event event;
        body.text(event.call);
        std::size_t count = 0;
        body.number(count);
        event.changes.resize(count);
        for (Change &change : event.changes)
            transfer(body, change);
        event.state = entry->state;
        event.error = entry->error;
        event.io = entry->io;
        event.prepared = at < head_->prepared;
        all.push_back(std::move(event));
        at += entry->length;
    }
    return all;
}

}  // namespace fault_testing
