#include "documented.h"

#include "isam.h"
#include "memory/files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

namespace fuzz {

namespace {

using Errors = std::map<int, std::set<std::string>>;

const struct {
    const char *name;
    int code;
} kSystemErrors[] = {{"EBADF", EBADF}, {"EDEADLK", EDEADLK}, {"EEXIST", EEXIST}, {"ENOENT", ENOENT}, {"EXDEV", EXDEV}};

// The calls named in a line of the manual: "[isopen](#isopen)".
void addCalls(const std::string &line, std::set<std::string> *calls) {
    for (std::size_t at = line.find("[is"); at != std::string::npos; at = line.find("[is", at + 1))
        calls->insert(line.substr(at + 1, line.find(']', at) - at - 1));
}

// The index of error codes at the end of the manual: of each code the calls that set it.
Errors readIndex() {
    std::ifstream in(ISAM_SOURCE_DIR "/docs/calls.md");
    Errors errors;
    std::string line;
    int code = 0;
    while (std::getline(in, line) && line != "## Index of error codes") {
    }
    while (std::getline(in, line)) {
        if (line.rfind("### ", 0) == 0) code = 0;
        if (line.size() > 4 && line[3] == ',') code = std::atoi(line.c_str());
        for (const auto &error : kSystemErrors)
            if (line.rfind("- `" + std::string(error.name) + "`", 0) == 0) code = error.code;
        addCalls(line, &errors[code]);
    }
    if (errors[ISERR_CORRUPT].empty() || errors[EXDEV].empty()) {
        std::fprintf(stderr, "docs/calls.md has no index of error codes\n");
        std::abort();
    }
    return errors;
}

bool systemFailed() { return memory_files::calls().errors != 0 || memory_files::calls().cutShort; }

}  // namespace

bool isDocumented(const std::string &call, int error) {
    static const Errors errors = readIndex();
    const auto found = errors.find(error);
    return found != errors.end() && found->second.count(call) != 0;
}

bool isNamedStop(const std::string &message) {
    static const std::set<std::string> named = {
        "fatal isam error ispath(79)",      // a node's entry leads to node 0
        "fatal isam error iscomp(59)",      // a compressed node's entries do not end with it
        "fatal isam error iscomp(70)",      // impossible counts of a compressed key
        "fatal isam error ischeck.c(187)",  // a rebuild finds no root for the index
        "fatal isam error isaudit.c(56)",   // a mode above 4, whatever the file
    };
    // A change failed, and then the header cannot be read again.
    return named.count(message) != 0 || (message.rfind("isam crash [", 0) == 0 && systemFailed());
}

}  // namespace fuzz
