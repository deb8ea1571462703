// The faults, the calls they can befall, and what puts them there.
#pragma once

#include "shim/system_calls.h"

#include <functional>
#include <string>
#include <vector>

namespace fault_testing {

enum class Fault {
    InputOutput,
    NoSpace,
    Quota,
    Interrupted,
    NoLocks,
    NoDescriptors,
    ShortWrite,  // half of what was asked for is transferred
    ShortRead,
    EmptyWrite,  // nothing is, and no error said
    EmptyRead,
    NoMemory,
};
inline constexpr int kFaultCount = static_cast<int>(Fault::NoMemory) + 1;

const char *faultName(Fault fault);
// What the library is told; an empty transfer tells nothing, and counts as EIO.
int faultError(Fault fault);
// The library goes on as if nothing had happened.
bool isInvisible(Fault fault);
bool befalls(Fault fault, const shim::Arguments &arguments);

// Where a fault strikes.
struct Strike {
    long call = 0;  // from 1; calls to free do not count
    Fault fault{};
    // Every call from there on that the fault can befall. An interruption three of them, as calls are repeated after
    // it.
    bool lasting = false;

    std::string text() const;
};

// Counts the library's calls and their memory; strikes where it is told to.
class Injector : public shim::Observer {
  public:
    struct Possible {
        shim::Call call{};
        unsigned faults = 0;  // a bit for each that it can suffer
    };

    shim::Answer before(const shim::Arguments &arguments) override;
    void after(const shim::Arguments &arguments, long result, int error) override;

    void arm(const Strike &strike) { strike_ = strike; }
    void disarm() { strike_.call = 0; }

    std::vector<Possible> *trace = nullptr;  // takes every call
    std::function<void(shim::Call)> struck;  // told of the first one that suffers

    long calls() const { return calls_; }
    long hits() const { return hits_; }
    // Pieces of memory that the library has and had not at the start.
    long blocks() const { return blocks_; }
    bool unlocksFailed() const { return unlocksFailed_; }

  private:
    Strike strike_;
    bool unlocksFailed_ = false;
    long calls_ = 0, hits_ = 0, blocks_ = 0;
};

}  // namespace fault_testing
