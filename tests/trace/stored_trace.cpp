#include "trace/stored_trace.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace trace {

namespace {

constexpr std::size_t kCommentColumn = 64;

struct Line {
    std::string call, comment;
};

std::string withoutEnd(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::vector<Line> load(const std::string &path) {
    std::vector<Line> lines;
    std::ifstream in(path);
    for (std::string text; std::getline(in, text);) {
        const std::size_t mark = text.find('#');
        const std::string comment = mark != std::string::npos ? text.substr(mark) : "";
        lines.push_back({withoutEnd(text.substr(0, mark)), comment});
    }
    return lines;
}

// Pairs of equal lines, as many as there can be in the same order.
std::vector<std::pair<std::size_t, std::size_t>> common(const std::vector<Line> &old,
                                                        const std::vector<std::string> &now) {
    std::vector<std::vector<int>> most(old.size() + 1, std::vector<int>(now.size() + 1));
    for (std::size_t i = old.size(); i-- > 0;)
        for (std::size_t j = now.size(); j-- > 0;)
            most[i][j] = old[i].call == now[j] ? most[i + 1][j + 1] + 1 : std::max(most[i + 1][j], most[i][j + 1]);
    std::vector<std::pair<std::size_t, std::size_t>> pairs;
    for (std::size_t i = 0, j = 0; i < old.size() && j < now.size();) {
        if (old[i].call == now[j])
            pairs.emplace_back(i++, j++);
        else
            most[i + 1][j] >= most[i][j + 1] ? ++i : ++j;
    }
    return pairs;
}

void renew(const std::string &path, const std::vector<Line> &old, const std::vector<std::string> &now) {
    std::vector<std::string> comments(now.size());
    for (const auto &[i, j] : common(old, now))
        comments[j] = old[i].comment;
    std::ofstream out(path);
    for (std::size_t j = 0; j < now.size(); ++j) {
        out << now[j];
        if (!comments[j].empty()) {
            const std::size_t gap = now[j].size() < kCommentColumn ? kCommentColumn - now[j].size() : 1;
            out << std::string(gap, ' ') << comments[j];
        }
        out << '\n';
    }
}

std::string difference(const std::vector<Line> &old, const std::vector<std::string> &now) {
    std::string text;
    std::size_t i = 0, j = 0;
    const auto upTo = [&](std::size_t endOld, std::size_t endNow) {
        for (; i < endOld; ++i)
            text += "missing  " + old[i].call + "\n";
        for (; j < endNow; ++j)
            text += "new      " + now[j] + "\n";
    };
    for (const auto &[sameOld, sameNow] : common(old, now)) {
        upTo(sameOld, sameNow);
        text += "         " + now[j] + "\n";
        ++i, ++j;
    }
    upTo(old.size(), now.size());
    return text;
}

}  // namespace

testing::AssertionResult equalsStored(const std::string &name, const std::vector<std::string> &lines) {
    const std::string path = std::string(ISAM_SOURCE_DIR) + "/tests/trace/" + name + ".trace";
    const std::vector<Line> stored = load(path);
    const bool equal = std::equal(stored.begin(), stored.end(), lines.begin(), lines.end(),
                                  [](const Line &line, const std::string &now) { return line.call == now; });
    if (equal) return testing::AssertionSuccess();
    if (std::getenv("TRACE_RENEW") != nullptr) {
        renew(path, stored, lines);
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "the calls are not those of " << path << ":\n"
                                       << difference(stored, lines)
                                       << "If they are meant, TRACE_RENEW=1 in the environment writes the file anew; "
                                          "then say behind each new line what it is for.";
}

}  // namespace trace
