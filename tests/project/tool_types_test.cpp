// All of the command's sources share one namespace. Two types of one name there, in files that never meet, would be
// one type for the linker: it keeps the members of either and says nothing.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace fs = std::filesystem;

namespace {

using Places = std::map<std::string, std::set<std::string>>;  // by name: the files that define it

// Types and inline functions of a file that are not in an unnamed namespace.
void collect(const fs::path &file, Places &places) {
    static const std::regex kType(R"(^(?:struct|class|enum class|enum|union) (\w+)[^;]*\{)");
    static const std::regex kFunction(R"(^(?:template <.*> )?inline .*?(\w+)\()");
    std::ifstream in(file);
    std::string line;
    bool unnamed = false;
    while (std::getline(in, line)) {
        std::smatch match;
        if (line == "namespace {")
            unnamed = true;
        else if (line == "}  // namespace")
            unnamed = false;
        else if (!unnamed && (std::regex_search(line, match, kType) || std::regex_search(line, match, kFunction)))
            places[match[1]].insert(file.filename().string());
    }
}

Places typesBelow(const fs::path &folder) {
    Places places;
    for (const auto &entry : fs::recursive_directory_iterator(folder))
        if (const auto extension = entry.path().extension(); extension == ".h" || extension == ".cpp")
            collect(entry.path(), places);
    return places;
}

}  // namespace

TEST(ToolTypes, NoNameIsTakenTwice) {
    const Places places = typesBelow(fs::path(ISAM_SOURCE_DIR) / "tools");
    EXPECT_GT(places.size(), 60U);
    for (const auto &[name, files] : places)
        EXPECT_EQ(files.size(), 1U) << name << " in " << *files.begin() << " and " << *files.rbegin();
}

TEST(ToolTypes, FinderSeesOneNameInTwoFilesButNotThoseOfUnnamedNamespaces) {
    const fs::path folder = fs::path(testing::TempDir()) / "tool_types";
    fs::create_directories(folder);
    std::ofstream(folder / "a.h") << "struct Field {\n};\nstruct Later;\nenum class Kind { kOne };\n";
    std::ofstream(folder / "b.cpp") << "namespace {\nstruct Row {\n};\n}  // namespace\nclass Field final : X {\n};\n";
    std::ofstream(folder / "c.cpp") << "namespace {\nstruct Row {\n};\n}  // namespace\nstruct Later {\n};\n";
    const Places places = typesBelow(folder);
    fs::remove_all(folder);
    EXPECT_EQ(places, (Places{{"Field", {"a.h", "b.cpp"}}, {"Kind", {"a.h"}}, {"Later", {"c.cpp"}}}));
}
