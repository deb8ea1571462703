#include "status.h"

#include <gtest/gtest.h>
#include <fstream>
#include <regex>

namespace api {

const std::map<int, std::string> &statusTable() {
    static const std::map<int, std::string> table = [] {
        const std::regex row(R"( \*   ([0-9][0-9A-Za-z])  (.*))"), code("1[0-3][0-9]");
        std::map<int, std::string> found;
        std::ifstream header(ISAM_SOURCE_DIR "/include/isam.h");
        std::string line;
        std::smatch match;
        while (std::getline(header, line)) {
            if (!std::regex_match(line, match, row)) continue;
            const std::string characters = match[1], codes = match[2];
            for (std::sregex_iterator i(codes.begin(), codes.end(), code), end; i != end; ++i)
                EXPECT_TRUE(found.emplace(std::stoi(i->str()), characters).second) << line;
        }
        return found;
    }();
    return table;
}

std::string statusOf(int error) {
    if (error == 0) return "00";
    const auto row = statusTable().find(error);
    return row != statusTable().end() ? row->second : "90";
}

}  // namespace api
