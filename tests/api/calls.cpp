#include "calls.h"

#include "table.h"

namespace api {

namespace {

Access accessOf(Needs needs) {
    if (needs == Needs::kAny) return Access::kAny;
    return needs == Needs::kRead ? Access::kRead : Access::kWrite;
}

}  // namespace

const std::vector<Call> &allCalls() {
    static const std::vector<Call> calls = [] {
        std::vector<Call> made;
        for (const TableCall &call : wholeTable().calls)
            if (call.sets == Sets::kAll && call.good == 0 && !call.pair)
                made.push_back({call.name, accessOf(call.needs), call.run});
        return made;
    }();
    return calls;
}

const std::vector<NullCall> &nullCalls() {
    static const std::vector<NullCall> calls = [] {
        std::vector<NullCall> made;
        for (const Null &null : wholeTable().nulls)
            if (!null.changes) made.push_back({null.name, null.code, null.run});
        return made;
    }();
    return calls;
}

}  // namespace api
