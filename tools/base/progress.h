// How far a long work is: a bar on a terminal, nothing in a pipe.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

class Progress {
  public:
    // what: "loading orders". total: steps of the whole work, 0 where nobody knows: then the count alone is shown.
    Progress(std::string what, std::uint64_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void step(std::uint64_t count = 1) {
        done_ += count;
        if (shown_ && done_ >= next_look_) look();
    }
    // Takes the bar away, so that something else can be printed; the destructor does it too.
    void clear();

  private:
    void look();
    void draw() const;

    std::string what_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    std::uint64_t next_look_ = 0;
    std::uint64_t stride_ = 1;
    bool shown_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point last_;
};

}  // namespace tool
