// The model's audit trail.
#include "file_model.h"

#include <utility>

namespace model {

// An entry of the audit trail for the record as it is now.
void FileModel::note(const char *type, long rec) {
    if (!auditOn_) return;
    const Record &now = record(rec);
    Audited audited{auditName_, {type, static_cast<std::uint32_t>(rec), {}}};
    Buffer &image = audited.entry.image;
    if (!variable() || !now.stored.empty()) {
        if (variable())
            testing_support::putBe(
                &image, static_cast<std::uint32_t>(recordLength()) + static_cast<std::uint32_t>(now.stored.size()), 2);
        image.insert(image.end(), now.bytes.begin(), now.bytes.begin() + recordLength());
        image.insert(image.end(), now.stored.begin(), now.stored.end());
    }
    audited_.push_back(std::move(audited));
}

std::vector<Audited> FileModel::takeAudited() {
    std::vector<Audited> out;
    out.swap(audited_);
    return out;
}

Outcome FileModel::audit(Outcome o, int mode, std::string *name) {
    if (mode != ISAUDSETNAME && !hasAudit_) return o.fail(102);
    switch (mode) {
    case ISAUDSETNAME:
        if (name->size() > ISAUDNAMELEN) return o.fail(114);
        hasAudit_ = true;
        auditName_ = *name;
        break;
    case ISAUDGETNAME: *name = auditName_; break;
    case ISAUDSTART: auditOn_ = true; break;
    case ISAUDSTOP: auditOn_ = false; break;
    default: *name = std::string(1, auditOn_ ? '\1' : '\0'); break;
    }
    return o;
}

}  // namespace model
