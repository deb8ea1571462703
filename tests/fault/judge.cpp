#include "judge.h"

#include "expectation.h"
#include "mending.h"
#include "reading.h"

#include "process/log_replay.h"
#include "support/file_check.h"
#include "support/file_reader.h"
#include "support/key_image.h"
#include "support/log_reader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace fault_testing {

namespace {

using testing_support::Bytes;
using testing_support::IndexSpec;

const unsigned char *bytesOf(const std::string &text) { return reinterpret_cast<const unsigned char *>(text.data()); }

Bytes fileBytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string errorText() { return "error " + std::to_string(iserrno) + ", io " + std::to_string(iserrio); }

// Of a node that lists free ones.
constexpr int kListMark = 0xff, kListLevel = 127;

// Looks at one file set that has been opened, and mends it.
class FileJudge {
  public:
    FileJudge(const ExpectedFile &expected, const std::string &name, int fd, bool insideWrite, Verdict *verdict)
        : expected_(expected), name_(name), fd_(fd), verdict_(*verdict), records_(expected.shape.minimum != 0),
          insideWrite_(insideWrite) {}

    // mayMend: otherwise the checks have to be 0.
    int judgeAll(bool mayMend) {
        if (!mendAll(mayMend)) return fd_;
        readIndexes();
        settleRecords();
        for (std::size_t i = 0; i < specs_.size(); ++i)
            judgeIndex(static_cast<int>(i) + 1);
        work();
        return fd_;
    }

    std::vector<std::string> images() const {
        std::vector<std::string> out;
        for (const auto &[ident, value] : settled_)
            out.push_back(value.image);
        std::sort(out.begin(), out.end());
        return out;
    }

  private:
    void problem(const std::string &text) { verdict_.problems.push_back(name_ + ": " + text); }

    // False: there is nothing to read.
    bool mendAll(bool mayMend) {
        ++verdict_.files;
        // Keys stand nowhere else: torn ones may not even be read.
        const bool hopeless = insideWrite_ && !records_;
        Mending mending;
        if (mayMend && !hopeless)
            mending = mend(&fd_);
        else
            mending.first = mending.last = checksOf(fd_);
        verdict_.bits |= mending.first.bits();
        if (mending.first.bits() == 0) ++verdict_.sound;
        verdict_.freeLists += mending.freeList ? 1 : 0;
        verdict_.indexes += mending.indexes;
        verdict_.clustered += mending.clustered ? 1 : 0;
        first_ = mending.first.text();
        testing_support::FileReader files(name_);
        std::vector<std::string> wrong;
        precious_ = files.refresh(&wrong) && files.header().precious();
        if (hopeless && mending.first.bits() != 0) {
            ++verdict_.others;
            return false;
        }
        if (!mending.problem.empty() || mending.last.bits() != 0)
            problem("cannot be mended: first " + first_ + "; " + mending.problem);
        for (const std::int32_t ident : mending.removed)
            noteUnreadable(ident, "has lost its tail");
        return true;
    }

    // The indexes of the file are those expected, in their order.
    void readIndexes() {
        std::vector<KeyDesc> keys;
        KeyDesc key{};
        while (isindexinfo(fd_, &key, static_cast<int>(keys.size()) + 1) == 0 && key.nparts > 0) {
            keys.push_back(key);
            specs_.push_back(testing_support::specOf(key));
        }
        std::size_t at = 0;
        for (const ExpectedIndex &index : expected_.indexes) {
            if (at < keys.size() && sameKey(keys[at], index.key))
                ++at;
            else if (index.certain)
                problem("an index is missing");
        }
        if (at < keys.size()) problem("an index too many");
    }

    // What tells records apart: the image, where there is nothing else the key.
    std::string essence(const std::string &image) const {
        return records_ || specs_.empty() ? image : testing_support::makeKey(specs_[0], bytesOf(image));
    }

    // By number, or by the first index, each record gets the one value that it has.
    void settleRecords() {
        std::size_t most = 16;
        for (const auto &[ident, values] : expected_.records)
            most += values.size();
        for (const Found &found : readAll(fd_, records_ ? 0 : 1, most)) {
            if (found.error != 0) {
                noteUnreadable(slotIdent(found.number), "error " + std::to_string(found.error));
                continue;
            }
            const std::int32_t ident = identOf(found.image);
            const Value *const value = match(ident, found);
            if (value == nullptr && inFlight(ident) &&
                (insideWrite_ || isOthersRoom() || isMixture(found.image, ident))) {
                ++verdict_.torn;
                settled_.emplace(ident, Value{true, found.image, found.mask});
                continue;
            }
            if (value == nullptr && !records_ && isLater(ident)) {
                ++verdict_.unseen;
                continue;
            }
            if (value == nullptr && isShared()) {
                noteUnreadable(ident, "has another one's tail");
                continue;
            }
            if (value == nullptr) {
                problem("record " + std::to_string(found.number) + ", ident " + std::to_string(ident) +
                        ": neither the old nor the new one");
                continue;
            }
            if (!settled_.emplace(ident, *value).second) noteTwice(ident);
        }
        for (const auto &[ident, values] : expected_.records)
            if (settled_.count(ident) == 0 && unreadable_.count(ident) == 0 && !expected_.mayBeAbsent(ident))
                noteUnreadable(ident, "is lost");
    }

    const Value *match(std::int32_t ident, const Found &found) const {
        const auto values = expected_.records.find(ident);
        if (values == expected_.records.end()) return nullptr;
        const bool masked = (expected_.shape.mode & ISMASK) != 0;
        for (const Value &value : values->second)
            if (value.present && essence(value.image) == essence(found.image) && (!masked || value.mask == found.mask))
                return &value;
        return nullptr;
    }

    // Pieces of both tails: the new one takes the room of the old one.
    bool isMixture(const std::string &image, std::int32_t ident) const {
        constexpr std::size_t kPiece = 994;
        const auto fixed = static_cast<std::size_t>(expected_.shape.minimum);
        if (!expected_.shape.variable()) return false;
        std::set<std::string> fixedParts, pieces;
        const auto cut = [&](const std::string &whole, auto &&take) {
            for (std::size_t at = fixed; at < whole.size(); at += kPiece)
                take(whole.substr(at, kPiece));
        };
        for (const Value &value : expected_.records.at(ident)) {
            fixedParts.insert(value.image.substr(0, fixed));
            cut(value.image, [&](const std::string &piece) { pieces.insert(piece); });
        }
        bool made = fixedParts.contains(image.substr(0, fixed));
        cut(image, [&](const std::string &piece) { made = made && pieces.contains(piece); });
        return made;
    }

    std::int32_t slotIdent(long number) const {
        testing_support::FileReader files(name_);
        std::vector<std::string> wrong;
        Bytes slot;
        if (!files.refresh(&wrong) || !files.slot(number, &slot) || slot.size() < 4) return 0;
        return static_cast<std::int32_t>(testing_support::be32(slot.data()));
    }

    bool inFlight(std::int32_t ident) const {
        const auto values = expected_.records.find(ident);
        return values != expected_.records.end() && values->second.size() > 1;
    }

    // The record of the interrupted call may have lost its tail.
    void noteUnreadable(std::int32_t ident, const std::string &why) {
        if (!unreadable_.insert(ident).second) return;
        if (expected_.shape.variable() && inFlight(ident))
            ++verdict_.torn;
        else if (isShared())
            ++verdict_.others;
        else
            problem("ident " + std::to_string(ident) + ": " + why + "; first " + first_);
    }

    void noteTwice(std::int32_t ident) {
        if (isShared())
            ++verdict_.others;
        else
            problem("ident " + std::to_string(ident) + " twice; first " + first_);
    }

    // Half a write may have gone to a node that others have tails in, or keys that stand nowhere else.
    bool isShared() const { return insideWrite_ && (expected_.shape.variable() || !records_); }

    // The checks do not count its entries.
    bool isUncounted(int index) const {
        return !records_ || precious_ || (expected_.shape.mode & ISMASK) != 0 ||
               specs_[static_cast<std::size_t>(index) - 1].nullKeys();
    }

    // What the failed rewrite of a tail still points to, a later change has taken.
    bool isOthersRoom() const { return expected_.shape.variable() && !expected_.changedLater.empty(); }

    // Of two entries that a split has left, a later change takes one along.
    bool isLater(std::int32_t ident) const { return expected_.changedLater.count(ident) != 0; }

    // An index and a record do not agree. leftOver: an entry too many, as when a node was being split.
    void disagreement(int index, std::int32_t ident, const std::string &text, bool leftOver = false) {
        if (unreadable_.count(ident) != 0) return;
        // Half a node can exchange entries of equal keys.
        const bool exchanged = insideWrite_ && specs_[static_cast<std::size_t>(index) - 1].duplicates();
        if (exchanged || (isUncounted(index) && (insideWrite_ || inFlight(ident) || leftOver)))
            ++verdict_.unseen;
        else
            problem("index " + std::to_string(index) + ": ident " + std::to_string(ident) + " " + text + "; first " +
                    first_);
    }

    bool belongs(const Value &value, int index) const {
        const IndexSpec &spec = specs_[static_cast<std::size_t>(index) - 1];
        if (records_ && (expected_.shape.mode & ISMASK) != 0 && (value.mask >> (index - 1) & 1U) != 0) return false;
        return !records_ || !spec.nullKeys() || !isNullKey(spec, testing_support::makeKey(spec, bytesOf(value.image)));
    }

    void judgeIndex(int index) {
        const IndexSpec &spec = specs_[static_cast<std::size_t>(index) - 1];
        std::map<std::int32_t, int> seen;
        std::string before;
        for (const Found &found : readAll(fd_, index, settled_.size() + unreadable_.size() + 16)) {
            if (found.error != 0) {
                const std::int32_t ident = slotIdent(found.number);
                disagreement(index, ident, "gives error " + std::to_string(found.error), isLater(ident));
                ++seen[ident];
                continue;
            }
            const testing_support::Key key = testing_support::makeKey(spec, bytesOf(found.image));
            const std::int32_t ident = identOf(found.image);
            if (!before.empty() && testing_support::compareKeys(spec, before, key) > 0)
                disagreement(index, ident, "is out of order");
            before = key;
            const auto settled = settled_.find(ident);
            if (settled == settled_.end() || essence(settled->second.image) != essence(found.image))
                disagreement(index, ident, "is another one than by number", isLater(ident));
            else if (!belongs(settled->second, index))
                disagreement(index, ident, "does not belong there", isLater(ident));
            if (++seen[ident] > 1) disagreement(index, ident, "comes twice", true);
        }
        for (const auto &[ident, value] : settled_) {
            if (!belongs(value, index)) continue;
            if (seen.count(ident) == 0)
                disagreement(index, ident, "is missing");
            else if (!findsKey(fd_, index, value.image))
                disagreement(index, ident, "is not found by its key");
        }
    }

    // What looks sound must not ruin the records when it is written to. A list of free nodes whose first node serves
    // another purpose by now is refused when it is wanted: a file made anew has a new one.
    void work() {
        if (insideWrite_ && !records_) return;
        if (isWorn()) {
            ++verdict_.worn;
            if (!makeAnew(&fd_)) problem("its list of free nodes is worn, and it cannot be made anew: " + errorText());
        }
        for (const std::string &text : sharedNodes())
            problem("unseen by the checks: " + text + "; first " + first_);
    }

    bool isWorn() const {
        testing_support::FileReader files(name_);
        std::vector<std::string> wrong;
        if (!files.refresh(&wrong)) return true;
        Bytes node;
        const auto most = static_cast<std::uint32_t>(files.indexFileSize() / files.header().nodeSize);
        std::uint32_t number = files.header().indexFreeHead;
        for (std::uint32_t count = 0; number != 0; number = testing_support::be32(node.data() + 2))
            if (++count > most || !files.node(number, &node) || node[node.size() - 3] != kListMark ||
                node[node.size() - 2] != kListLevel)
                return true;
        return false;
    }

    std::vector<std::string> sharedNodes() const {
        std::vector<std::string> out;
        for (const std::string &text : testing_support::checkFiles(name_, {.membership = false}).problems)
            if (text.find(" is both ") != std::string::npos) out.push_back(text);
        return out;
    }

    const ExpectedFile &expected_;
    const std::string name_;
    int fd_;
    Verdict &verdict_;
    const bool records_;
    const bool insideWrite_;
    bool precious_ = false;
    std::string first_;
    std::vector<IndexSpec> specs_;
    std::map<std::int32_t, Value> settled_;
    std::set<std::int32_t> unreadable_;
};

constexpr int kOpenMode = ISINOUT | ISLOCKEXCL | ISVARAUTO;

void judgeFile(const ExpectedFile &expected, bool insideWrite, Verdict *verdict) {
    std::string errors;
    for (const std::string &name : expected.names) {
        int fd = isopen(name.c_str(), kOpenMode);
        if (fd < 0) {
            errors += name + " " + errorText() + "; ";
            continue;
        }
        fd = FileJudge(expected, name, fd, insideWrite, verdict).judgeAll(true);
        if (isclose(fd) != 0) verdict->problems.push_back(name + ": isclose: " + errorText());
        return;
    }
    ++verdict->absent;
    if (!expected.mayBeMissing) verdict->problems.push_back("cannot be opened: " + errors);
}

// What the log alone says that the files hold.
process_testing::LogReplay replay(const Expectation &start, const std::vector<testing_support::LogRecord> &records,
                                  Verdict *verdict) {
    process_testing::LogReplay out;
    for (const ExpectedFile &file : start.files()) {
        process_testing::Contents contents;
        for (const ExpectedIndex &index : file.indexes)
            contents.indexes.push_back(testing_support::describe(testing_support::specOf(index.key)));
        for (const auto &[ident, values] : file.records)
            if (values.front().present) contents.records.push_back(values.front().image);
        const bool compressed = (file.shape.mode & ISCOMPRESS) != 0;
        out.start({file.names.front(), file.shape.minimum, file.shape.maximum, compressed}, contents);
    }
    const std::string wrong = out.apply(records);
    if (!wrong.empty()) verdict->problems.push_back("log: " + wrong);
    return out;
}

}  // namespace

std::string Verdict::text() const {
    std::string out;
    for (const std::string &one : problems)
        out += "  " + one + "\n";
    return out;
}

Verdict judge(const std::vector<Event> &events, bool insideWrite) {
    Verdict out;
    const Expectation expectation(events);
    for (const ExpectedFile &file : expectation.files())
        judgeFile(file, insideWrite, &out);
    return out;
}

Verdict judgeRecovery(const std::vector<Event> &events, const std::string &log) {
    Verdict out;
    std::vector<Event> prepared;
    std::copy_if(events.begin(), events.end(), std::back_inserter(prepared), [](const Event &e) { return e.prepared; });
    const Bytes bytes = fileBytes(log);
    std::vector<testing_support::LogRecord> records;
    testing_support::readLog(bytes, &records);
    const auto said = replay(Expectation(prepared), records, &out).files();

    const std::size_t whole =
        records.empty() ? 0 : records.back().offset + static_cast<std::size_t>(records.back().length);
    if (islogopen(log.c_str()) != 0) out.problems.push_back("islogopen: " + errorText());
    if (isrecover() != 0 && (iserrno != ISERR_LOGREAD || whole == bytes.size()))
        out.problems.push_back("isrecover: " + errorText());
    islogclose();

    const Expectation expectation(events);
    for (const ExpectedFile &file : expectation.files()) {
        const std::string &name = file.names.front();
        const auto logged = said.find(name);
        int fd = isopen(name.c_str(), kOpenMode);
        if (fd < 0) {
            ++out.absent;
            if (logged != said.end()) out.problems.push_back(name + ": not there after recovery: " + errorText());
            continue;
        }
        FileJudge one(file, name, fd, false, &out);
        fd = one.judgeAll(false);
        if (logged == said.end())
            out.problems.push_back(name + ": the log has no such file");
        else if (logged->second.records != one.images())
            out.problems.push_back(name + ": other records than the log says");
        isclose(fd);
    }
    return out;
}

}  // namespace fault_testing
