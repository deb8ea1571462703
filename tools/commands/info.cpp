// isam info: what a file is made of.
#include "base/json.h"
#include "base/key_text.h"
#include "base/progress.h"
#include "base/table.h"
#include "commands/commands.h"
#include "index/survey.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace tool {

namespace {

struct Options {
    std::string file;
    bool json = false;
};

std::string kindInWords(const IndexHeader &header) {
    if (header.recordLength == 0) return "keys without records";
    if (!header.variable()) return "records of " + counted(static_cast<unsigned>(header.recordLength), "byte", "bytes");
    return "records of " + std::to_string(header.recordLength) + " to " + std::to_string(header.maximum) + " bytes" +
           (header.compressed() ? ", tails compressed" : "");
}

std::string hexOf(const std::array<std::uint8_t, ISUSERINFOLEN> &bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", byte);
        text += two;
    }
    return text;
}

std::string userAreaInWords(const std::array<std::uint8_t, ISUSERINFOLEN> &bytes) {
    auto end = bytes.end();
    while (end != bytes.begin() && end[-1] == 0)
        --end;
    if (end == bytes.begin()) return "empty";
    std::string text = hexOf(bytes);
    if (std::all_of(bytes.begin(), end, [](std::uint8_t byte) { return std::isprint(byte) != 0; }))
        text += " \"" + std::string(bytes.begin(), end) + "\"";
    return text;
}

std::uint64_t treeNodes(const Survey &survey) {
    std::uint64_t count = 0;
    for (const Tree &tree : survey.trees)
        count += tree.nodes();
    return count;
}

void printNodes(const Shape &shape, const Survey &survey) {
    const auto number = [](std::uint64_t count) {
        return std::to_string(count);
    };
    std::string text = number(treeNodes(survey)) + " in trees";
    if (shape.header.variable()) text += ", " + number(survey.tailNodes) + " with tails";
    text += ", " + number(survey.freeNodes) + " free";
    if (survey.lostNodes != 0) text += ", " + number(survey.lostNodes) + " lost";
    const std::uint64_t others = survey.count(NodeKind::kHeader) + survey.count(NodeKind::kDescription) +
                                 survey.count(NodeKind::kAudit) + survey.count(NodeKind::kRecordList);
    printLine("nodes", text + ", " + number(others) + " for header, descriptions and lists");
}

void printTree(std::size_t number, const Tree &tree, int node_size) {
    std::printf("\n");
    printLine("index " + std::to_string(number), flagsInWords(tree.key));
    for (int i = 0; i < tree.key.nparts; ++i)
        printLine(i == 0 ? "  key" : "", partInWords(tree.key.parts[i]));
    std::string text = counted(tree.levels.size(), "level", "levels") + ", " + counted(tree.nodes(), "node", "nodes") +
                       ", " + percent(tree.fill(node_size)) + " full, " + counted(tree.keys, "key", "keys");
    if (tree.saved() > 0) text += ", compression saves " + percent(tree.saved());
    if (!tree.whole) text += ", damaged";
    printLine("  tree", text);
}

void printFile(const FileView &view, const Shape &shape, const Survey &survey) {
    const IndexHeader &header = shape.header;
    printLine("file", view.place());
    if (shape.headerRead) {
        printLine("kind", kindInWords(header) + (shape.noPrimaryKey ? ", no primary key" : ""));
        if (header.recordLength != 0) {
            const std::string numbers =
                header.precious() ? counted(header.lastRecord, "number", "numbers") + " used, deleted records included"
                                  : std::to_string(header.lastRecord - survey.freeRecords);
            printLine("records", numbers + "; highest number " + std::to_string(header.lastRecord) + ", " +
                                     counted(survey.freeRecords, "number", "numbers") + " free");
        }
    }
    if (view.hasData())
        printLine("data file",
                  counted(view.dataSize(), "byte", "bytes") + (shape.headerRead && header.recordLength != 0
                                                                   ? ", slots of " + std::to_string(header.slotLength())
                                                                   : ""));
    if (view.hasIndex())
        printLine("index file",
                  counted(view.indexSize(), "byte", "bytes") + ", nodes of " + std::to_string(header.nodeSize));
    if (!shape.headerRead) return;
    printNodes(shape, survey);
    printLine("next id", std::to_string(header.uniqueId));
    printLine("precious", header.precious() ? "yes" : "no");
    printLine("masks", header.masks() ? "yes" : "no");
    printLine("audit trail", shape.audit ? (shape.audit->on ? "on, " : "off, ") + shape.audit->name : "none");
    printLine("user area", userAreaInWords(header.userInfo));
    for (std::size_t i = 0; i < survey.trees.size(); ++i)
        printTree(i + 1, survey.trees[i], header.nodeSize);
}

std::vector<std::string> damages(const Shape &shape, const Survey &survey) {
    std::vector<std::string> all = shape.problems;
    for (const NodeFinding &finding : survey.findings)
        if (finding.severity == Severity::kDamage) all.push_back(finding.text);
    return all;
}

Json treeJson(const Tree &tree, int node_size) {
    Json parts = Json::array();
    for (int i = 0; i < tree.key.nparts; ++i) {
        const KeyPart &part = tree.key.parts[i];
        parts.push_back({{"start", part.start},
                         {"length", part.length},
                         {"type", typeName(part.type)},
                         {"descending", (part.type & ISDESC) != 0},
                         {"nullByte", part.type >> 8U}});
    }
    return {{"unique", (tree.key.flags & ISDUPS) == 0},
            {"flags", tree.key.flags},
            {"parts", parts},
            {"keyLength", tree.key.keyLength},
            {"root", tree.key.rootNode},
            {"levels", tree.levels.size()},
            {"nodes", tree.nodes()},
            {"keys", tree.keys},
            {"fill", tree.fill(node_size)},
            {"saved", tree.saved()},
            {"whole", tree.whole}};
}

Json fileJson(const FileView &view, const Shape &shape, const Survey &survey) {
    const IndexHeader &header = shape.header;
    Json file = {{"file", view.place()}};
    if (view.hasIndex()) file["indexFileBytes"] = view.indexSize();
    if (view.hasData()) file["dataFileBytes"] = view.dataSize();
    if (shape.headerRead) {
        file["kind"] = header.recordLength == 0 ? "keys" : header.variable() ? "variable" : "fixed";
        file["recordLength"] = header.variable() ? header.maximum : header.recordLength;
        file["minimumLength"] = header.recordLength;
        file["compressed"] = header.compressed();
        file["primaryKey"] = !shape.noPrimaryKey;
        file["records"] = header.lastRecord - survey.freeRecords;
        file["highestRecord"] = header.lastRecord;
        file["freeRecords"] = survey.freeRecords;
        file["nodeSize"] = header.nodeSize;
        file["nodes"] = survey.nodes.size();
        file["highestNode"] = header.lastNode;
        file["treeNodes"] = treeNodes(survey);
        file["tailNodes"] = survey.tailNodes;
        file["tailFreeBytes"] = survey.tailFreeBytes;
        file["freeNodes"] = survey.freeNodes;
        file["lostNodes"] = survey.lostNodes;
        file["nextId"] = header.uniqueId;
        file["changes"] = header.changes;
        file["precious"] = header.precious();
        file["masks"] = header.masks();
        file["audit"] = shape.audit ? Json{{"name", shape.audit->name}, {"on", shape.audit->on}} : Json(nullptr);
        file["userArea"] = hexOf(header.userInfo);
        Json indexes = Json::array();
        for (const Tree &tree : survey.trees)
            indexes.push_back(treeJson(tree, header.nodeSize));
        file["indexes"] = indexes;
    }
    file["damage"] = damages(shape, survey);
    return file;
}

int run(const Options &options) {
    const FileView view(options.file, FileView::Access::kShared);
    const Shape shape = readShape(view);
    Survey survey;
    if (shape.headerRead) {
        Progress progress("reading " + options.file, shape.nodesInFile(view));
        survey = surveyNodes(view, shape, [&progress](std::uint64_t nodes) { progress.step(nodes); });
    }
    if (options.json) {
        print(fileJson(view, shape, survey));
    } else {
        printFile(view, shape, survey);
        for (const std::string &damage : damages(shape, survey))
            printLine("damage", damage);
    }
    return damages(shape, survey).empty() ? kClean : kDamage;
}

}  // namespace

void addInfo(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "info", "Tell what a file is made of",
        "Shows the kind of the file and the lengths of its records, how many there are and where they have room,\n"
        "its settings, and of each index its key, and how high, how large and how full its tree is.\n\n"
        "It reads the files by itself and changes nothing. Of a damaged set it shows what can be read, says what\n"
        "cannot, and exits with 1.",
        {{"isam info planets", "What planets.idx and planets.dat hold."},
         {"isam info --json planets | jq .records", "The number of records, for a script."}});
    Program::addFile(command, options->file);
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
