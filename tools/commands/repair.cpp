// isam repair: makes a damaged set a working one again.
#include "base/failure.h"
#include "base/json.h"
#include "base/table.h"
#include "commands/commands.h"
#include "mend/copies.h"
#include "mend/in_place.h"
#include "mend/lost_records.h"
#include "mend/new_set.h"

#include <cstdio>
#include <filesystem>
#include <utility>

namespace tool {

namespace {

struct Options {
    std::string file;
    bool noCopy = false;
    bool dryRun = false;
    bool json = false;
};

class Repair {
  public:
    explicit Repair(const Options &options) : options_(options) {}

    int run() {
        const Checked checked = checkSet(options_.file);
        if (!checked.damaged()) {
            say("sound, nothing to mend");
            return end("sound");
        }
        needData(checked);
        findLost(checked);
        if (options_.dryRun) {
            plan(checked);
            return end("not mended");
        }
        keepCopy();
        if (!isMendedInPlace(checked) || !mendedInPlace(checked)) makeAnew();
        tellLost();
        say("sound again; where transactions are logged, begin a new log");
        return end("mended");
    }

  private:
    void say(const std::string &line) {
        lines_.push_back(line);
        if (!options_.json) std::printf("%s: %s\n", options_.file.c_str(), line.c_str());
    }

    int end(const char *status) {
        report_["file"] = options_.file;
        report_["status"] = status;
        report_["steps"] = lines_;
        if (options_.json) print(report_);
        return kClean;
    }

    // Keys do not make records.
    void needData(const Checked &checked) const {
        const FileView view(options_.file, FileView::Access::kShared);
        if (view.hasData() || (checked.shape.headerRead && checked.shape.header.recordLength == 0)) return;
        const std::optional<Layout> layout = layoutBeside(view);
        if (view.hasIndex() && layout && layout->keysAlone()) return;
        throw Failure(options_.file + ": the data file is missing: there is nothing to make the records from");
    }

    // Before anything is made anew, for then nothing tells of them any more.
    void findLost(const Checked &checked) {
        const FileView view(options_.file, FileView::Access::kShared);
        lost_ = findLostRecords(view, isMendedInPlace(checked) ? checked.shape : shapeOf(view).shape);
    }

    void tellLost() {
        if (lost_.gone != 0)
            say(counted(lost_.gone, "record is", "records are") +
                " lost: indexes have the keys, but something else stands in the data file");
        if (lost_.deleted != 0)
            say(counted(lost_.deleted, "record is", "records are") +
                " marked deleted, though indexes have the keys: taken for deleted");
        report_["recordsLost"] = lost_.gone;
        report_["recordsDeleted"] = lost_.deleted;
    }

    void keepCopy() {
        // Nobody else has it, or this says who.
        const FileView view(options_.file, FileView::Access::kAlone);
        if (options_.noCopy) return;
        const std::vector<std::string> copies = keepCopies(view);
        for (const std::string &copy : copies)
            say("a copy is in " + copy);
        report_["copies"] = copies;
    }

    bool mendedInPlace(const Checked &checked) {
        const Mended mended = mendInPlace(options_.file, checked);
        if (!mended.done || checkSet(options_.file).damaged()) return false;
        for (const std::string &step : mended.steps)
            say(step);
        return true;
    }

    static std::optional<Layout> layoutBeside(const FileView &view) {
        const std::string path = layoutPath(view.name());
        if (!std::filesystem::exists(path)) return std::nullopt;
        return readLayout(path);
    }

    static BestShape shapeOf(const FileView &view) {
        const Shape shape = readShape(view);
        std::optional<Layout> layout;
        try {
            layout = layoutBeside(view);
        } catch (const Failure &) {
            // A layout with a fault is in the way only where it is needed.
            if (!shape.headerRead || !shape.indexesRead) throw;
        }
        return findShape(view, shape, layout);
    }

    void makeAnew() {
        const FileView view(options_.file, FileView::Access::kAlone);
        BestShape best = shapeOf(view);
        const std::string place = view.place() + ".being-repaired";
        const std::string rejects = freeName(view.place() + ".rejected");
        removeSet(place);
        try {
            const Saved saved = makeNewSet(view, best, place, rejects);
            if (checkSet(place).damaged()) throw Failure(options_.file + ": what was made anew is not sound");
            putInPlace(place, view, best.shape.header.recordLength != 0);
            tell(best, saved, rejects, "the set has been made anew from ");
        } catch (const Failure &) {
            removeSet(place);
            std::filesystem::remove(rejects);
            throw;
        }
    }

    void tell(const BestShape &best, const Saved &saved, const std::string &rejects, const std::string &what) {
        for (const std::string &line : best.said)
            say(line);
        const bool keys = best.shape.header.recordLength == 0;
        say(what + (keys ? counted(saved.records, "key", "keys") : counted(saved.records, "record", "records")));
        if (saved.statusMended != 0)
            say(counted(saved.statusMended, "record has", "records have") + " got back the mark of a record");
        if (saved.tailsLost != 0)
            say(counted(saved.tailsLost, "record has", "records have") +
                " lost the tail, which the index file held, and kept the fixed part");
        if (saved.slotsMissing != 0)
            say(counted(saved.slotsMissing, "slot is", "slots are") + " missing at the end of the data file");
        if (keys && saved.rejected != 0) say(counted(saved.rejected, "key", "keys") + " left out that came twice");
        if (!keys && saved.rejected != 0)
            say(counted(saved.rejected, "record has", "records have") +
                " a key that an earlier one has in a unique index: in " + rejects);
        if (saved.unsure != 0)
            say(counted(saved.unsure, "slot is", "slots are") + " neither a record nor free: in " + rejects);
        for (const std::string &setting : saved.notKept)
            say("not kept: " + setting);
        report_["records"] = saved.records;
        report_["tailsLost"] = saved.tailsLost;
        report_["slotsMissing"] = saved.slotsMissing;
        report_["rejected"] = saved.rejected + saved.unsure;
        if (!keys && saved.rejected + saved.unsure != 0) report_["rejects"] = rejects;
    }

    void plan(const Checked &checked) {
        const FileView view(options_.file, FileView::Access::kShared);
        if (!options_.noCopy)
            for (const std::string &copy : namesOfCopies(view))
                say("would copy to " + copy);
        if (isMendedInPlace(checked)) {
            for (const std::string &step : stepsInPlace(checked))
                say("would have the " + step);
            say("where that does not suffice, a new set would be made from the records");
            tellLost();
            return;
        }
        BestShape best = shapeOf(view);
        const Saved saved = countSaved(view, best);
        tell(best, saved, freeName(view.place() + ".rejected"), "the set would be made anew from ");
        tellLost();
    }

    static std::string freeName(const std::string &path) {
        std::string name = path;
        for (int number = 2; std::filesystem::exists(name); ++number)
            name = path + "-" + std::to_string(number);
        return name;
    }

    const Options &options_;
    std::vector<std::string> lines_;
    LostRecords lost_;
    Json report_ = Json::object();
};

}  // namespace

void addRepair(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "repair", "Make a damaged file a working one again",
        "Checks the file and mends what is damaged. Lists and indexes are made anew where they stand. Where that does\n"
        "not suffice, a new set is made from every record that can be read and put in the place of the old one:\n"
        "with the indexes of the old index file, or of FILE.layout where it is lost or ruined. Numbers of records,\n"
        "masks, and what the header keeps for the application stay where they can be read; what is lost is said.\n\n"
        "The tails of variable-length records lie in the index file. Without it records keep their fixed part alone.\n"
        "Records with a key that a unique index has already, and slots of which nothing tells whether they are\n"
        "records, go to FILE.rejected: their bytes one after the other, in files with tails each behind its length of\n"
        "4 bytes, most significant first.\n\n"
        "First the files are copied to FILE.idx.before-repair and FILE.dat.before-repair. Nobody else may have the\n"
        "file open. A transaction log must be begun anew behind it.",
        {{"isam repair planets", "Mends planets, with a copy of it as it was."},
         {"isam repair --dry-run planets", "Says what would be done; changes nothing."},
         {"isam repair --no-copy planets", "Mends it without a copy: for who has one."}});
    Program::addFile(command, options->file);
    command->add_flag("--no-copy", options->noCopy, "keep no copy of the files as they are");
    command->add_flag("--dry-run", options->dryRun, "say what would be done and change nothing");
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return Repair(*options).run(); });
}

}  // namespace tool
