// isam tree: the tree of an index, as a picture, a table or JSON.
#include "base/failure.h"
#include "base/json.h"
#include "base/key_text.h"
#include "base/place.h"
#include "base/progress.h"
#include "base/table.h"
#include "commands/commands.h"
#include "picture/tree_picture.h"

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

struct Options {
    std::string file;
    int index = 1;
    std::string svg;
    bool json = false;
};

void printTable(const Tree &tree, int node_size) {
    std::printf("%-8s %9s %11s %5s\n", "level", "nodes", "entries", "full");
    for (std::size_t level = tree.levels.size(); level-- > 0;) {
        std::uint64_t entries = 0;
        double fill = 0;
        for (const TreeNode &node : tree.levels[level]) {
            entries += node.entries;
            fill += fillOf(node, node_size);
        }
        const auto nodes = tree.levels[level].size();
        const std::string name = level == 0 ? "leaves" : std::to_string(level);
        std::printf("%-8s %9zu %11ju %5s\n", name.c_str(), nodes, static_cast<std::uintmax_t>(entries),
                    percent(fill / static_cast<double>(nodes)).c_str());
    }
}

void printHistogram(const Tree &tree, int node_size) {
    constexpr std::uint64_t kLongest = 50;
    const auto histogram = fillHistogram(tree.levels[0], node_size);
    const std::uint64_t most = std::max<std::uint64_t>(1, *std::max_element(histogram.begin(), histogram.end()));
    std::printf("\nleaves by fill\n");
    for (std::size_t i = 0; i < histogram.size(); ++i) {
        const std::string bar(static_cast<std::size_t>((histogram[i] * kLongest + most - 1) / most), '#');
        std::printf("%3zu-%3zu%% %7ju%s%s\n", i * 10, i * 10 + 10, static_cast<std::uintmax_t>(histogram[i]),
                    bar.empty() ? "" : "  ", bar.c_str());
    }
}

Json treeJson(const Options &options, const Tree &tree, int node_size) {
    Json levels = Json::array();
    for (std::size_t level = tree.levels.size(); level-- > 0;) {
        std::uint64_t entries = 0, bytes = 0;
        for (const TreeNode &node : tree.levels[level]) {
            entries += node.entries;
            bytes += node.used;
        }
        levels.push_back({{"level", level},
                          {"nodes", tree.levels[level].size()},
                          {"entries", entries},
                          {"bytesUsed", bytes},
                          {"byTenthsOfFill", fillHistogram(tree.levels[level], node_size)}});
    }
    return {{"file", options.file},         {"index", options.index}, {"keys", tree.keys},   {"nodes", tree.nodes()},
            {"fill", tree.fill(node_size)}, {"saved", tree.saved()},  {"whole", tree.whole}, {"levels", levels}};
}

int run(const Options &options) {
    refuseOwnFiles(options.svg, options.file);
    const FileView view(options.file, FileView::Access::kShared);
    const Shape shape = readShape(view);
    if (!shape.headerRead || !shape.indexesRead) throw Failure(options.file + ": " + shape.problems.at(0));
    if (options.index < 1 || static_cast<std::size_t>(options.index) > shape.indexes.size())
        throw Failure(options.file + ": there is no index " + std::to_string(options.index) + ": the file has " +
                      counted(shape.indexes.size(), "index", "indexes"));
    Survey survey;
    {
        Progress progress("reading " + options.file, shape.nodesInFile(view));
        survey = surveyNodes(view, shape, [&progress](std::uint64_t nodes) { progress.step(nodes); });
    }
    const Tree &tree = survey.trees[static_cast<std::size_t>(options.index - 1)];
    if (tree.levels.empty()) throw Failure(options.file + ": the root of the index cannot be read");
    const int node_size = shape.header.nodeSize;
    if (!options.svg.empty())
        drawTree(view, shape, tree, "Index " + std::to_string(options.index) + " of " + options.file, options.svg);
    if (options.json) {
        print(treeJson(options, tree, node_size));
    } else if (options.svg.empty()) {
        std::string key;
        for (int i = 0; i < tree.key.nparts; ++i)
            key += (i == 0 ? "" : "; ") + partInWords(tree.key.parts[i]);
        std::printf("index %d of %s: %s: %s\n\n", options.index, options.file.c_str(), flagsInWords(tree.key).c_str(),
                    key.c_str());
        printTable(tree, node_size);
        printHistogram(tree, node_size);
    }
    return tree.whole ? kClean : kDamage;
}

}  // namespace

void addTree(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "tree", "Show the tree of an index, as a table or a picture",
        "Shows the levels of an index's tree, how many nodes and entries they have and how full they are. The picture\n"
        "has a row for each level and a box for each node, as wide as the leaves below it; its colour and height are\n"
        "its fill, so that nodes that have just been split, and those about to be, can be seen. Under the pointer\n"
        "stand node number and keys. Where there are too many nodes a box stands for several.\n\n"
        "Exits with 1 where part of the tree cannot be read: the rest is shown.",
        {{"isam tree planets --index 2", "Levels and fill of the second index."},
         {"isam tree planets --index 1 --svg tree.svg", "The picture of the first one."}});
    Program::addFile(command, options->file);
    command->add_option("--index", options->index, "number of the index, 1 for the first")->type_name("N");
    command->add_option("--svg", options->svg, "write a picture to this file")->type_name("OUT");
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
