// The two sides of the examination, as the one that leads it sees them: this process, and another one, of this machine
// or of another.
#pragma once

#include "locktest/actor.h"
#include "locktest/message_file.h"

#include <string>
#include <sys/types.h>

namespace tool {

class Side {
  public:
    Side() = default;
    virtual ~Side() = default;
    Side(const Side &) = delete;
    Side &operator=(const Side &) = delete;

    // What Actor::perform answers there. Throws Failure where nobody answers.
    virtual std::string perform(const std::string &command) = 0;
};

class HereSide : public Side {
  public:
    explicit HereSide(Actor &actor) : actor_(actor) {}
    std::string perform(const std::string &command) override { return actor_.perform(command); }

  private:
    Actor &actor_;
};

// A child of this process, which ends with the object.
class ChildSide : public Side {
  public:
    ChildSide(const std::string &directory, const std::string &scratch, const LockCall &lock);
    ~ChildSide() override;
    std::string perform(const std::string &command) override;

  private:
    int line_;
    pid_t child_;
};

// Somebody who reads the one file of messages and writes the other.
class FarSide : public Side {
  public:
    FarSide(MessageFile &orders, MessageFile &answers) : orders_(orders), answers_(answers) {}
    std::string perform(const std::string &command) override;

  private:
    MessageFile &orders_;
    MessageFile &answers_;
};

}  // namespace tool
