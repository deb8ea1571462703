// Notes the library's calls to the system, a line each, in words that stay the same from run to run. What was watching
// before goes on watching.
#pragma once

#include "shim/system_calls.h"

#include <string>
#include <vector>

namespace trace {

class TraceRecorder : public shim::Observer {
  public:
    // Of files with this size of a node and of a record's slot.
    TraceRecorder(long nodeSize, long slotSize);
    ~TraceRecorder() override;
    TraceRecorder(const TraceRecorder &) = delete;
    TraceRecorder &operator=(const TraceRecorder &) = delete;

    // A line that says what the calls after it are made for.
    void heading(const std::string &text) { lines_.push_back("- " + text); }
    const std::vector<std::string> &lines() const { return lines_; }

    shim::Answer before(const shim::Arguments &call) override;
    void after(const shim::Arguments &call, long result, int error) override;

  private:
    std::string line(const shim::Arguments &call, const std::string &file) const;
    std::string place(const shim::Arguments &call, const std::string &file) const;

    long nodeSize_, slotSize_;
    shim::Observer *beneath_;
    std::vector<std::string> lines_;
};

}  // namespace trace
