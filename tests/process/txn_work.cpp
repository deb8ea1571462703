#include "txn_work.h"

#include <algorithm>
#include <sched.h>

namespace process_testing {

namespace {

constexpr int kMostChanges = 9;  // in a transaction
constexpr int kMoveEvery = 16;   // steps

}  // namespace

TxnWork::TxnWork(const std::vector<TxnFile> &shared, const std::string &dir, const TxnShare &share)
    : share_(share), random_(share.seed) {
    for (const TxnFile &file : shared)
        places_.push_back({file});
    const std::string number = std::to_string(share.process);
    const std::string own = dir + "/own" + number;
    places_.push_back({share.process % 2 == 0 ? variableFile(own) : fixedFile(own)});
    moving_ = compressedFile(dir + "/built" + number);
    movedTo_ = dir + "/moved" + number;
}

// Did a call succeed, or fail in a way that may happen?
bool TxnWork::good(int result, const char *call, std::initializer_list<int> errors) {
    if (result >= 0) return true;
    if (iserrno == ISERR_LOCKED) ++counts_.refused;
    if (std::find(errors.begin(), errors.end(), iserrno) != errors.end()) return true;
    failure_ = std::string(call) + ": error " + std::to_string(iserrno) + ", io " + std::to_string(iserrio);
    return false;
}

bool TxnWork::prepare(const std::string &log) {
    if (!good(islogopen(log.c_str()), "islogopen")) return false;
    const int fd = buildTxnFile(places_.back().file);
    return good(fd, "isbuild") && good(isclose(fd), "isclose of what was built");
}

bool TxnWork::open(Place *place) {
    place->fd = isopen(place->file.base.c_str(), place->file.mode(ISTRANS));
    if (!good(place->fd, "isopen")) return false;
    if (place->parked < 0) return true;
    if (place->fd != place->parked) {
        failure_ = "another descriptor after reopening";
        return false;
    }
    place->parked = -1;
    ++counts_.takenBack;
    return true;
}

bool TxnWork::close(Place *place) {
    if (place->fd < 0) return true;
    if (inTransaction_) place->parked = place->fd;
    const int fd = place->fd;
    place->fd = -1;
    return good(isclose(fd), "isclose");
}

bool TxnWork::step() {
    if (++steps_ % kMoveEvery == 0) return moveOn();
    return random_.percent(10) ? between() : transaction();
}

bool TxnWork::finish() {
    return std::all_of(places_.begin(), places_.end(), [this](Place &place) { return close(&place); }) &&
           good(islogclose(), "islogclose");
}

bool TxnWork::transaction() {
    if (!good(isbegin(), "isbegin")) return false;
    inTransaction_ = true;
    for (int i = random_.below(kMostChanges); i >= 0; --i) {
        Place &place = anyPlace();
        if (random_.percent(8) ? !close(&place) : !change(&place)) return false;
        if (random_.percent(2) && !good(isbegin(), "isbegin again")) return false;
        if (share_.processes > 1) sched_yield();  // transactions are to overlap, also on a single processor
    }
    return end(random_.percent(60));
}

bool TxnWork::end(bool keep) {
    if (!good(keep ? iscommit() : isrollback(), keep ? "iscommit" : "isrollback")) return false;
    ++(keep ? counts_.commits : counts_.rollbacks);
    inTransaction_ = false;
    for (Place &place : places_) {
        place.parked = -1;
        // What was undone through a descriptor is the last that it is good for.
        if (!keep && !close(&place)) return false;
        if (place.fd >= 0 && !good(isrelease(place.fd), "isrelease")) return false;
    }
    return true;
}

// Outside transactions: closing, and changes that nothing undoes.
bool TxnWork::between() {
    Place &place = anyPlace();
    if (random_.percent(30)) return close(&place);
    return change(&place) && good(isrelease(place.fd), "isrelease");
}

// A file that comes and goes.
bool TxnWork::moveOn() {
    const std::string &from = moving_.base;
    int fd = -1;
    const int round = moves_++;
    switch (round % 3) {
    case 0:
        fd = buildTxnFile(moving_);
        if (!good(fd, "isbuild")) return false;
        if (KeyDesc last = txnKeys().back(); round % 2 == 0 && !good(isdelindex(fd, &last), "isdelindex")) return false;
        compose(moving_, 1);
        return good(iswrite(fd, record_), "iswrite") && good(isclose(fd), "isclose");
    case 1: return good(isrename(from.c_str(), movedTo_.c_str()), "isrename");
    default:
        fd = isopen(movedTo_.c_str(), moving_.mode(0));
        compose(moving_, 2);
        return good(fd, "isopen") && good(iswrite(fd, record_), "iswrite") && good(isclose(fd), "isclose") &&
               good(iserase(movedTo_.c_str()), "iserase");
    }
}

}  // namespace process_testing
