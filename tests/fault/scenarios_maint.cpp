// Checks, rebuilds, locks, settings.
#include "records.h"
#include "scenario_lists.h"

#include "isam_maint.h"

#include "support/damage.h"

namespace fault_testing {

namespace {

using testing_support::Damage;
namespace field = testing_support::field;

bool notZero(int result) { return result != 0; }

// The outcome of a rebuild, its error where a call of isam.h has it.
int rebuilt(IsamFile *file, int result) {
    iserrno = isErrno(file);
    iserrio = isErrio(file);
    return result == 1 ? 0 : -1;
}

void checkAll(World &world, int fd, int indexes) {
    world.on(
        fd, "ischeckdata", [&] { return ischeckdata(fd); }, {}, notZero);
    for (int i = 1; i <= indexes; ++i)
        world.on(
            fd, "ischeckindex", [&] { return ischeckindex(fd, i); }, {}, notZero);
}

void someDeleted(World &world) {
    makeFile(world, "file", fixedShape(identKey()), {textKey(), groupKey(ISDUPS | ISDUPCOMP)}, 1, 30);
    const int fd = world.open("file", kManual);
    for (int i : {2, 8, 20})
        world.erase(fd, record(i));
    world.close(fd);
    makeFile(world, "tails", tailedShape(identKey()), {}, 1, 14);
}

void checks(World &world) {
    inFile(world, [&](int fd) { checkAll(world, fd, 3); });
    inFile(
        world,
        [&](int fd) {
            long stats[6];
            checkAll(world, fd, 1);
            world.on(
                fd, "ischeckvarlen", [&] { return ischeckvarlen(fd, stats); }, {}, notZero);
        },
        kManual | ISVARLEN, "tails");
}

// The second index has lost an entry in one leaf and its order in another one.
void damagedIndex(World &world) {
    someDeleted(world);
    Damage damage("file");
    const std::vector<std::uint32_t> leaves = damage.leaves(2);
    auto entries = damage.entries(2, leaves.front());
    std::swap(entries.front(), entries.back());
    damage.store(2, leaves.front(), entries);
    entries = damage.entries(2, leaves.back());
    entries.pop_back();
    damage.store(2, leaves.back(), entries);
}

void rebuildIndex(World &world) {
    inFile(world, [&](int fd) {
        world.on(
            fd, "ischeckindex", [&] { return ischeckindex(fd, 2); }, {}, notZero);
        world.on(fd, "isRebuildIdx", [&] { return rebuilt(isAdmItoD(fd), isRebuildIdx(isAdmItoD(fd), 2)); });
        world.on(
            fd, "ischeckindex", [&] { return ischeckindex(fd, 2); }, {}, notZero);
        world.write(fd, record(40));
    });
}

void damagedFreeList(World &world) {
    someDeleted(world);
    Damage damage("file");
    damage.header(field::kDataFree, 0);
}

void rebuildFree(World &world) {
    inFile(world, [&](int fd) {
        world.on(
            fd, "ischeckdata", [&] { return ischeckdata(fd); }, {}, notZero);
        world.on(fd, "isRebuildFree",
                 [&] { return rebuilt(isAdmItoD(fd), isRebuildFree(isAdmItoD(fd), ISFREE_DATA)); });
        world.on(
            fd, "ischeckdata", [&] { return ischeckdata(fd); }, {}, notZero);
        world.write(fd, record(40));
    });
}

void locks(World &world) {
    std::string found;
    inFile(world, [&](int fd) {
        for (int i = 0; i < 3; ++i)
            world.read(fd, &found, ISNEXT | ISLOCK);
        world.on(fd, "isrelcurr", [&] { return isrelcurr(fd); });
        world.on(fd, "isrelrec", [&] { return isrelrec(fd, 1); });
        world.on(fd, "isrelease", [&] { return isrelease(fd); });
        world.on(fd, "islock", [&] { return islock(fd); });
        world.rewrite(fd, record(4, 104));
        world.on(fd, "isunlock", [&] { return isunlock(fd); });
        world.on(fd, "islockcheck", [&] { return islockcheck(fd, 1); });
        if (world.read(fd, &found, ISLAST | ISLOCK)) world.rewriteCurrent(fd, record(identOf(found), 300));
        world.on(fd, "isrelease", [&] { return isrelease(fd); });
        world.on(fd, "issetmode", [&] { return issetmode(fd, ISLOCKAUTO); });
        world.read(fd, &found, ISFIRST);
        world.read(fd, &found, ISNEXT);
        if (world.read(fd, &found, ISNEXT)) world.eraseCurrent(fd, found);
    });
}

void settings(World &world) {
    inFile(world, [&](int fd) {
        long number = 0;
        char info[ISUSERINFOLEN] = "mine";
        DictInfo file{};
        KeyDesc key{};
        world.on(fd, "isuniqueid", [&] { return isuniqueid(fd, &number); });
        world.on(fd, "issetunique", [&] { return issetunique(fd, 1000); });
        world.on(fd, "isuniqueid", [&] { return isuniqueid(fd, &number); });
        world.on(fd, "isuserinfo", [&] { return isuserinfo(fd, 1, info); });
        world.on(fd, "isuserinfo", [&] { return isuserinfo(fd, 0, info); });
        world.on(fd, "isisaminfo", [&] { return isisaminfo(fd, &file); });
        world.on(fd, "isindexinfo", [&] { return isindexinfo(fd, &key, 2); });
        world.on(fd, "isgetlastrec", [&] { return isgetlastrec(fd, &number); });
        world.on(fd, "issetlastrec", [&] { return issetlastrec(fd, 40); });
        world.on(fd, "islastrec", [&] { return islastrec(fd, &number); });
        world.write(fd, record(50));
        int place = 0;
        world.on(fd, "ispush", [&] { return ispush(fd, &place, &number); });
        world.on(fd, "ispop", [&] { return ispop(fd, place, number); });
    });
}

}  // namespace

void addMaintenanceScenarios(std::vector<Scenario> &all) {
    all.insert(all.end(), {
                              {"checks", someDeleted, checks},
                              {"rebuild_index", damagedIndex, rebuildIndex},
                              {"rebuild_free", damagedFreeList, rebuildFree},
                              {"locks", someDeleted, locks, nullptr, true},
                              {"settings", someDeleted, settings},
                          });
}

}  // namespace fault_testing
