#include "expectation.h"

#include <algorithm>

namespace fault_testing {

namespace {

Value valueOf(const Change &change) { return {change.present, change.image, change.mask}; }

}  // namespace

bool sameKey(const KeyDesc &a, const KeyDesc &b) {
    if (a.nparts != b.nparts) return false;
    for (int i = 0; i < a.nparts; ++i)
        if (a.parts[i].start != b.parts[i].start || a.parts[i].length != b.parts[i].length ||
            a.parts[i].type != b.parts[i].type)
            return false;
    return true;
}

bool ExpectedFile::mayBeAbsent(std::int32_t ident) const {
    const auto found = records.find(ident);
    return found == records.end() ||
           std::any_of(found->second.begin(), found->second.end(), [](const Value &v) { return !v.present; });
}

Expectation::Expectation(const std::vector<Event> &events) {
    for (const Event &event : events) {
        const bool done = event.state == Event::State::Succeeded;
        if (event.state == Event::State::UnderWay) interrupted_ = event.call;
        for (const Change &change : event.changes) {
            if (done && change.certain)
                apply(change);
            else
                admit(change);
        }
    }
}

ExpectedFile *Expectation::find(const std::string &name) {
    for (ExpectedFile &file : files_)
        if (std::find(file.names.begin(), file.names.end(), name) != file.names.end()) return &file;
    return nullptr;
}

void Expectation::apply(const Change &change) {
    using Kind = Change::Kind;
    if (change.kind == Kind::MakeFile) {
        std::erase_if(files_, [&](const ExpectedFile &file) { return file.names.front() == change.file; });
        ExpectedFile file;
        file.shape = change.shape;
        file.names = {change.file};
        if (change.shape.key.nparts > 0) file.indexes.push_back({change.shape.key});
        files_.push_back(file);
        return;
    }
    ExpectedFile *const file = find(change.file);
    if (file == nullptr) return;
    switch (change.kind) {
    case Kind::EraseFile:
        std::erase_if(files_, [&](const ExpectedFile &one) { return one.names == file->names; });
        break;
    case Kind::Rename: file->names = {change.other}; break;
    case Kind::Record:
        file->records[change.ident] = {valueOf(change)};
        if (failed_) file->changedLater.insert(change.ident);
        break;
    case Kind::AddIndex: file->indexes.push_back({change.key}); break;
    case Kind::DropIndex:
        std::erase_if(file->indexes, [&](const ExpectedIndex &index) { return sameKey(index.key, change.key); });
        break;
    case Kind::MakeFile:
    case Kind::Cluster: break;
    }
}

// The change may have happened, or not, or half of it.
void Expectation::admit(const Change &change) {
    using Kind = Change::Kind;
    failed_ = true;
    if (change.kind == Kind::MakeFile) {
        if (find(change.file) != nullptr) return;
        apply(change);
        files_.back().mayBeMissing = true;
        return;
    }
    ExpectedFile *const file = find(change.file);
    if (file == nullptr) return;
    switch (change.kind) {
    case Kind::EraseFile: file->mayBeMissing = true; break;
    case Kind::Rename:
    case Kind::Cluster: file->names.push_back(change.other); break;
    case Kind::Record: {
        std::vector<Value> &values = file->records[change.ident];
        if (values.empty()) values.push_back({});
        values.push_back(valueOf(change));
        break;
    }
    case Kind::AddIndex: file->indexes.push_back({change.key, false}); break;
    case Kind::DropIndex:
        for (ExpectedIndex &index : file->indexes)
            if (sameKey(index.key, change.key)) index.certain = false;
        break;
    case Kind::MakeFile: break;
    }
}

}  // namespace fault_testing
