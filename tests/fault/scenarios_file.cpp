// Whole files: built, opened, copied, put in order, renamed, removed; their indexes.
#include "records.h"
#include "scenario_lists.h"

#include <cstdio>

namespace fault_testing {

namespace {

void nothing(World &) {}

void buildFixed(World &world) {
    const int fd = world.build("file", fixedShape(identKey()));
    world.addIndex(fd, textKey());
    world.write(fd, record(1));
    world.write(fd, record(2));
    readSome(world, fd);
    world.close(fd);
    const int other = world.build("other", fixedShape(KeyDesc{}, ISLOCKEXCL | ISSYNCWR));
    world.write(other, record(3));
    world.close(other);
}

void buildTailed(World &world) {
    const int fd = world.build("file", tailedShape(textKey(ISLEADCOMP), ISCOMPRESS | ISMASK));
    world.write(fd, tailed(1, 30));
    world.write(fd, tailed(2, 3000));
    readSome(world, fd);
    world.close(fd);
}

void twoFiles(World &world) {
    makeFile(world, "file", fixedShape(identKey()), {textKey(), groupKey()}, 1, 20);
    makeFile(world, "tails", tailedShape(identKey()), {}, 1, 6);
    // Another name of the second file set.
    if (std::FILE *link = std::fopen("linked.lnk", "w")) {
        std::fputs("tails\n", link);
        std::fclose(link);
    }
}

void openClose(World &world) {
    inFile(
        world, [&](int) {}, kManual);
    inFile(
        world, [&](int) {}, ISINPUT | ISLOCKEXCL);
    inFile(
        world, [&](int) {}, ISINPUT | ISLOCKAUTO);
    inFile(
        world, [&](int) {}, ISINPUT | ISLOCKNONE);
    inFile(
        world, [&](int) {}, kManual | ISVARAUTO, "linked");
    // Two handles share the files.
    const int first = world.open("file", kManual);
    const int second = world.open("file", kManual);
    readSome(world, second);
    world.close(first);
    readSome(world, second);
    world.close(second);
}

void reads(World &world) {
    const int fd = world.open("file", kManual);
    std::string found;
    for (int mode : {ISFIRST, ISNEXT, ISLAST, ISPREV, ISCURR})
        world.read(fd, &found, mode);
    found = record(7);
    world.read(fd, &found, ISEQUAL);
    found = record(8);
    world.read(fd, &found, ISGREAT | ISLOCK);
    KeyDesc key = groupKey();
    found = record(6);
    world.on(fd, "isstart", [&] { return isstart(fd, &key, 0, found.data(), ISGTEQ); });
    world.read(fd, &found, ISNEXT);
    found.resize(kRecord);
    world.on(fd, "isdata", [&] { return isdata(fd, found.data(), 4); });
    world.on(fd, "isgoto", [&] { return isgoto(fd, 5); });
    world.on(fd, "isindex", [&] { return isindex(fd, 2, 1); });
    world.read(fd, &found, ISNEXT);
    KeyDesc none{};
    world.on(fd, "isstart", [&] { return isstart(fd, &none, 0, nullptr, ISLAST); });
    world.read(fd, &found, ISPREV);
    world.close(fd);
}

void deepFile(World &world) { makeFile(world, "file", fixedShape(identKey()), {}, 1, 70); }

void addIndexes(World &world) {
    inFile(
        world,
        [&](int fd) {
            world.addIndex(fd, textKey());
            world.addIndex(fd, groupKey(ISDUPS | ISDUPCOMP | kCompressed));
        },
        ISINOUT | ISLOCKEXCL);
}

void tailedFile(World &world) { makeFile(world, "file", tailedShape(identKey()), {}, 1, 40); }

void addIndexTailed(World &world) {
    inFile(
        world, [&](int fd) { world.addIndex(fd, textKey(kCompressed)); }, kManual | ISVARLEN);
}

void dropIndexes(World &world) {
    inFile(
        world,
        [&](int fd) {
            world.dropIndex(fd, textKey());
            world.dropIndex(fd, groupKey());
            world.write(fd, record(50));
        },
        ISINOUT | ISLOCKEXCL);
}

// Records in another order than their numbers, some deleted.
void shuffled(World &world) {
    makeFile(world, "file", fixedShape(identKey()), {textKey(), groupKey()}, 1, 24);
    const int fd = world.open("file", kManual);
    for (int i : {3, 9, 17})
        world.rewrite(fd, record(i, 400 - i));
    for (int i : {5, 11})
        world.erase(fd, record(i));
    world.close(fd);
}

void clusterFile(World &world) {
    const int fd = world.open("file", ISINOUT | ISLOCKEXCL);
    const KeyDesc key = textKey();
    const int clustered = world.cluster(fd, &key);
    readSome(world, clustered);
    world.close(clustered);
}

void tailsToCluster(World &world) { makeFile(world, "file", tailedShape(identKey(), ISCOMPRESS), {textKey()}, 1, 14); }

void clusterTails(World &world) {
    const int fd = world.open("file", ISINOUT | ISLOCKEXCL | ISVARLEN);
    const KeyDesc key = textKey();
    const int clustered = world.cluster(fd, &key);
    readSome(world, clustered);
    world.close(clustered);
}

void copySources(World &world) {
    makeFile(world, "file", tailedShape(identKey()), {}, 1, 16);
    makeFile(world, "target", tailedShape(identKey()), {textKey()}, 100, 104);
}

void copyFile(World &world) {
    const int from = world.open("file", ISINPUT | ISLOCKMANUAL | ISVARLEN);
    const int to = world.open("target", kManual | ISVARLEN);
    const KeyDesc key = identKey();
    world.copy(to, from, &key);
    readSome(world, to);
    world.close(to);
    world.close(from);
}

void cloneFile(World &world) {
    const int fd = world.open("file", kManual);
    const int copy = world.clone(fd, "twin");
    world.write(copy, record(70));
    readSome(world, copy);
    world.close(copy);
    readSome(world, fd);
    world.close(fd);
}

void renameErase(World &world) {
    world.rename("file", "renamed");
    inFile(
        world, [&](int) {}, kManual, "renamed");
    world.eraseFile("tails");
    world.rename("renamed", "file");
    inFile(world, [&](int) {});
    world.eraseFile("file");
}

}  // namespace

void addFileScenarios(std::vector<Scenario> &all) {
    all.insert(all.end(), {
                              {"build_fixed", nothing, buildFixed},
                              {"build_tailed", nothing, buildTailed},
                              {"open_close", twoFiles, openClose, nullptr, true},
                              {"reads", twoFiles, reads, nullptr, true},
                              {"index_add", deepFile, addIndexes},
                              {"index_add_tailed", tailedFile, addIndexTailed},
                              {"index_drop", shuffled, dropIndexes},
                              {"cluster", shuffled, clusterFile},
                              {"cluster_tails", tailsToCluster, clusterTails},
                              {"copy", copySources, copyFile},
                              {"clone", shuffled, cloneFile},
                              {"rename_erase", twoFiles, renameErase},
                          });
}

}  // namespace fault_testing
