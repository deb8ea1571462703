#include "txn/islogtab.h"

#include <cstring>

#include "base/isglobal.h"
#include "base/ismemory.h"

namespace {

constexpr int kGrowth = 10;
constexpr int kKeptModeBits = 0x7fff;
constexpr int kFileModeBits = ISVARLEN | ISCOMPRESS;  // may come from the file

bool isParked(const IsamFile *h) { return (h->state & ISSTATE_PARKED) != 0; }

// Highest slot that holds item, -1 when there is none.
template <typename T> int findit(T *const *table, int slots, const T *item) {
    for (int i = slots - 1; i >= 0; --i)
        if (table[i] == item) return i;
    return -1;
}

// Highest free slot, of a table grown if need be.
template <typename T> int freeSlot(T **&table, int &slots) {
    const int found = findit<T>(table, slots, nullptr);
    if (found >= 0) return found;
    const auto oldSize = sizeof(T *) * static_cast<std::size_t>(slots);
    table = static_cast<T **>(is_realloc(table, oldSize, oldSize + sizeof(T *) * kGrowth));
    slots += kGrowth;
    return slots - 1;
}

}  // namespace

std::int16_t isTxnId() { return isProcess.callback != nullptr ? isProcess.callback() : std::int16_t{0}; }

Txn *findid(std::int16_t id) {
    for (int i = isProcess.txncount - 1; i >= 0; --i) {
        Txn *txn = isProcess.txnlist[i];
        if (txn != nullptr && txn->id == id) return txn;
    }
    return nullptr;
}

Txn *txnwork() {
    if (isProcess.txnlist == nullptr) return nullptr;
    return findid(isTxnId());
}

Txn *isTxnAdd(std::int16_t id) {
    const int slot = freeSlot(isProcess.txnlist, isProcess.txncount);
    auto *txn = is_new<Txn>();
    txn->id = id;
    txn->logSerial = isProcess.logSerial;
    isProcess.txnlist[slot] = txn;
    return txn;
}

void isTxnRemove(Txn *txn) {
    ProcessState &p = isProcess;
    p.txnlist[findit(p.txnlist, p.txncount, txn)] = nullptr;
    is_free(txn->parked);
    is_free(txn);
    for (int i = 0; i < p.txncount; ++i)
        if (p.txnlist[i] != nullptr) return;
    p.txnlist = static_cast<Txn **>(is_free(p.txnlist));
    p.txncount = 0;
}

int isTxnIdentity(short (*identity)()) {
    isProcess.callback = identity;
    return 1;
}

void putvfile(Txn *txn, IsamFile *h) {
    const int slot = freeSlot(txn->parked, txn->parkedSlots);
    txn->parked[slot] = h;
    h->state |= ISSTATE_PARKED;
}

IsamFile *getvfile(Txn *txn, const char *name, int mode) {
    for (int i = txn->parkedSlots - 1; i >= 0; --i) {
        IsamFile *h = txn->parked[i];
        if (h == nullptr || std::strcmp(h->name, name) != 0) continue;
        if (((h->mode ^ mode) & kKeptModeBits & ~kFileModeBits) != 0) continue;
        txn->parked[i] = nullptr;
        h->state &= static_cast<std::uint16_t>(~ISSTATE_PARKED);
        return h;
    }
    return nullptr;
}

void dropvfile(const IsamFile *h) {
    if (!isParked(h)) return;
    for (int i = 0; i < isProcess.txncount; ++i) {
        Txn *txn = isProcess.txnlist[i];
        const int slot = txn != nullptr ? findit(txn->parked, txn->parkedSlots, h) : -1;
        if (slot >= 0) txn->parked[slot] = nullptr;
    }
}
