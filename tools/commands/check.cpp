// isam check: is a set sound?
#include "base/failure.h"
#include "base/json.h"
#include "base/open_file.h"
#include "commands/commands.h"
#include "mend/checks.h"

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

struct Options {
    std::vector<std::string> files;
    bool json = false;
};

void printFindings(const std::string &name, const Checked &checked) {
    for (const Complaint &complaint : checked.complaints) {
        const bool note = complaint.severity == Severity::kNote;
        std::printf("%s: %s%s: %s%s\n", name.c_str(), note ? "note: " : "", complaint.where.c_str(),
                    complaint.what.c_str(), complaint.meaning.empty() ? "" : (" - " + complaint.meaning).c_str());
    }
    if (checked.damaged())
        std::printf("%s: damaged; mend it with: isam repair %s\n", name.c_str(), name.c_str());
    else
        std::printf("%s: sound\n", name.c_str());
}

Json findingsJson(const Checked &checked) {
    Json findings = Json::array();
    for (const Complaint &complaint : checked.complaints)
        findings.push_back({{"severity", complaint.severity == Severity::kNote ? "note" : "damage"},
                            {"where", complaint.where},
                            {"what", complaint.what},
                            {"meaning", complaint.meaning}});
    return findings;
}

int run(const Options &options) {
    int worst = kClean;
    Json documents = Json::array();
    for (const std::string &typed : options.files) {
        const std::string name = basePath(typed);
        Json document = {{"file", name}};
        try {
            const Checked checked = checkSet(name);
            worst = std::max<int>(worst, checked.damaged() ? kDamage : kClean);
            if (!options.json) printFindings(name, checked);
            document["status"] = checked.damaged() ? "damaged" : "sound";
            document["findings"] = findingsJson(checked);
        } catch (const Failure &failure) {
            worst = kCannot;
            if (!options.json) std::fflush(stdout);
            std::fprintf(stderr, "isam check: %s\n", failure.what());
            document["status"] = "not checked";
            document["reason"] = failure.what();
        }
        documents.push_back(document);
    }
    if (options.json) print(documents);
    return worst;
}

}  // namespace

void addCheck(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "check", "Find out whether files are sound",
        "Runs all checks of the library on each file, and walks the index file node by node besides: every record's\n"
        "status, the list of free record numbers, every index in its order and against the records, the tails of\n"
        "variable-length records, and whether every node belongs to one thing alone. One line a finding, with what\n"
        "it comes to; a note is no damage. Others may go on working with the files.\n\n"
        "Exits with 0 where all are sound, 1 where one is damaged, 2 where one could not be checked.",
        {{"isam check planets", "Says what is wrong with planets, or that it is sound."},
         {"isam check *.idx || mail -s damaged operator", "Checks all sets of a directory."},
         {"isam check --json planets", "The findings, for a program."}});
    command->add_option("FILE", options->files, "base paths of the files to check")->required()->type_name("");
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
