#include "varlen_test.h"

namespace golden {

void VarlenTest::build(int more_mode) { buildVarying(4, 32511, keyDesc(ISNODUPS, {{0, 1, CHARTYPE}}), more_mode); }

void VarlenTest::writeTails() {
    write("'a---' 'a'*600", 1);
    write("'b---' 'b'*600", 2);
    write("'c---' 'c'*600", 3);
}

Image VarlenTest::start(std::size_t nodes, const Counters &counters, const Heads &heads, std::string_view flags) {
    Image idx(nodes);
    idx.header()
        .at(8, "00 01")   // indexes
        .at(13, "00 04")  // shortest record
        .at(25, counters.free_records)
        .at(29, counters.free_nodes)
        .at(33, counters.last_record)
        .at(37, counters.last_node)
        .at(41, counters.changes)
        .at(45, "00 00 00 01")  // unique id
        .at(59, "7E FF")        // longest record
        .at(61, "00 00 00 00")  // bucket 0
        .at(65, heads.one)
        .at(69, heads.two)
        .at(73, heads.three)
        .at(77, heads.four)
        .at(1018, flags);
    idx.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 01 00 00 00");       // length, start, type
    return idx;
}

}  // namespace golden
