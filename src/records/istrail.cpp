#include "records/istrail.h"

#include <cstring>

#include "base/isfail.h"
#include "frame/isentry.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "txn/isaudit.h"

namespace {

constexpr const char *kModule = "isaudit.c";
constexpr int kBadModeLine = 56;

void writeinfo(IsamFile *h) {
    isAudStore(h);
    isEndChange(h);
}

void setName(IsamFile *h, const char *name) {
    if (strnlen(name, ISAUDNAMELEN + 1) > ISAUDNAMELEN) isFail(h, ISERR_NAMETOOLONG);
    if (h->auditNode == 0) std::memset(h->auditInfo, 0, sizeof h->auditInfo);
    isAudSetName(h, name);
    writeinfo(h);
}

void setState(IsamFile *h, bool on) {
    isAudSwitch(h, on);
    writeinfo(h);
}

}  // namespace

int isAudit(IsamFile *h, char *buffer, int mode) {
    return isChanging(h, [h, buffer, mode] {
        if (!isAudLoad(h) && mode != ISAUDSETNAME) isFail(h, ISERR_ARGUMENT);
        const bool takesBuffer = mode == ISAUDSETNAME || mode == ISAUDGETNAME || mode == ISAUDINFO;
        if (mode < 0 || (takesBuffer && buffer == nullptr)) isFail(h, ISERR_ARGUMENT);
        switch (mode) {
        case ISAUDSETNAME: setName(h, buffer); break;
        case ISAUDGETNAME: std::memcpy(buffer, isAudName(h), std::strlen(isAudName(h)) + 1); break;
        case ISAUDSTART: setState(h, true); break;
        case ISAUDSTOP: setState(h, false); break;
        case ISAUDINFO: buffer[0] = isAudIsOn(h) ? 1 : 0; break;
        default: isBroken(kModule, kBadModeLine);
        }
        return 1;
    });
}
