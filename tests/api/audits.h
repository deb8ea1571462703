// Audit trails in tests.
#ifndef TESTS_API_AUDITS_H
#define TESTS_API_AUDITS_H

#include "logs.h"

#include <string>
#include <vector>

namespace api {

// An entry as the trail should have it, its time left open.
std::string entry(const std::string &type, long recnum, const std::string &image = "");
// The image of a variable-length record with a tail.
std::string varImage(const Row &fixed, const std::string &stored_tail);

class AuditTest : public LogTest {
  protected:
    std::string trail() const { return path("trail"); }
    // Gives an open file a trail; the names of its other files are not concerned.
    void setName(int fd, const std::string &name);
    void startAudit(int fd);
    void startAudit(int fd, const std::string &name);
    static std::string nameOf(int fd);
    static int isOn(int fd);
    // The trail holds exactly these entries, each of this process and of now.
    void expectTrail(const std::vector<std::string> &entries) { expectTrail(trail(), entries); }
    static void expectTrail(const std::string &name, const std::vector<std::string> &entries);
};

}  // namespace api

#endif
