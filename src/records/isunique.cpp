// The unique ids that a file hands out.

#include <cstdint>

#include "base/isfail.h"
#include "frame/isentry.h"
#include "records/iswrite.h"
#include "storage/ishead.h"
#include "txn/islog.h"

int isSetUnique(IsamFile *h, long value) {
    return isChanging(h, [h, value] {
        h->uniqueId = static_cast<std::int32_t>(value);
        isHeadWrite(h);
        if (isLGtest(h)) isNeedLogged(h, isLGuniq(logtype::kSetUnique, h, value));
        return 1;
    });
}

int isUniqueId(IsamFile *h, long *id) {
    return isChanging(h, [h, id] {
        if (id == nullptr) isFail(h, ISERR_ARGUMENT);
        const std::int32_t value = h->uniqueId;
        const auto next = static_cast<std::int32_t>(static_cast<std::uint32_t>(value) + 1);
        h->uniqueId = next < 0 ? 1 : next;
        isHeadWrite(h);
        *id = value;
        if (isLGtest(h)) isNeedLogged(h, isLGuniq(logtype::kUnique, h, value));
        return 1;
    });
}
