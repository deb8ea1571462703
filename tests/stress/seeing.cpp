// What a record that was read must be, by what the journal said before the call and says after it.
#include "worker.h"

namespace stress {

// Chooses an index, 0 for record-number order, with the whole key counting.
void Worker::select(int index) {
    if (current_ == index && index != 0) return;
    KeyDesc none{};
    KeyDesc wanted = index == 0 ? none : key(index);
    const int code = did(isstart(fd_, &wanted, 0, record_, ISFIRST), Counter::ReadCalls);
    if (stopped_) return;
    if (code != 0) finding(-1, "isstart on index %d: %d/%d", index, code, iserrio);
    current_ = index;
}

// Looks at the record in record_. before: what was known when the call began.
Facts Worker::see(const char *how, const AllKnown &before) {
    Facts facts;
    const bool sound = parse(record_, isreclen, &facts);
    if (facts.key < 0 || facts.key >= kKeys) finding(-1, "%s: a record with key %d", how, facts.key);
    if (!sound) finding(facts.key, "%s: torn record, length %d, version %u", how, isreclen, facts.version);
    const Known &known = before[static_cast<std::size_t>(facts.key)];
    KeyEntry &now = entry(facts.key);
    if (facts.version > now.drawn)
        finding(facts.key, "%s: version %u, given out: %u", how, facts.version, now.drawn.load());
    // A version seen once is not followed by an earlier one, unless a change was rolled back since, or was being rolled
    // back then.
    Seen &seen = seen_[static_cast<std::size_t>(facts.key)];
    if (facts.version < seen.version && now.rollbacks == seen.rollbacks)
        finding(facts.key, "%s: version %u after version %u", how, facts.version, seen.version);
    seen = {known.settled() ? facts.version : 0, known.rollbacks};
    mustBe(how, known, facts);
    add(Counter::RecordsVerified);
    return facts;
}

bool Worker::unchanged(int key, const Known &before) {
    return before.settled() && entry(key).sequence == before.sequence;
}

// A record that nobody changed while it was read is the one that was last written.
void Worker::mustBe(const char *how, const Known &before, const Facts &facts) {
    if (!unchanged(facts.key, before)) return;
    if (before.image != facts.image())
        finding(facts.key, "%s: version %u, where version %u had been written", how, facts.version,
                before.image.version);
    add(Counter::RecordsExact);
}

// The key at the position, as the handle has it.
std::string Worker::currentKey() {
    const void *at = isseekey(fd_);
    const KeyDesc *desc = isqv_kdsc(fd_);
    if (at == nullptr || desc == nullptr) return "";
    return std::string(static_cast<const char *>(at), static_cast<std::size_t>(desc->keyLength));
}

}  // namespace stress
