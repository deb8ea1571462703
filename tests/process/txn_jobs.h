// Calls of log, transactions and audit trail as jobs of a worker.
#ifndef TESTS_PROCESS_TXN_JOBS_H
#define TESTS_PROCESS_TXN_JOBS_H

#include "jobs.h"

#include <string>

namespace process_testing::jobs {

inline Job logOpen(const std::string &path) {
    return withName(call(0, [](Job &j) { return islogopen(j.name); }), path);
}
inline Job logClose() {
    return call(0, [](Job &) { return islogclose(); });
}
inline Job begin() {
    return call(0, [](Job &) { return isbegin(); });
}
inline Job commit() {
    return call(0, [](Job &) { return iscommit(); });
}
inline Job rollback() {
    return call(0, [](Job &) { return isrollback(); });
}
inline Job recover() {
    return call(0, [](Job &) { return isrecover(); });
}
// text: the name to set; the record becomes what the call stores.
inline Job audit(int fd, int mode, const std::string &text = "") {
    return withRecord(withMode(call(fd, [](Job &j) { return isaudit(j.fd, j.record, j.mode); }), mode), text);
}
inline Job writeCurrent(int fd, const std::string &record) {
    return withRecord(call(fd, [](Job &j) { return iswrcurr(j.fd, j.record); }), record);
}
inline Job rewriteNext(int fd, const std::string &record) {
    return withRecord(call(fd, [](Job &j) { return isrewnxt(j.fd, j.record); }), record);
}

}  // namespace process_testing::jobs

#endif
