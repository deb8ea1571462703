// What a run has found, and its form as JSON; README.md explains that.
#pragma once

#include "machine.h"
#include "workload.h"

#include <map>
#include <tuple>

namespace bench {

class Results {
  public:
    void add(const std::string &workload, const std::string &subject, std::uint64_t records, const std::string &role,
             Cost cost, std::uint64_t operations);
    void fail(const std::string &what) { failures_.push_back(what); }
    void skip(const std::string &subject, std::uint64_t records, const std::string &why);
    bool skipped(const std::string &subject, std::uint64_t records) const;
    bool failed() const { return !failures_.empty(); }
    void write(const std::string &path, const Facts &facts, const std::vector<std::uint64_t> &sizes, int rounds) const;

  private:
    struct Measured {
        std::vector<double> clock, processor;  // one a round
        std::uint64_t operations = 0;          // of the last round
    };
    std::map<std::tuple<std::string, std::string, std::uint64_t, std::string>, Measured> measured_;
    std::vector<std::string> failures_;
    std::map<std::pair<std::string, std::uint64_t>, std::string> skipped_;
};

}  // namespace bench
