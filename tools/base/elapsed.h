// The seconds that a work has taken so far, on a terminal, where the work itself does not tell how far it is.
#pragma once

#include "base/progress.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

class Elapsed {
  public:
    // what: "recovering accounts"; shown until the object goes.
    explicit Elapsed(const std::string &what);
    ~Elapsed();
    Elapsed(const Elapsed &) = delete;
    Elapsed &operator=(const Elapsed &) = delete;

  private:
    Progress progress_;
    std::mutex mutex_;
    std::condition_variable done_;
    bool over_ = false;
    std::thread clock_;
};

}  // namespace tool
