#include "flips/mending.h"

#include "memory/files.h"
#include "isam_maint.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace flips {
namespace {

constexpr int kMostReads = 2000;

char *buffer() {
    static std::vector<char> bytes(ISMAXVARLEN + 40000);
    return bytes.data();
}

// Is the damage such that nothing but the damaged record can be lost? All that the records and the data file's list
// can tell is made anew from them; the header and the descriptions cannot be.
bool isMendable(const Whole &whole, const Flip &flip, Region region) {
    if (region == Region::Description || region == Region::DescriptionMark) return false;
    if (region != Region::HeaderShape) return true;
    const bool lastRecord = flip.offset >= at::kLastRecord && flip.offset < at::kLastRecord + 4;
    // A precious file keeps no list, and its rebuild does nothing.
    return lastRecord ? !whole.kind->precious : flip.offset >= at::kDataFree && flip.offset < at::kDataFree + 4;
}

bool isOfTails(Region region) {
    switch (region) {
    case Region::TailBytes:
    case Region::TailMagic:
    case Region::TailShape:
    case Region::TailPointer:
    case Region::BucketHead:
    case Region::BucketZero: return true;
    default: return false;
    }
}

class Mending {
  public:
    Mending(Session &session, const Whole &whole, const Flip &flip)
        : session_(session), whole_(whole), flip_(flip), region_(whole.map.of(flip.data, flip.offset, flip.bit)),
          lost_(whole.map.recordAt(flip.data, flip.offset)) {}

    bool play(int fd) {
        fd_ = fd;
        const int indexes = whole_.kind->indexes();
        std::vector<int> wrong;
        bool named = checkData() != whole_.map.sound().data;
        for (int index = 1; index <= indexes; ++index)
            if (checkIndex(index) != 0) wrong.push_back(index);
        named = named || !wrong.empty();
        const bool promised = whole_.kind->length != 0 && isMendable(whole_, flip_, region_);
        if (named) {
            rebuild("isRebuildFree", promised, [&] { return isRebuildFree(isAdmItoD(fd_), ISFREE_DATA); });
            rebuilt_.insert(wrong.begin(), wrong.end());
            for (const int index : wrong)
                rebuild("isRebuildIdx", promised, [&] { return isRebuildIdx(isAdmItoD(fd_), index); });
        }
        if (!promised || stopped_) return named;
        if (named && region_ != Region::Status) recheck();
        for (int index = 1; index <= indexes; ++index)
            readThrough(index);
        readEach();
        return named;
    }

  private:
    int checkData() {
        return static_cast<int>(session_.look("ischeckdata", [this] { return ischeckdata(fd_); }));
    }
    int checkIndex(int index) {
        return static_cast<int>(session_.look("ischeckindex", [this, index] { return ischeckindex(fd_, index); }));
    }

    template <typename Body> void rebuild(const char *name, bool promised, Body body) {
        if (stopped_) return;
        int code = 0;
        const long done = session_.call(name, Effect::Works, [&] {
            const int result = body();
            code = isErrno(isAdmItoD(fd_));
            return result;
        });
        // Left out: it has stopped the process.
        if (done < 0) {
            stopped_ = true;
            if (promised) session_.problem("this damage is to be mended, not to stop the process");
            return;
        }
        if ((done == 1) != (code == 0) || (code != 0 && !isDocumented(name, code)))
            session_.problem("result " + std::to_string(done) + " with error " + std::to_string(code));
        // A key that has become another record's is none that can be mended.
        const bool twin = region_ == Region::RecordKey && code == ISERR_DUPLICATE;
        if (done != 1 && promised && !twin)
            session_.problem("this damage is to be mended, yet the rebuild fails with " + std::to_string(code));
        refused_ = refused_ || done != 1;
    }

    void recheck() {
        if (refused_) return;
        if (checkData() != whole_.map.sound().data)
            session_.problem("the data check is not content behind the rebuild");
        for (int index = 1; index <= whole_.kind->indexes(); ++index)
            if (checkIndex(index) != 0) session_.problem("the index check is not content behind the rebuild");
    }

    // Do the checks compare the index's entries with the records by number? Where they do not, they cannot name an
    // index that has lost some, and it is not made anew.
    bool isCounted(int index) const {
        if (whole_.kind->precious || whole_.kind->masked()) return false;
        for (const KeyDesc &key : whole_.kind->keys)
            if (key.nparts > 0 && --index == 0) return (key.flags & ISNULLKEY) == 0;
        return false;
    }

    void readThrough(int index) {
        if (session_.call("isindex", Effect::Reads, [&] { return isindex(fd_, index, 0); }) < 0) return;
        std::set<std::uint32_t> seen;
        int reads = 0;
        for (int mode = ISFIRST; reads < kMostReads; mode = ISNEXT, ++reads) {
            const long result = session_.call("isread", Effect::Reads, [&] { return isread(fd_, buffer(), mode); });
            if (result < 0 && iserrno == ISERR_ENDOFFILE) break;
            // A tail that cannot be read: the position has moved all the same.
            if (result < 0 && !isOfTails(region_)) break;
            seen.insert(static_cast<std::uint32_t>(isrecnum));
        }
        if (reads == kMostReads) session_.problem("reading along has no end");
        if (refused_ || (!isCounted(index) && rebuilt_.count(index) == 0)) return;
        for (std::uint32_t number = 1; number < whole_.records.size(); ++number)
            if (number != lost_ && whole_.map.entered(static_cast<std::size_t>(index) - 1, number) &&
                seen.count(number) == 0)
                session_.problem("record " + std::to_string(number) + " is not read through index " +
                                 std::to_string(index));
    }

    void readEach() {
        for (std::uint32_t number = 1; number < whole_.records.size(); ++number) {
            const std::vector<char> &wanted = whole_.records[number];
            if (number == lost_ || wanted.empty()) continue;
            const long result = session_.call("isdata", Effect::Reads,
                                              [&] { return isdata(fd_, buffer(), static_cast<long>(number)); });
            if (isOfTails(region_)) continue;
            if (result < 0 || !std::equal(wanted.begin(), wanted.end(), buffer()))
                session_.problem("record " + std::to_string(number) + " is not read as it was");
        }
    }

    std::set<int> rebuilt_;  // indexes
    Session &session_;
    const Whole &whole_;
    const Flip &flip_;
    const Region region_;
    const std::uint32_t lost_;
    int fd_ = -1;
    bool stopped_ = false, refused_ = false;
};

}  // namespace

Whole::Whole(const FlipKind &of) : kind(&of), set(makeSet(of)), map(set) {
    memory_files::clear();
    install(set);
    const int fd = isopen(kBase, ISINPUT | ISVARAUTO);
    const SetReader in(set);
    records.resize(std::size_t{in.lastRecord()} + 1);
    for (std::uint32_t number = 1; number <= in.lastRecord(); ++number)
        if (isdata(fd, buffer(), static_cast<long>(number)) == 0)
            records[number].assign(buffer(), buffer() + (of.tails() ? isreclen : of.length));
    isclose(fd);
}

bool playMending(Session &session, const Stage &stage, const Whole &whole, const Flip &flip) {
    setStage(stage);
    const int fd = openIn(session);
    if (fd < 0) return false;
    const bool named = Mending(session, whole, flip).play(fd);
    closeIn(session, fd);
    return named;
}

}  // namespace flips
