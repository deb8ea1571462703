// Records of variable length: tails of several nodes and pieces of shared ones.
#include "records.h"
#include "scenario_lists.h"

namespace fault_testing {

namespace {

constexpr int kTails = kManual | ISVARLEN;

void tails(World &world) { makeFile(world, "file", tailedShape(identKey()), {textKey()}, 1, 16); }

void compressedTails(World &world) { makeFile(world, "file", tailedShape(identKey(), ISCOMPRESS), {}, 1, 16); }

// Pieces of several sizes, then two that take whole nodes and the rest of one.
void writeTails(World &world) {
    inFile(
        world,
        [&](int fd) {
            int ident = 30;
            for (std::size_t length : {0, 40, 3300, 900, 5800})
                world.write(fd, tailed(ident++, length));
        },
        kTails);
}

void growTails(World &world) {
    inFile(
        world,
        [&](int fd) {
            world.rewrite(fd, tailed(5, 500));
            world.rewrite(fd, tailed(6, 2900));
            world.rewrite(fd, tailed(9, 5000));
        },
        kTails);
}

void shrinkTails(World &world) {
    const int fd = world.open("file", kTails);
    world.rewrite(fd, tailed(5, 4500));
    world.rewrite(fd, tailed(5, 2100));
    world.rewrite(fd, tailed(5, 30));
    world.rewrite(fd, tailed(9, 0));
    world.rewrite(fd, tailed(8, 1200));
    readSome(world, fd);
    world.close(fd);
}

void changeCompressed(World &world) {
    inFile(
        world,
        [&](int fd) {
            world.write(fd, tailed(40, 4000, true));
            world.rewrite(fd, tailed(4, 3000, true));
            world.rewrite(fd, tailed(9, 200, true));
            world.erase(fd, tailed(8, 0));
        },
        kTails | ISCOMPRESS);
}

void deleteTails(World &world) {
    inFile(
        world,
        [&](int fd) {
            for (int i : {1, 4, 8, 9, 13, 14})
                world.erase(fd, tailed(i, 0));
        },
        kTails);
}

}  // namespace

void addTailScenarios(std::vector<Scenario> &all) {
    all.insert(all.end(), {
                              {"tails_write", tails, writeTails},
                              {"tails_grow", tails, growTails},
                              {"tails_shrink", tails, shrinkTails},
                              {"tails_compressed", compressedTails, changeCompressed},
                              {"tails_delete", tails, deleteTails},
                          });
}

}  // namespace fault_testing
