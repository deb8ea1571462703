// isam map: what each node of an index file is.
#include "base/failure.h"
#include "base/json.h"
#include "base/place.h"
#include "base/progress.h"
#include "base/table.h"
#include "commands/commands.h"
#include "picture/map_picture.h"

#include <cstdio>

namespace tool {

namespace {

constexpr std::size_t kShownRuns = 20;

struct Options {
    std::string file;
    std::string svg;
    bool runs = false;
    bool json = false;
};

void printText(const Options &options, const Survey &survey, int node_size) {
    std::printf("%s: %s of %d bytes\n\n", options.file.c_str(), counted(survey.nodes.size(), "node", "nodes").c_str(),
                node_size);
    for (const MapCount &count : mapCounts(survey))
        std::printf("%9ju  %s\n", static_cast<std::uintmax_t>(count.nodes), mapKindInWords(count.kind).c_str());
    const std::vector<MapRun> runs = mapRuns(survey);
    std::printf("\n");
    std::size_t shown = 0;
    for (const MapRun &run : runs) {
        if (!options.runs && shown == kShownRuns) {
            std::printf("and %s more: --runs shows all\n", counted(runs.size() - shown, "run", "runs").c_str());
            break;
        }
        const std::string numbers = run.first == run.last ? std::to_string(run.first)
                                                          : std::to_string(run.first) + "-" + std::to_string(run.last);
        std::printf("%15s  %s\n", numbers.c_str(), mapKindInWords(run.kind).c_str());
        ++shown;
    }
}

Json kindJson(const MapKind &kind) {
    Json json = {{"kind", kindInWords(kind.kind)}};
    const bool of_tree =
        kind.kind == NodeKind::kLeaf || kind.kind == NodeKind::kInner || kind.kind == NodeKind::kRuined;
    if (of_tree) json["index"] = kind.index + 1;
    if (kind.shared) json["usedTwice"] = true;
    return json;
}

Json mapJson(const Options &options, const Survey &survey, int node_size) {
    Json counts = Json::array(), runs = Json::array();
    for (const MapCount &count : mapCounts(survey)) {
        counts.push_back(kindJson(count.kind));
        counts.back()["nodes"] = count.nodes;
    }
    for (const MapRun &run : mapRuns(survey)) {
        runs.push_back(kindJson(run.kind));
        runs.back()["first"] = run.first;
        runs.back()["last"] = run.last;
    }
    return {{"file", options.file},
            {"nodes", survey.nodes.size()},
            {"nodeSize", node_size},
            {"counts", counts},
            {"runs", runs}};
}

int run(const Options &options) {
    refuseOwnFiles(options.svg, options.file);
    const FileView view(options.file, FileView::Access::kShared);
    const Shape shape = readShape(view);
    if (!shape.headerRead) throw Failure(options.file + ": " + shape.problems.at(0));
    Survey survey;
    {
        Progress progress("reading " + options.file, shape.nodesInFile(view));
        survey = surveyNodes(view, shape, [&progress](std::uint64_t nodes) { progress.step(nodes); });
    }
    if (!options.svg.empty()) drawMap(survey, shape.header.nodeSize, "The index file of " + options.file, options.svg);
    if (options.json)
        print(mapJson(options, survey, shape.header.nodeSize));
    else if (options.svg.empty())
        printText(options, survey, shape.header.nodeSize);
    return survey.damaged() || !shape.problems.empty() ? kDamage : kClean;
}

}  // namespace

void addMap(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "map", "Show what each node of an index file is",
        "Says of every node of the index file what has it: header, key descriptions, the tree of an index, the list\n"
        "of free record numbers, tails of records, the list of free nodes, nobody. The picture has a cell for each\n"
        "node, or for several where there are too many; lost nodes are always seen.\n\n"
        "Exits with 1 where the file is damaged.",
        {{"isam map planets", "How many nodes of which kind, and where."},
         {"isam map planets --svg map.svg", "The same as a picture."}});
    Program::addFile(command, options->file);
    command->add_option("--svg", options->svg, "write a picture to this file")->type_name("OUT");
    command->add_flag("--runs", options->runs, "show all runs of nodes of one kind");
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
