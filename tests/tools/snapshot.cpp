#include "tools/snapshot.h"

#include "archive/settings.h"
#include "base/key_image.h"
#include "base/open_file.h"
#include "base/scan.h"

#include <isam.h>

namespace tool_tests {

namespace {

using tool::OpenFile;
using tool::Scan;

std::string number(long long value) { return std::to_string(value) + " "; }

std::string shape(const OpenFile &file) {
    int mode = 0;
    isgetmode(file.fd(), &mode);
    return "shape " + number(file.minimumLength()) + number(file.maximumLength()) +
           number(mode & (ISVARLEN | ISCOMPRESS | ISMASK)) + number(file.hasPrimaryKey());
}

std::string index(const KeyDesc &key) {
    std::string text = "index " + number(key.flags);
    for (int i = 0; i < key.nparts; ++i)
        text += number(key.parts[i].start) + number(key.parts[i].length) + number(key.parts[i].type);
    return text;
}

std::string settings(const OpenFile &file) {
    const tool::Settings settings = tool::readSettings(file);
    return "settings " + number(settings.uniqueId) + number(settings.precious) + number(settings.hasTrail) +
           number(settings.auditing) + settings.trail + " " +
           std::string(settings.userInfo.data(), settings.userInfo.size());
}

void addRecords(const OpenFile &file, std::vector<std::string> &lines) {
    Scan scan(file, 0);
    while (scan.next())
        lines.push_back("record " + number(scan.number()) + number(file.hasMasks() ? scan.mask() : 0) +
                        std::string(scan.record(), static_cast<std::size_t>(scan.length())));
    long highest = 0;
    isgetlastrec(file.fd(), &highest);
    std::vector<char> record(tool::recordRoom(file));
    for (long n = 1; n <= highest; ++n)
        if (isdata(file.fd(), record.data(), n) != 0) lines.push_back("free " + number(n) + number(iserrno));
}

void addEntries(const OpenFile &file, int which, const KeyDesc &key, std::vector<std::string> &lines) {
    Scan scan(file, which);
    while (scan.next())
        lines.push_back("entry " + number(which) + number(scan.number()) + tool::keyImage(key, scan.record()));
}

}  // namespace

std::vector<std::string> snapshot(const std::string &name) {
    const OpenFile file = OpenFile::forReading(name);
    std::vector<std::string> lines = {shape(file), settings(file)};
    long highest = 0;
    isgetlastrec(file.fd(), &highest);
    lines.push_back("numbers " + number(highest) + number(file.recordCount()));
    if (file.hasRecords()) addRecords(file, lines);
    const std::vector<KeyDesc> keys = file.indexes();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        lines.push_back(index(keys[i]));
        addEntries(file, static_cast<int>(i) + 1, keys[i], lines);
        lines.push_back("check " + number(ischeckindex(file.fd(), static_cast<int>(i) + 1)));
    }
    long stats[6];
    lines.push_back("checks " + number(ischeckdata(file.fd())) + number(ischeckvarlen(file.fd(), stats)));
    return lines;
}

}  // namespace tool_tests
