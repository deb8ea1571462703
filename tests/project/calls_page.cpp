#include "project/calls_page.h"

#include <cctype>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>

namespace {

// What viewers make of a heading: small letters, blanks turned to hyphens, punctuation dropped.
std::string anchorOf(const std::string &heading) {
    std::string anchor;
    for (const unsigned char c : heading)
        if (std::isalnum(c) || c == '_' || c == '-')
            anchor += static_cast<char>(std::tolower(c));
        else if (c == ' ')
            anchor += '-';
    return anchor;
}

// The cells between the bars of a table's row; "\|" is no bar.
std::vector<std::string> cellsOf(const std::string &row) {
    std::vector<std::string> cells(1);
    for (std::size_t i = 1; i < row.size(); ++i)
        if (row[i] == '|' && row[i - 1] != '\\')
            cells.emplace_back();
        else
            cells.back() += row[i];
    cells.pop_back();
    for (std::string &cell : cells)
        cell = std::regex_replace(cell, std::regex("^ +| +$"), "");
    return cells;
}

// The text of a cell that is a link or code.
std::string textOf(const std::string &cell) {
    return std::regex_replace(cell, std::regex(R"(\[(\w+)\]\(#[\w-]+\)|`(\w+)`)"), "$1$2");
}

struct Reader {
    CallsPage page;
    std::string heading, section;
    std::vector<std::string> head;  // of the table that the last line belongs to
    bool inCode = false;

    void line(const std::string &text) {
        const bool fence = text.rfind("```", 0) == 0;
        if (fence) inCode = !inCode;
        if (fence || inCode) return;
        noteLinks(text);
        if (text.rfind("#", 0) == 0)
            startHeading(text);
        else if (text.rfind("|", 0) == 0)
            row(text);
        else
            plain(text);
    }

    void noteLinks(const std::string &text) {
        static const std::regex kLink(R"(\]\(#([^)]*)\))");
        for (std::sregex_iterator i(text.begin(), text.end(), kLink), end; i != end; ++i)
            page.links.insert((*i)[1]);
    }

    void startHeading(const std::string &text) {
        const std::size_t level = text.find_first_not_of('#');
        heading = text.substr(level + 1);
        if (level == 2) section = heading;
        if (level == 3 && section.rfind("Index of", 0) != 0) page.calls[heading];
        EXPECT_TRUE(page.headings.insert(heading).second) << heading;
        EXPECT_TRUE(page.anchors.insert(anchorOf(heading)).second) << heading;
    }

    void row(const std::string &text) {
        const std::vector<std::string> cells = cellsOf(text);
        if (head.empty()) {
            head = cells;
            return;
        }
        if (cells.size() != head.size())
            page.slips.push_back(text);
        else if (cells[0].rfind("---", 0) == 0)
            return;
        else if (head[0] == "Global")
            page.globals.insert(globalOf(cells[0]));
        else if (head[0] == "Name")
            page.constants[textOf(cells[0])] = {cells[1], head.size() > 2 && head[2] == "Message" ? cells[2] : ""};
        else
            page.calls[heading][cells[0]] = {textOf(cells[1]), cells[2], cells[3]};
    }

    static std::string globalOf(const std::string &declaration) {
        const std::size_t end = declaration.find_first_of("[;");
        const std::size_t start = declaration.find_last_of(" *", end) + 1;
        return declaration.substr(start, end - start);
    }

    void plain(const std::string &text) {
        head.clear();
        page.paragraphs[heading] += text + " ";
        if (text.find_first_of("+=>") == 0) page.slips.push_back(text);
        static const std::regex kEntry(R"(^- \[(\w+)\]\(#)");
        std::smatch match;
        if (section == "Index of calls and globals" && std::regex_search(text, match, kEntry))
            page.index.push_back(match[1]);
    }
};

}  // namespace

CallsPage readCallsPage(const std::string &path) {
    std::ifstream in(path);
    EXPECT_TRUE(in.is_open()) << path;
    Reader reader;
    std::string line;
    while (std::getline(in, line))
        reader.line(line);
    return reader.page;
}

std::set<std::string> linkedNames(const std::string &text) {
    static const std::regex kLink(R"(\[(\w+)\]\(#)");
    std::set<std::string> names;
    for (std::sregex_iterator i(text.begin(), text.end(), kLink), end; i != end; ++i)
        names.insert((*i)[1]);
    return names;
}
