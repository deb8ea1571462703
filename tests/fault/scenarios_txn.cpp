// Log, transactions, recovery, audit trail.
#include "records.h"
#include "scenario_lists.h"

#include <fstream>
#include <sstream>

namespace fault_testing {

namespace {

constexpr int kLogged = kManual | ISTRANS;

void accounts(World &world) {
    makeFile(world, "file", fixedShape(identKey()), {textKey()}, 1, 20);
    makeFile(world, "tails", tailedShape(identKey()), {}, 1, 10);
}

void closeLog(World &world) { world.other("islogclose", islogclose); }

void changeSome(World &world, int fd) {
    world.write(fd, record(30));
    world.rewrite(fd, record(3, 103));
    world.erase(fd, record(5));
    world.write(fd, record(31));
}

void commitOne(World &world) {
    world.openLog("log");
    const int fd = world.open("file", kLogged);
    world.begin();
    changeSome(world, fd);
    world.commit();
    world.write(fd, record(32));
    readSome(world, fd);
    world.close(fd);
    closeLog(world);
}

void rollBackOne(World &world) {
    world.openLog("log");
    const int fd = world.open("file", kLogged);
    world.begin();
    changeSome(world, fd);
    world.rollback();
    readSome(world, fd);
    world.close(fd);
    closeLog(world);
}

// Two files, one of them closed within the transaction; the second transaction is undone.
void severalFiles(World &world) {
    world.openLog("log");
    const int fd = world.open("file", kLogged);
    const int tails = world.open("tails", kLogged | ISVARLEN);
    world.begin();
    world.write(fd, record(40));
    world.write(tails, tailed(41, 2500));
    world.rewrite(tails, tailed(4, 10));
    world.commit();
    world.begin();
    world.rewrite(fd, record(7, 107));
    world.erase(tails, tailed(9, 0));
    world.write(tails, tailed(42, 700));
    world.close(tails);
    world.rollback();
    readSome(world, fd);
    world.close(fd);
    closeLog(world);
}

void logWholeFiles(World &world) {
    world.openLog("log");
    const int fd = world.build("new", fixedShape(identKey(), ISTRANS | ISLOCKEXCL));
    world.addIndex(fd, groupKey());
    world.write(fd, record(1));
    long id = 0;
    world.on(fd, "isuniqueid", [&] { return isuniqueid(fd, &id); });
    world.dropIndex(fd, groupKey());
    world.close(fd);
    world.rename("new", "newer");
    world.eraseFile("tails");
    inFile(
        world, [&](int again) { world.write(again, record(2)); }, kLogged, "newer");
    closeLog(world);
}

// Work that is in the log and, once the files are put back, nowhere else.
void loggedWork(World &world) {
    world.openLog("log");
    const int fd = world.open("file", kLogged);
    const int tails = world.open("tails", kLogged | ISVARLEN);
    world.begin();
    changeSome(world, fd);
    world.write(tails, tailed(50, 2500));
    world.commit();
    world.begin();
    world.write(fd, record(60));
    world.rewrite(tails, tailed(4, 3000));
    world.rollback();
    world.close(fd);
    world.close(tails);
    // What follows an undone change goes into the log through a new handle alone.
    const int again = world.open("tails", kLogged | ISVARLEN);
    world.erase(again, tailed(8, 0));
    world.close(again);
    closeLog(world);
}

std::string contents(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void lostFiles(World &world) {
    accounts(world);
    const char *const names[] = {"file.idx", "file.dat", "tails.idx", "tails.dat"};
    std::vector<std::string> saved;
    for (const char *name : names)
        saved.push_back(contents(name));
    Journal elsewhere;
    World scratch(elsewhere);
    makeFile(scratch, "none", fixedShape(identKey()), {}, 1, 2);
    loggedWork(scratch);
    scratch.eraseFile("none");
    for (std::size_t i = 0; i < saved.size(); ++i)
        std::ofstream(names[i], std::ios::binary) << saved[i];
}

void recoverFiles(World &world) {
    const auto value = [](const char *file, int ident, const std::string &image) {
        Change change;
        change.kind = Change::Kind::Record;
        change.file = file;
        change.ident = ident;
        change.present = !image.empty();
        change.image = image;
        return change;
    };
    world.openLog("log");
    world.recover({
        value("file", 30, record(30)),
        value("file", 3, record(3, 103)),
        value("file", 5, ""),
        value("file", 31, record(31)),
        value("tails", 50, tailed(50, 2500)),
        value("file", 60, record(60)),
        value("tails", 4, tailed(4, 3000)),
        value("tails", 4, tailed(4, 1600)),
        value("file", 60, ""),
        value("tails", 8, ""),
    });
    closeLog(world);
    inFile(world, [](int) {});
}

void audited(World &world) {
    makeFile(world, "file", fixedShape(identKey()), {textKey()}, 1, 12);
    makeFile(world, "tails", tailedShape(identKey()), {}, 1, 10);
    const int fd = world.open("tails", kManual | ISVARLEN);
    char name[] = "tails.trail";
    world.on(fd, "isaudit", [&] { return isaudit(fd, name, ISAUDSETNAME); });
    world.on(fd, "isaudit", [&] { return isaudit(fd, name, ISAUDSTART); });
    world.close(fd);
}

void auditOn(World &world) {
    inFile(world, [&](int fd) {
        char name[ISAUDNAMELEN + 1] = "trail";
        world.on(fd, "isaudit", [&] { return isaudit(fd, name, ISAUDSETNAME); });
        world.on(fd, "isaudit", [&] { return isaudit(fd, name, ISAUDSTART); });
        world.write(fd, record(30));
        world.rewrite(fd, record(3, 103));
        world.erase(fd, record(5));
        world.on(fd, "isaudit", [&] { return isaudit(fd, name, ISAUDSTOP); });
        world.on(fd, "isaudit", [&] { return isaudit(fd, name, ISAUDGETNAME); });
        world.write(fd, record(31));
    });
    inFile(
        world,
        [&](int fd) {
            world.write(fd, tailed(30, 1500));
            world.rewrite(fd, tailed(3, 100));
            world.erase(fd, tailed(4, 0));
        },
        kManual | ISVARLEN, "tails");
}

}  // namespace

void addTransactionScenarios(std::vector<Scenario> &all) {
    all.insert(all.end(), {
                              {"commit", accounts, commitOne, "log", true},
                              {"rollback", accounts, rollBackOne, "log", true},
                              {"several_files", accounts, severalFiles, "log", true},
                              {"logged_files", accounts, logWholeFiles, "log", true},
                              {"recover", lostFiles, recoverFiles, nullptr, true},
                              {"audit", audited, auditOn},
                          });
}

}  // namespace fault_testing
