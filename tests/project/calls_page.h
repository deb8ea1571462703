// Reads docs/calls.md as a viewer of Markdown would: headings, links and tables.
#ifndef TESTS_PROJECT_CALLS_PAGE_H
#define TESTS_PROJECT_CALLS_PAGE_H

#include <map>
#include <set>
#include <string>
#include <vector>

// A row of a call's table of errors.
struct ErrorRow {
    std::string name;     // ISERR_...
    std::string message;  // as in is_errlist
    std::string reason;
};

// A row of a table of constants.
struct ConstantRow {
    std::string value;
    std::string message;  // empty in a table without messages
};

struct CallsPage {
    std::set<std::string> headings;    // of every level
    std::set<std::string> anchors;     // theirs
    std::multiset<std::string> links;  // anchors that links lead to
    std::set<std::string> globals;     // of the table of globals
    std::vector<std::string> index;    // the names in the index, in its order
    std::map<std::string, ConstantRow> constants;
    std::map<std::string, std::map<std::string, ErrorRow>> calls;  // heading -> error -> row
    std::map<std::string, std::string> paragraphs;                 // heading -> the text below it in one line
    std::vector<std::string> slips;  // lines that a viewer would show otherwise than meant
};

CallsPage readCallsPage(const std::string &path);

// The names of the links in a text.
std::set<std::string> linkedNames(const std::string &text);

#endif
