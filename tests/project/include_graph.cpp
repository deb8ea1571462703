#include "project/include_graph.h"

#include <filesystem>
#include <fstream>
#include <regex>
#include <utility>

namespace fs = std::filesystem;

namespace {

std::set<std::string> includesOf(const fs::path &file, const fs::path &root) {
    static const std::regex kInclude(R"re(^\s*#\s*include\s*"([^"]+)")re");
    std::set<std::string> found;
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        std::smatch match;
        if (!std::regex_search(line, match, kInclude)) continue;
        const std::string name = match[1];
        if (fs::exists(root / "include" / name) || fs::exists(root / "src" / name))
            found.insert(name);
        else if (fs::exists(file.parent_path() / name))
            found.insert(fs::relative(file.parent_path() / name, root / "src").lexically_normal().string());
        else
            found.insert("?" + name);
    }
    return found;
}

// Follows the includes of a file; path holds the way from the start to it.
bool walk(const IncludeGraph &graph, const std::string &file, std::set<std::string> &done,
          std::vector<std::string> &path) {
    for (std::size_t i = 0; i < path.size(); ++i)
        if (path[i] == file) {
            path.erase(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(i));
            path.push_back(file);
            return true;
        }
    if (done.count(file) != 0) return false;
    path.push_back(file);
    if (auto node = graph.find(file); node != graph.end())
        for (const std::string &next : node->second)
            if (walk(graph, next, done, path)) return true;
    path.pop_back();
    done.insert(file);
    return false;
}

}  // namespace

IncludeGraph readIncludeGraph(const std::string &source_dir) {
    const fs::path root(source_dir);
    IncludeGraph graph;
    for (const auto &entry : fs::recursive_directory_iterator(root / "src")) {
        const std::string extension = entry.path().extension().string();
        if (extension == ".h" || extension == ".cpp")
            graph[fs::relative(entry.path(), root / "src").string()] = includesOf(entry.path(), root);
    }
    for (const char *name : {"isam.h", "isam_names.h", "isam_maint.h"})
        graph[name] = includesOf(root / "include" / name, root);
    return graph;
}

std::vector<std::string> findCircle(const IncludeGraph &graph) {
    std::set<std::string> done;
    std::vector<std::string> path;
    for (const auto &[file, unused] : graph)
        if (walk(graph, file, done, path)) return path;
    return {};
}

int floorOf(const std::string &path) {
    // Lowest first. A file that stands alone on a floor of its own is named before its folder.
    static const std::vector<std::pair<std::string, int>> kFloors = {
        {"isam", 1},    {"base/", 2},        {"frame/isadmin.", 3}, {"keys/isindex.", 9}, {"storage/", 4},
        {"lock/", 5},   {"txn/istrans", 13}, {"txn/", 6},           {"keys/", 7},         {"tree/", 8},
        {"frame/", 10}, {"records/", 11},    {"maint/", 12},        {"api/", 14},
    };
    for (const auto &[prefix, floor] : kFloors)
        if (path.rfind(prefix, 0) == 0) return floor;
    return 0;
}
