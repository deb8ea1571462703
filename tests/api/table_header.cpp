#include "table_header.h"

#include "isam.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <regex>

namespace api {

namespace {

const struct {
    const char *name;
    int code;
} kSystemErrors[] = {{"EBADF", EBADF},   {"EDEADLK", EDEADLK}, {"EEXIST", EEXIST}, {"EIO", EIO},
                     {"ENOENT", ENOENT}, {"ENOSPC", ENOSPC},   {"EXDEV", EXDEV}};

std::vector<std::smatch> matches(const std::string &text, const std::regex &pattern) {
    return {std::sregex_iterator(text.begin(), text.end(), pattern), std::sregex_iterator()};
}

// The errors that a comment lists: behind "Errors:", up to the first full stop.
std::string listOf(const std::string &text) {
    std::smatch found;
    return std::regex_search(text, found, std::regex("Errors?: (.*?)\\.( |$)")) ? found[1].str() : "";
}

std::set<int> codesIn(const std::string &list) {
    std::set<int> codes;
    for (const std::smatch &number : matches(list, std::regex("\\b(1[0-3][0-9])(?: to (1[0-3][0-9]))?\\b"))) {
        const int first = std::stoi(number[1]), last = number[2].matched ? std::stoi(number[2]) : first;
        for (int code = first; code <= last && last <= ISERR_LAST; ++code)
            codes.insert(code);
    }
    for (const std::smatch &name : matches(list, std::regex("\\bE[A-Z]{2,}\\b"))) {
        bool known = false;
        for (const auto &error : kSystemErrors)
            if (name.str() == error.name) known = codes.insert(error.code).second || true;
        EXPECT_TRUE(known) << name.str();
    }
    return codes;
}

// "[read]", but "[from: read, to: write]" names two descriptors.
std::string accessIn(const std::string &text) {
    std::smatch found;
    return std::regex_search(text, found, std::regex("\\[([a-z:, ]+)\\]")) ? found[1].str() : "";
}

Declared declared(const std::string &line, const std::string &text) {
    const std::size_t end = line.find('('), start = line.find_last_of(" *", end - 1) + 1;
    const std::string list = listOf(text);
    Declared call = {line.substr(start, end - start), accessIn(text), codesIn(list), {}};
    // "as for iserase" without codes before it takes over all.
    for (const std::smatch &name : matches(list, std::regex("(?:^|; )as for (is[a-zA-Z]+)")))
        call.as.insert(name[1]);
    return call;
}

}  // namespace

std::vector<Declared> declaredIn(const std::string &header) {
    std::ifstream in(ISAM_SOURCE_DIR "/include/" + header);
    EXPECT_TRUE(in.is_open()) << header;
    std::vector<Declared> calls;
    std::string line, text;
    bool within = false;
    while (std::getline(in, line)) {
        if (line.empty()) text.clear();
        if (line.rfind("/*", 0) == 0) {
            within = true;
            text.clear();
        }
        if (within) {
            std::string words = std::regex_replace(line, std::regex("^ ?/?\\* ?|\\*/$"), "");
            text += words + ' ';
            within = line.find("*/") == std::string::npos;
        } else if (line.rfind("ISAM_API ", 0) == 0) {
            calls.push_back(declared(line, text));
        }
    }
    return calls;
}

}  // namespace api
