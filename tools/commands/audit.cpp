// isam audit: a file's audit trail, switched on and off, named and shown.
#include "base/change_watch.h"
#include "base/failure.h"
#include "base/hex_text.h"
#include "base/json_line.h"
#include "base/open_file.h"
#include "base/progress.h"
#include "base/time_text.h"
#include "commands/commands.h"
#include "base/place.h"
#include "log/audit_filter.h"
#include "log/audit_text.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <unistd.h>

namespace tool {

namespace {

struct Options {
    std::string file;
    std::string action;
    std::string name;
    std::string trail;
    std::vector<std::string> kinds;
    std::optional<std::int64_t> number;
    std::optional<unsigned> process;
    std::string user;
    std::string since;
    std::string until;
    bool follow = false;
    bool contents = false;
    bool json = false;
};

struct Settings {
    std::string name;  // empty: the file has no trail
    bool on = false;
};

Settings settingsOf(const OpenFile &file) {
    std::array<char, ISAUDNAMELEN + 1> name{};
    if (isaudit(file.fd(), name.data(), ISAUDGETNAME) != 0) {
        if (iserrno == ISERR_ARGUMENT) return {};
        failCall(file.name(), "the settings of its audit trail cannot be read");
    }
    char on = 0;
    if (isaudit(file.fd(), &on, ISAUDINFO) != 0)
        failCall(file.name(), "the settings of its audit trail cannot be read");
    return {name.data(), on == 1};
}

AuditShape shapeOf(const OpenFile &file) {
    int mode = 0;
    isgetmode(file.fd(), &mode);
    return {file.variableLength(), (mode & ISCOMPRESS) != 0, file.minimumLength(), file.maximumLength()};
}

// Each program opens the trail from the directory in which it is: that of the user may be another one, and the file's
// own is where it is likely to be then.
std::string placeOf(const std::string &trail, const std::string &file) {
    const std::filesystem::path beside = std::filesystem::path(file).parent_path() / trail;
    std::error_code ignored;
    return !std::filesystem::exists(trail, ignored) && std::filesystem::exists(beside, ignored) ? beside.string()
                                                                                                : trail;
}

AuditFilter filterOf(const Options &options) {
    AuditFilter filter;
    filter.onlyKinds(options.kinds);
    filter.number = options.number;
    if (options.process) filter.onlyProcess(*options.process);
    if (!options.user.empty()) filter.onlyUser(options.user);
    if (!options.since.empty()) filter.since = parseTime(options.since);
    if (!options.until.empty()) filter.until = parseTime(options.until);
    return filter;
}

class Showing {
  public:
    Showing(const Options &options, const std::string &path, const AuditShape &shape)
        : options_(options), path_(path), filter_(filterOf(options)), trail_(path, shape) {}

    int run() {
        AuditTrail::Found found;
        {
            std::optional<Progress> progress;
            if (isatty(STDOUT_FILENO) == 0)
                progress.emplace("reading " + path_, static_cast<std::uint64_t>(trail_.size()));
            found = read(progress ? &*progress : nullptr);
        }
        if (options_.follow && found != AuditTrail::Found::kDamaged) found = follow();
        const bool whole = found == AuditTrail::Found::kEnd || (options_.follow && found == AuditTrail::Found::kCutOff);
        if (!whole) {
            std::fflush(stdout);
            std::fprintf(stderr, "isam audit: %s: %s\n", path_.c_str(), trail_.problem().c_str());
        }
        return whole && sound_ ? kClean : kDamage;
    }

  private:
    void show(const AuditEntry &entry) {
        sound_ = sound_ && entry.sound;
        if (!filter_.takes(entry)) return;
        if (options_.json) {
            printLine(auditJson(entry));
            return;
        }
        const std::string text = auditLine(entry) + (options_.contents ? auditContents(entry) : "");
        std::fwrite(text.data(), 1, text.size(), stdout);
    }

    AuditTrail::Found read(Progress *progress) {
        AuditEntry entry;
        AuditTrail::Found found;
        while ((found = trail_.next(entry)) == AuditTrail::Found::kEntry) {
            show(entry);
            if (progress != nullptr) progress->step(static_cast<std::uint64_t>(trail_.offset() - entry.offset));
        }
        return found;
    }

    AuditTrail::Found follow() {
        ChangeWatch watch(path_);
        AuditTrail::Found found;
        do {
            std::fflush(stdout);
            if (trail_.size() < trail_.offset()) throw Failure(path_ + ": has become shorter");
            const bool replaced = trail_.replaced();
            found = read(nullptr);
            std::fflush(stdout);
            if (replaced) throw Failure(path_ + ": is another trail by now");
        } while (found != AuditTrail::Found::kDamaged && std::ferror(stdout) == 0 && watch.wait());
        return found;
    }

    const Options &options_;
    std::string path_;
    AuditFilter filter_;
    AuditTrail trail_;
    bool sound_ = true;
};

// The file is closed before the trail is read, which may take long.
int show(const Options &options) {
    Settings settings;
    AuditShape shape;
    {
        const OpenFile file = OpenFile::forChanging(options.file);
        settings = settingsOf(file);
        shape = shapeOf(file);
    }
    if (settings.name.empty() && options.trail.empty()) {
        throw Failure(options.file + ": has no audit trail; 'isam audit " + options.file + " name TRAIL' gives it one");
    }
    const std::string path = options.trail.empty() ? placeOf(settings.name, options.file) : options.trail;
    std::error_code ignored;
    if (options.trail.empty() && !std::filesystem::exists(path, ignored)) {
        std::fprintf(stderr,
                     "isam audit: %s: the trail %s is not there: no change has been noted, or programs have it in "
                     "another directory\n",
                     options.file.c_str(), printable(path).c_str());
        return kDamage;
    }
    Showing showing(options, path, shape);
    if (!options.json) {
        std::printf("trail %s, %s\n%s", printable(path).c_str(), settings.on ? "on" : "off", auditHeading().c_str());
    }
    return showing.run();
}

void printSettings(const Options &options, const Settings &settings) {
    if (options.json) {
        print({{"file", options.file}, {"name", settings.name}, {"on", settings.on}});
    } else {
        std::printf("%s\n", printable(settings.name).c_str());
    }
}

int name(const Options &options) {
    OpenFile file = OpenFile::forChanging(options.file);
    if (options.name.empty()) {
        const Settings settings = settingsOf(file);
        if (!settings.name.empty()) {
            printSettings(options, settings);
            return kClean;
        }
        std::fprintf(stderr, "isam audit: %s: has no audit trail\n", options.file.c_str());
        return kDamage;
    }
    refuseOwnFiles(options.name, options.file);
    std::string name = options.name;
    if (isaudit(file.fd(), name.data(), ISAUDSETNAME) != 0) failCall(options.file, "the trail cannot be named");
    file.close();
    return kClean;
}

// While a trail that is on cannot be written, no program can change the file. Where one with a relative name would be
// is up to each program.
void requireWritable(const Options &options, const std::string &trail) {
    const std::filesystem::path path(trail);
    if (!path.is_absolute()) return;
    std::error_code ignored;
    const std::filesystem::path asked = std::filesystem::exists(path, ignored) ? path : path.parent_path();
    if (std::filesystem::is_directory(path, ignored))
        errno = EISDIR;
    else if (access(asked.c_str(), W_OK) == 0)
        return;
    failSystem(options.file + ": the trail " + printable(trail) +
                   " cannot be written, and so no change be made while it "
                   "is on",
               printable(asked.string()));
}

int switchTo(const Options &options, bool on) {
    OpenFile file = OpenFile::forChanging(options.file);
    const std::string trail = settingsOf(file).name;
    if (trail.empty()) {
        throw Failure(options.file + ": has no audit trail; 'isam audit " + options.file + " name TRAIL' gives it one");
    }
    if (on) requireWritable(options, trail);
    if (isaudit(file.fd(), nullptr, on ? ISAUDSTART : ISAUDSTOP) != 0)
        failCall(options.file, "the audit trail cannot be switched");
    file.close();
    return kClean;
}

int run(const Options &options) {
    if (!options.name.empty() && options.action != "name") throw Failure(options.name + ": only 'name' takes a name");
    if (options.action == "on") return switchTo(options, true);
    if (options.action == "off") return switchTo(options, false);
    if (options.action == "name") return name(options);
    return show(options);
}

void addOptions(CLI::App *command, Options &options) {
    Program::addFile(command, options.file);
    command->add_option("ACTION", options.action, "show, on, off or name")
        ->required()
        ->check(CLI::IsMember({"show", "on", "off", "name"}))
        ->type_name("");
    command->add_option("TRAIL", options.name, "with name: the new name of the trail, up to 64 bytes")->type_name("");
    command->add_flag("-f,--follow", options.follow, "show: wait for more entries until Ctrl-C");
    command->add_flag("-l,--long", options.contents, "show: all bytes of the records");
    command
        ->add_option("--type", options.kinds,
                     "show: entries of these types alone: added, deleted, rewritten, before, after")
        ->delimiter(',')
        ->type_name("TYPE,...")
        ->allow_extra_args(false);
    command->add_option("--record", options.number, "show: entries of this record number alone")->type_name("NUMBER");
    command->add_option("--user", options.user, "show: entries of this user alone")->type_name("USER");
    command->add_option("--process", options.process, "show: entries of this process alone")->type_name("PID");
    command
        ->add_option("--since", options.since,
                     "show: entries from this time on: '2026-05-01 12:00', or 2h for two hours ago")
        ->type_name("TIME");
    command->add_option("--until", options.until, "show: entries up to this time")->type_name("TIME");
    command->add_option("--trail", options.trail, "show: read this file, such as a trail that was put away")
        ->type_name("PATH");
    Program::addJson(command, options.json);
}

}  // namespace

void addAudit(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "audit", "Show a file's audit trail, or switch it on and off",
        "A file's audit trail takes an entry for every record that is added, deleted or rewritten (one before and one "
        "after it), by whichever program. 'name' with TRAIL names it, 'name' alone prints the name; 'on' and 'off' "
        "switch it; 'show' prints it. Programs open the trail by its name from the directory in which they are: give "
        "it "
        "a full path. A trail that is not found from here is looked for beside the file.\n\n"
        "Entries have the low 16 bits of process and user. Of a variable-length record without a tail the trail has no "
        "bytes; compressed tails are shown as they were before. A trail that several files share can be shown where "
        "their records are of one length.",
        {{"isam audit orders name /var/log/orders.audit", "Give orders an audit trail."},
         {"isam audit orders on", "From now on every change is noted in it."},
         {"isam audit orders show --record 17 --long", "What became of record 17, with all its bytes."},
         {"isam audit orders show --since 1d --json",
          "The changes since this time yesterday, one JSON document a line."}});
    addOptions(command, *options);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
