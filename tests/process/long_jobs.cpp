#include "long_jobs.h"

#include <cstdio>
#include <vector>

namespace process_testing {

namespace {

constexpr int kOther = -3;

bool isMade(const char *record) {
    return std::string(record, static_cast<std::size_t>(isreclen)) == longRecord(longKey(record), isreclen);
}

int change(Job &job, int (*call)(int, char *)) {
    std::string record = longRecord(static_cast<int>(job.number), static_cast<int>(job.other));
    isreclen = static_cast<int>(record.size());
    return call(job.fd, record.data());
}

int readOne(Job &job) {
    std::string record = longRecord(static_cast<int>(job.number), kLongMaximum);
    if (isread(job.fd, record.data(), ISEQUAL) != 0) return -1;
    return isreclen == job.other && isMade(record.data()) ? 0 : kOther;
}

int readAll(Job &job) {
    std::vector<char> record(kLongMaximum);
    KeyDesc key = kByLongKey;
    if (isstart(job.fd, &key, 0, record.data(), ISFIRST) != 0) return -1;
    job.number = job.other = 0;
    while (isread(job.fd, record.data(), ISNEXT) == 0) {
        if (!isMade(record.data())) return kOther;
        ++job.number;
        job.other += isreclen;
    }
    if (iserrno != ISERR_ENDOFFILE) return -1;
    iserrno = 0;
    return 0;
}

int buildWithIndexes(Job &job) {
    KeyDesc key = kByLongKey;
    const int fd = isvbuild(job.name, kLongMinimum, kLongMaximum, &key, job.mode);
    key = kByLongGroup;
    return fd >= 0 && isaddindex(fd, &key) == 0 ? fd : -1;
}

Job withKeyAndLength(Job job, int key, int length) {
    job.number = key;
    job.other = length;
    return job;
}

}  // namespace

// Words that no coding shortens, and runs that one does.
std::string longRecord(int key, int length) {
    char head[32];
    std::snprintf(head, sizeof head, "%08d%08d", key, length);
    std::string out(head);
    for (unsigned i = 0; static_cast<int>(out.size()) < length; ++i) {
        const unsigned drawn =
            (static_cast<unsigned>(key) * 31 + static_cast<unsigned>(length)) * 2654435761U + i * 40503U;
        if (drawn >> 16U & 1U) out.append(drawn >> 20U & 31U, drawn >> 17U & 1U ? ' ' : '0');
        out += static_cast<char>('a' + (drawn >> 25U) % 26);
        out += std::to_string(i);
        out += '.';
    }
    out.resize(static_cast<std::size_t>(length));
    for (std::size_t i = out.size() - 2; i < out.size(); ++i)
        if (i >= kLongMinimum) out[i] = ' ';
    return out;
}

int longKey(const char *record) { return std::stoi(std::string(record, 8)); }

namespace jobs {

Job buildLong(const std::string &name, bool compressed) {
    return withName(
        withMode(call(0, buildWithIndexes), ISINOUT | ISLOCKEXCL | ISVARLEN | (compressed ? ISCOMPRESS : 0)), name);
}
Job openLong(const std::string &name, int mode) { return open(name, mode | ISVARLEN); }

Job writeLong(int fd, int key, int length) {
    return withKeyAndLength(call(fd, [](Job &j) { return change(j, iswrite); }), key, length);
}
Job rewriteLong(int fd, int key, int length) {
    return withKeyAndLength(call(fd, [](Job &j) { return change(j, isrewrite); }), key, length);
}
Job removeLong(int fd, int key) {
    return withKeyAndLength(call(fd, [](Job &j) { return change(j, isdelete); }), key, kLongMinimum);
}
Job readLong(int fd, int key, int length) { return withKeyAndLength(call(fd, readOne), key, length); }
Job readAllLong(int fd) { return call(fd, readAll); }

}  // namespace jobs

}  // namespace process_testing
