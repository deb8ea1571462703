// System calls that a test has refused.
#pragma once

#include <functional>
#include <utility>

#include "shim/system_calls.h"

namespace unit {

// While it lives, the calls that it is to choose fail with an error. Whoever watched before sees that they did.
class Refusal : public shim::Observer {
  public:
    using Choice = std::function<bool(const shim::Arguments &)>;

    Refusal(int error, Choice choice) : error_(error), choice_(std::move(choice)), others_(shim::observe(this)) {}
    ~Refusal() override { shim::observe(others_); }
    Refusal(const Refusal &) = delete;
    Refusal &operator=(const Refusal &) = delete;

    shim::Answer before(const shim::Arguments &arguments) override {
        if (!choice_(arguments)) return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
        ++count_;
        return {.replaced = true, .result = -1, .error = error_, .cutTo = 0};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }

    // Calls refused so far.
    int count() const { return count_; }

  private:
    const int error_;
    const Choice choice_;
    shim::Observer *const others_;
    int count_ = 0;
};

// Every call of one kind.
inline Refusal::Choice every(shim::Call call) {
    return [call](const shim::Arguments &arguments) {
        return arguments.call == call;
    };
}

// One of those that another choice makes, counted from 0.
inline Refusal::Choice only(int number, Refusal::Choice choice) {
    return [number, choice = std::move(choice), met = 0](const shim::Arguments &arguments) mutable {
        return choice(arguments) && met++ == number;
    };
}

// Transfers of the header.
inline Refusal::Choice header(shim::Call call, int indexFile) {
    return [call, indexFile](const shim::Arguments &arguments) {
        return arguments.call == call && arguments.descriptor == indexFile && arguments.offset == 0;
    };
}

}  // namespace unit
