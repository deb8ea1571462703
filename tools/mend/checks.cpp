#include "mend/checks.h"

#include "base/failure.h"
#include "base/open_file.h"
#include "base/progress.h"
#include "index/data_slots.h"

#include <algorithm>
#include <cerrno>
#include <optional>

namespace tool {

namespace {

constexpr int kMessages = 16;

const char *meaningOf(int bit) {
    switch (1 << bit) {
    case ISCHK_DATAREAD: return "slots that the index file counts are not there or cannot be read";
    case ISCHK_RECORD: return "a slot is neither a record nor free";
    case ISCHK_FREELIST: return "numbers of deleted records are missing in their list, or others stand in it";
    case ISCHK_INDEXREAD: return "part of it cannot be read, or leads nowhere";
    case ISCHK_KEYORDER: return "searches can miss records that are there";
    case ISCHK_KEYCOUNT: return "records are missing in it, or deleted ones still stand in it";
    case ISCHK_MAGIC: return "a node that should hold tails does not";
    case ISCHK_MISMATCH: return "records are found by keys that they do not have";
    case ISCHK_BUCKET0: return "a list that is always empty is not";
    case ISCHK_MISFILED: return "a node stands in the list for another room than it has";
    case ISCHK_LINK: return "a list of nodes with room for tails is broken";
    case ISCHK_LOST: return "room of tails is lost, or a tail is";
    case ISCHK_LENGTH: return "the tail of a record cannot be read";
    default: return "";
    }
}

class Checker {
  public:
    explicit Checker(const std::string &name) : name_(name) {}

    Checked run() {
        lookByItself();
        if (const auto file = open()) {
            checked_.opens = true;
            runChecks(*file);
        }
        return std::move(checked_);
    }

  private:
    void complain(Severity severity, const std::string &where, const std::string &what,
                  const std::string &meaning = "") {
        checked_.complaints.push_back({severity, where, what, meaning});
    }

    void lookByItself() {
        const FileView view(name_, FileView::Access::kShared);
        checked_.shape = readShape(view);
        for (const std::string &problem : checked_.shape.problems)
            complain(Severity::kDamage, "index file", problem);
        if (!checked_.shape.headerRead) return;
        if (checked_.shape.header.recordLength != 0 && !view.hasData())
            complain(Severity::kDamage, "data file", "it is missing");
        lookBehind(view);
        Progress progress("reading " + name_, checked_.shape.nodesInFile(view));
        checked_.survey = surveyNodes(view, checked_.shape, [&progress](std::uint64_t nodes) { progress.step(nodes); });
        for (const NodeFinding &finding : checked_.survey.findings)
            complain(finding.severity, "index file", finding.text);
    }

    // An added record that was cut off by a kill may lie there, one; the header's number is wrong where there are more.
    void lookBehind(const FileView &view) {
        const IndexHeader &header = checked_.shape.header;
        if (header.recordLength == 0 || !view.hasData()) return;
        DataSlots slots(view, header);
        for (std::uint64_t number = header.lastRecord + 1; number <= slots.count(); ++number) {
            const ConstBytes slot = slots.read(number);
            if (!slot.empty() && slots.status(slot) == kSlotPresent) ++checked_.uncounted;
        }
        if (checked_.uncounted > 1) {
            complain(Severity::kDamage, "data file",
                     std::to_string(checked_.uncounted) +
                         " records lie behind the highest number that the index file "
                         "counts, " +
                         std::to_string(header.lastRecord),
                     "nobody finds them, and new ones would be written over them");
        }
    }

    // Nothing where the library refuses the set for what is wrong with it.
    std::optional<OpenFile> open() {
        try {
            return OpenFile::forReading(name_);
        } catch (const Failure &) {
            const bool damage = iserrno == ISERR_CORRUPT || iserrno == ISERR_KEYDESC || iserrno == ISERR_ARGUMENT ||
                                iserrno == ENOENT || iserrno == EIO;
            if (!damage) throw;
            complain(Severity::kDamage, "library", "does not open the set: " + lastError());
            return std::nullopt;
        }
    }

    // The bits of a result, and what it is if the call itself failed.
    int take(const std::string &where, int result) {
        if (result < 0) throw Failure(name_ + ": cannot be checked: " + lastError());
        for (int bit = 0; bit < kMessages; ++bit)
            if ((result & 1 << bit) != 0) complain(Severity::kDamage, where, isCheckMsg[bit], meaningOf(bit));
        return result;
    }

    void runChecks(const OpenFile &file) {
        const int indexes = static_cast<int>(file.indexes().size());
        Progress progress("checking " + name_, static_cast<std::uint64_t>(indexes) + 2);
        if (file.hasRecords()) checked_.data = take("data file", ischeckdata(file.fd()));
        progress.step();
        for (int i = 1; i <= indexes; ++i) {
            checked_.indexes.push_back(take("index " + std::to_string(i), ischeckindex(file.fd(), i)));
            progress.step();
        }
        long statistics[6];
        if (file.variableLength()) checked_.tails = take("tails", ischeckvarlen(file.fd(), statistics));
    }

    const std::string &name_;
    Checked checked_;
};

}  // namespace

bool Checked::damaged() const {
    return std::any_of(complaints.begin(), complaints.end(),
                       [](const Complaint &complaint) { return complaint.severity == Severity::kDamage; });
}

Checked checkSet(const std::string &name) { return Checker(name).run(); }

}  // namespace tool
