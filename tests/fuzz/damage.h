// What is done to the files behind the library's back.
#ifndef TESTS_FUZZ_DAMAGE_H
#define TESTS_FUZZ_DAMAGE_H

#include "input.h"

namespace fuzz {

enum class DamageCode {
    Field,   // a field of a node gets a value: a class of node and set, b which of them, c field and value, d number
    Field2,  // the same; more of them makes them likelier
    Field3,
    Slot,      // a field of a record's slot
    Entry,     // a field of an entry in a tree's node
    LogField,  // a field of a log record
    Text,      // the link file, the audit trail's name or a log record's name
    Bytes,     // up to eight bytes anywhere
    Bit,
    Swap,   // two nodes change places, with their marks or without
    Copy,   // a node is copied over another one
    Blank,  // a node becomes zeros, but for its mark if wanted
    Cut,
    Grow,
    Replace,  // a file becomes that of another kind
    Remove,
    Restore,     // a file becomes sound again
    AddRecord,   // a log record is put together and added
    MoveRecord,  // a log record is copied behind another one, or taken out
    Count,
};
constexpr std::size_t kDamages = static_cast<std::size_t>(DamageCode::Count);
static_assert(kDamages <= kFirstCall);

void damage(std::size_t kind, const Operation &operation);

}  // namespace fuzz

#endif
