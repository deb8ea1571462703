// Library calls as jobs of a worker.
#ifndef TESTS_PROCESS_JOBS_H
#define TESTS_PROCESS_JOBS_H

#include "worker.h"

#include <cstring>
#include <string>

namespace process_testing::jobs {

inline Job call(int fd, int (*run)(Job &)) {
    Job job;
    job.run = run;
    job.fd = fd;
    return job;
}

inline Job withRecord(Job job, const std::string &record) {
    std::memcpy(job.record, record.data(), record.size() < kRecordRoom ? record.size() : kRecordRoom);
    return job;
}

inline Job withName(Job job, const std::string &name) {
    std::strncpy(job.name, name.c_str(), sizeof job.name - 1);
    return job;
}

inline Job withNumber(Job job, long number) {
    job.number = number;
    return job;
}

inline Job withMode(Job job, int mode) {
    job.mode = mode;
    return job;
}

inline Job withKey(Job job, const KeyDesc &key) {
    job.key = key;
    return job;
}

// For long jobs that run beside others: their waits would fill the pipe.
inline Job quiet(Job job) {
    job.quiet = true;
    return job;
}

inline Job build(const std::string &name, int length, const KeyDesc &key, int mode) {
    Job job = call(0, [](Job &j) { return isbuild(j.name, static_cast<int>(j.number), &j.key, j.mode); });
    return withName(withMode(withKey(withNumber(job, length), key), mode), name);
}
inline Job open(const std::string &name, int mode) {
    return withName(withMode(call(0, [](Job &j) { return isopen(j.name, j.mode); }), mode), name);
}
inline Job close(int fd) {
    return call(fd, [](Job &j) { return isclose(j.fd); });
}
inline Job setMode(int fd, int mode) {
    return withMode(call(fd, [](Job &j) { return issetmode(j.fd, j.mode); }), mode);
}
inline Job read(int fd, int mode, const std::string &record = "") {
    return withRecord(withMode(call(fd, [](Job &j) { return isread(j.fd, j.record, j.mode); }), mode), record);
}
// Record-number order: reads record number.
inline Job readNumber(int fd, int mode, long number) {
    Job job = call(fd, [](Job &j) {
        isrecnum = j.number;
        return isread(j.fd, j.record, j.mode);
    });
    return withMode(withNumber(job, number), mode);
}
inline Job start(int fd, const KeyDesc &key, int mode, const std::string &record = "") {
    Job job = call(fd, [](Job &j) { return isstart(j.fd, &j.key, 0, j.record, j.mode); });
    return withRecord(withMode(withKey(job, key), mode), record);
}
inline Job go(int fd, long number) {
    return withNumber(call(fd, [](Job &j) { return isgoto(j.fd, j.number); }), number);
}
inline Job data(int fd, long number) {
    return withNumber(call(fd, [](Job &j) { return isdata(j.fd, j.record, j.number); }), number);
}
inline Job write(int fd, const std::string &record) {
    return withRecord(call(fd, [](Job &j) { return iswrite(j.fd, j.record); }), record);
}
inline Job writeLock(int fd, const std::string &record) {
    return withRecord(call(fd, [](Job &j) { return iswrlock(j.fd, j.record); }), record);
}
inline Job rewrite(int fd, const std::string &record) {
    return withRecord(call(fd, [](Job &j) { return isrewrite(j.fd, j.record); }), record);
}
inline Job rewriteNumber(int fd, long number, const std::string &record) {
    return withRecord(withNumber(call(fd, [](Job &j) { return isrewrec(j.fd, j.number, j.record); }), number), record);
}
inline Job rewriteCurrent(int fd, const std::string &record) {
    return withRecord(call(fd, [](Job &j) { return isrewcurr(j.fd, j.record); }), record);
}
inline Job remove(int fd, const std::string &record) {
    return withRecord(call(fd, [](Job &j) { return isdelete(j.fd, j.record); }), record);
}
inline Job removeNumber(int fd, long number) {
    return withNumber(call(fd, [](Job &j) { return isdelrec(j.fd, j.number); }), number);
}
inline Job removeCurrent(int fd) {
    return call(fd, [](Job &j) { return isdelcurr(j.fd); });
}
inline Job lockAll(int fd) {
    return call(fd, [](Job &j) { return islock(j.fd); });
}
inline Job unlockAll(int fd) {
    return call(fd, [](Job &j) { return isunlock(j.fd); });
}
inline Job release(int fd) {
    return call(fd, [](Job &j) { return isrelease(j.fd); });
}
inline Job releaseNumber(int fd, long number) {
    return withNumber(call(fd, [](Job &j) { return isrelrec(j.fd, j.number); }), number);
}
// Releases the record that isrecnum names.
inline Job releaseCurrent(int fd, long number) {
    Job job = call(fd, [](Job &j) {
        isrecnum = j.number;
        return isrelcurr(j.fd);
    });
    return withNumber(job, number);
}
inline Job lockCheck(int fd, bool on) {
    return withMode(call(fd, [](Job &j) { return islockcheck(j.fd, j.mode); }), on ? 1 : 0);
}
inline Job addIndex(int fd, const KeyDesc &key) {
    return withKey(call(fd, [](Job &j) { return isaddindex(j.fd, &j.key); }), key);
}
inline Job dropIndex(int fd, const KeyDesc &key) {
    return withKey(call(fd, [](Job &j) { return isdelindex(j.fd, &j.key); }), key);
}
inline Job precious(int fd, bool on) {
    return withMode(call(fd, [](Job &j) { return isprecious(j.fd, j.mode); }), on ? 1 : 0);
}
// number becomes the id.
inline Job uniqueId(int fd) {
    return call(fd, [](Job &j) { return isuniqueid(j.fd, &j.number); });
}
inline Job setUnique(int fd, long value) {
    return withNumber(call(fd, [](Job &j) { return issetunique(j.fd, j.number); }), value);
}
inline Job lastRecord(int fd) {
    return call(fd, [](Job &j) { return isgetlastrec(j.fd, &j.number); });
}
// number becomes the number of records, other that of the indexes.
inline Job info(int fd) {
    return call(fd, [](Job &j) {
        DictInfo dictionary{};
        const int result = isisaminfo(j.fd, &dictionary);
        j.number = dictionary.recordCount;
        j.other = dictionary.keyCount;
        return result;
    });
}
inline Job userInfo(int fd, bool store, const std::string &bytes = "") {
    Job job = call(fd, [](Job &j) { return isuserinfo(j.fd, j.mode, j.record); });
    return withRecord(withMode(job, store ? 1 : 0), bytes);
}
// number and other become the system descriptors of index and data file.
inline Job systemDescriptors(int fd) {
    return call(fd, [](Job &j) {
        iserrno = 0;
        j.number = isqv_idxfd(j.fd);
        j.other = isqv_datfd(j.fd);
        return 0;
    });
}

}  // namespace process_testing::jobs

#endif
