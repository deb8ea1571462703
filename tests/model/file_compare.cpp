#include "file_compare.h"

#include "library_checks.h"

#include <algorithm>
#include <utility>

namespace model {

namespace {

using testing_support::CheckReport;
using testing_support::FileHeader;
using testing_support::FileReader;
using testing_support::TreeEntry;

std::string compareHeader(const FileReader &reader, const CheckReport &report, const FileModel &model) {
    const FileHeader &header = reader.header();
    if (static_cast<long>(header.lastRecord) != model.last() || header.precious() != model.precious() ||
        reader.indexes().size() != model.keyCount() || reader.noPrimaryKey() != model.noPrimary())
        return "header: last record " + std::to_string(header.lastRecord) + ", " +
               std::to_string(reader.indexes().size()) + " indexes; the model has " + std::to_string(model.last()) +
               ", " + std::to_string(model.keyCount());
    if (header.uniqueId != static_cast<std::uint32_t>(model.uniqueIdNow()))
        return "header: unique id " + std::to_string(header.uniqueId) + ", should be " +
               std::to_string(model.uniqueIdNow());
    const Format &format = model.format();
    if (header.recordLength != format.recordLength || header.variableMaximum != format.maximumLength ||
        header.compressed() != format.compressed || header.masked() != format.masked)
        return "header: another format";
    if ((header.auditNode != 0) != model.hasAudit() || report.audit.on != model.auditOn() ||
        report.audit.name != model.auditName())
        return "audit settings: " + report.audit.name + (report.audit.on ? " on" : " off") + ", should be " +
               model.auditName() + (model.auditOn() ? " on" : " off");
    if (!std::equal(header.userInfo.begin(), header.userInfo.end(), model.userInfo().begin()))
        return "header: other bytes of the application";
    if (!std::equal(report.freeRecords.begin(), report.freeRecords.end(), model.freeRecords().rbegin(),
                    model.freeRecords().rend()))
        return "free record numbers: other ones, or in another order";
    return "";
}

bool sameEntry(const TreeEntry &leaf, const Entry &entry, bool serials) {
    return leaf.key == entry.key && static_cast<long>(leaf.pointer) == entry.rec &&
           (!serials || leaf.serial == entry.serial);
}

bool sameEntries(const std::vector<TreeEntry> &leaves, const Index &index, Equals equals) {
    if (leaves.size() != index.entries.size()) return false;
    if (equals != Equals::kSet) {
        bool serials = equals == Equals::kSerials && index.spec.duplicates();
        return std::equal(leaves.begin(), leaves.end(), index.entries.begin(),
                          [=](const TreeEntry &a, const Entry &b) { return sameEntry(a, b, serials); });
    }
    std::vector<std::pair<Key, long>> found;
    std::vector<std::pair<Key, long>> wanted;
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        if (leaves[i].key != index.entries[i].key) return false;
        found.emplace_back(leaves[i].key, static_cast<long>(leaves[i].pointer));
        wanted.emplace_back(index.entries[i].key, index.entries[i].rec);
    }
    std::sort(found.begin(), found.end());
    std::sort(wanted.begin(), wanted.end());
    return found == wanted;
}

std::string compareTail(const CheckReport &report, std::size_t at, const Record &record, std::size_t fixed) {
    const testing_support::Bytes &tail = report.tails[at];
    bool read = record.bytes.size() == fixed + tail.size() &&
                std::equal(tail.begin(), tail.end(), record.bytes.begin() + static_cast<std::ptrdiff_t>(fixed));
    if (!read)
        return "a tail of " + std::to_string(tail.size()) + " bytes, should be " +
               std::to_string(record.bytes.size() - fixed) + ", or other bytes";
    return report.storedTails[at] == record.stored ? "" : "a tail that is stored otherwise";
}

std::string compareSlots(const FileReader &reader, const CheckReport &report, const FileModel &model) {
    Buffer slot;
    auto fixed = static_cast<std::size_t>(model.recordLength());
    for (long n = 1; n <= model.last(); ++n) {
        auto at = static_cast<std::size_t>(n - 1);
        const Record &record = model.records()[at];
        std::string name = "slot " + std::to_string(n) + " has ";
        if (!reader.slot(n, &slot) ||
            !std::equal(slot.begin(), slot.begin() + static_cast<std::ptrdiff_t>(fixed), record.bytes.begin()))
            return name + "other bytes than the model";
        if ((slot[fixed] == 0x0a) != record.live) return name + "another status than the model";
        if (model.masked() && testing_support::be32(slot.data() + slot.size() - 4) != record.mask)
            return name + "another mask than the model";
        if (!model.variable() || !record.live) continue;
        std::string wrong = compareTail(report, at, record, fixed);
        if (!wrong.empty()) return name + wrong;
    }
    return "";
}

}  // namespace

std::string compareFile(const FileReader &reader, const CheckReport &report, const FileModel &model, Equals equals) {
    std::string wrong = compareHeader(reader, report, model);
    if (!wrong.empty()) return wrong;
    for (std::size_t i = 0; i < model.keyCount(); ++i)
        if (reader.indexes()[i].flags != model.indexes()[i].spec.flags ||
            !sameEntries(report.leaves[i], model.indexes()[i], equals))
            return "index " + std::to_string(i) + " holds other entries than the model";
    return compareSlots(reader, report, model);
}

std::string compareSound(int fd, FileReader *reader, const FileModel &model) {
    testing_support::CheckOptions options;
    options.serials = false;
    CheckReport report = testing_support::checkFiles(*reader, options);
    if (!report.clean()) return report.text();
    std::string wrong = compareFile(*reader, report, model, Equals::kOrder);
    return wrong.empty() && fd >= 0 ? compareChecks(fd, *reader, report) : wrong;
}

}  // namespace model
