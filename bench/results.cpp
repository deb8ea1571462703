#include "results.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace bench {
namespace {

std::string quoted(const std::string &text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return out + "\"";
}

std::string decimal(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// The lines of a list, with commas between them.
class Lines {
  public:
    explicit Lines(std::ofstream &out) : out_(out) {}
    std::ofstream &next() {
        out_ << (first_ ? "\n    " : ",\n    ");
        first_ = false;
        return out_;
    }

  private:
    std::ofstream &out_;
    bool first_ = true;
};

}  // namespace

void Results::add(const std::string &workload, const std::string &subject, std::uint64_t records,
                  const std::string &role, Cost cost, std::uint64_t operations) {
    Measured &measured = measured_[{workload, subject, records, role}];
    measured.clock.push_back(cost.clock);
    measured.processor.push_back(cost.processor);
    measured.operations = operations;
}

void Results::skip(const std::string &subject, std::uint64_t records, const std::string &why) {
    skipped_[{subject, records}] = why;
}

bool Results::skipped(const std::string &subject, std::uint64_t records) const {
    return skipped_.count({subject, records}) != 0;
}

void Results::write(const std::string &path, const Facts &facts, const std::vector<std::uint64_t> &sizes,
                    int rounds) const {
    std::ofstream out(path);
    out << "{\n  \"machine\": {";
    Lines machine(out);
    for (const auto &[name, value] : facts)
        machine.next() << quoted(name) << ": " << quoted(value);
    out << "\n  },\n  \"rounds\": " << rounds << ",\n  \"sizes\": [";
    for (std::size_t i = 0; i < sizes.size(); ++i)
        out << (i == 0 ? "" : ", ") << sizes[i];
    out << "],\n  \"subjects\": [";
    Lines subjectLines(out);
    for (const SubjectEntry &entry : subjects()) {
        const std::string version = entry.package != nullptr ? packageVersion(entry.package) : "";
        subjectLines.next() << "{\"name\": " << quoted(entry.name) << ", \"title\": " << quoted(entry.title)
                            << ", \"guarantee\": " << quoted(entry.guarantee)
                            << ", \"package\": " << quoted(entry.package != nullptr ? entry.package : "")
                            << ", \"version\": " << quoted(version) << "}";
    }
    out << "\n  ],\n  \"workloads\": [";
    Lines workloadLines(out);
    for (const Workload &workload : workloads())
        workloadLines.next() << "{\"name\": " << quoted(workload.name) << ", \"group\": " << quoted(workload.group)
                             << ", \"title\": " << quoted(workload.title) << "}";
    out << "\n  ],\n  \"results\": [";
    Lines resultLines(out);
    for (const auto &[key, measured] : measured_) {
        const auto &[workload, subject, records, role] = key;
        resultLines.next() << "{\"workload\": " << quoted(workload) << ", \"subject\": " << quoted(subject)
                           << ", \"records\": " << records << ", \"role\": " << quoted(role)
                           << ", \"ns\": " << decimal(median(measured.clock))
                           << ", \"processor\": " << decimal(median(measured.processor))
                           << ", \"operations\": " << measured.operations << ", \"rounds\": [";
        for (std::size_t i = 0; i < measured.clock.size(); ++i)
            out << (i == 0 ? "" : ", ") << decimal(measured.clock[i]);
        out << "]}";
    }
    out << "\n  ],\n  \"skipped\": [";
    Lines skippedLines(out);
    for (const auto &[key, why] : skipped_)
        skippedLines.next() << "{\"subject\": " << quoted(key.first) << ", \"records\": " << key.second
                            << ", \"why\": " << quoted(why) << "}";
    out << "\n  ],\n  \"failures\": [";
    Lines failureLines(out);
    for (const std::string &failure : failures_)
        failureLines.next() << quoted(failure);
    out << "\n  ]\n}\n";
    if (!out.flush()) throw Failure("the results cannot be written");
}

}  // namespace bench
