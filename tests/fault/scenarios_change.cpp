// Records of one length: written, rewritten, deleted.
#include "records.h"
#include "scenario_lists.h"

namespace fault_testing {

namespace {

void fewRecords(World &world) { makeFile(world, "file", fixedShape(identKey()), {}, 1, 6); }

void writePlain(World &world) {
    inFile(world, [&](int fd) {
        for (int i = 20; i < 25; ++i)
            world.write(fd, record(i));
    });
}

void fullRoot(World &world) { makeFile(world, "file", fixedShape(textKey()), {}, 10, 90, 10); }

void writeRootSplit(World &world) {
    inFile(world, [&](int fd) {
        for (int i : {15, 35, 55, 95, 5})
            world.write(fd, record(i));
    });
}

void deepTree(World &world) { makeFile(world, "file", fixedShape(textKey()), {identKey()}, 10, 900, 10); }

void writeDeepSplit(World &world) {
    inFile(world, [&](int fd) {
        for (int i : {901, 902, 5, 455, 456, 457, 458, 459, 451, 452})
            world.write(fd, record(i));
    });
}

void equalKeys(World &world) { makeFile(world, "file", fixedShape(identKey()), {groupKey()}, 1, 30); }

void writeDuplicates(World &world) {
    inFile(world, [&](int fd) {
        for (int i = 40; i < 50; ++i)
            world.write(fd, record(i));
        world.write(fd, record(41));  // a key that is there
    });
}

void compressedKeys(World &world) {
    makeFile(world, "file", fixedShape(textKey(kCompressed)), {groupKey(ISDUPS | ISDUPCOMP | kCompressed)}, 2, 90, 2);
}

void writeCompressed(World &world) {
    inFile(world, [&](int fd) {
        for (int i : {1, 3, 45, 47, 49, 91, 93, 51, 53})
            world.write(fd, record(i));
    });
}

void threeIndexes(World &world) { makeFile(world, "file", fixedShape(identKey()), {textKey(), groupKey()}, 1, 25); }

void rewriteSameKey(World &world) {
    inFile(world, [&](int fd) {
        for (int i : {3, 7, 24}) {
            std::string changed = record(i);
            changed[kNoteAt] = '!';
            world.rewrite(fd, changed);
        }
    });
}

void rewriteKeys(World &world) {
    inFile(world, [&](int fd) {
        for (int i : {2, 5, 11, 20})
            world.rewrite(fd, record(i, i + 101));
        world.rewrite(fd, record(6, 7));  // a text that is there
    });
}

void rewriteByNumber(World &world) {
    inFile(world, [&](int fd) {
        std::string found;
        world.rewriteNumber(fd, 4, record(4, 301));
        if (world.read(fd, &found, ISLAST)) world.rewriteCurrent(fd, record(identOf(found), 302));
        if (world.read(fd, &found, ISFIRST)) world.rewriteCurrent(fd, record(identOf(found), 303));
        world.rewriteNumber(fd, 9, record(9, 304));
    });
}

void deleteMany(World &world) {
    inFile(world, [&](int fd) {
        for (int i = 300; i < 440; i += 10)
            world.erase(fd, record(i));
        std::string found;
        if (world.read(fd, &found, ISLAST)) world.eraseCurrent(fd, found);
        world.eraseNumber(fd, 2, record(20));
    });
}

void deleteCompressed(World &world) {
    inFile(world, [&](int fd) {
        for (int i = 20; i < 48; i += 2)
            world.erase(fd, record(i));
    });
}

void longFreeList(World &world) {
    makeFile(world, "file", fixedShape(identKey()), {}, 1, 262);
    const int fd = world.open("file", kManual);
    for (int i = 1; i < 252; ++i)
        world.erase(fd, record(i));
    world.close(fd);
}

void reuseNumbers(World &world) {
    inFile(world, [&](int fd) {
        for (int i = 252; i < 260; ++i)
            world.erase(fd, record(i));
        for (int i = 500; i < 510; ++i)
            world.write(fd, record(i));
    });
}

void noPrimaryKey(World &world) { makeFile(world, "file", fixedShape(KeyDesc{}), {textKey()}, 1, 20); }

void recordOrder(World &world) {
    inFile(world, [&](int fd) {
        world.write(fd, record(31));
        world.eraseNumber(fd, 3, record(3));
        world.rewriteNumber(fd, 5, record(5, 205));
        world.write(fd, record(32));
    });
}

void masked(World &world) {
    const Shape shape = fixedShape(identKey(), ISMASK);
    const int fd = world.build("file", shape);
    world.addIndex(fd, textKey());
    world.addIndex(fd, groupKey());
    for (int i = 1; i < 25; ++i) {
        world.mask(fd, i % 3 == 0 ? 2 : i % 5 == 0 ? 4 : 0);
        world.write(fd, record(i));
    }
    world.close(fd);
}

void changeMasked(World &world) {
    inFile(world, [&](int fd) {
        world.mask(fd, 2);
        world.write(fd, record(40));
        world.rewrite(fd, record(4, 104));
        world.mask(fd, 0);
        world.rewrite(fd, record(6, 106));
        world.erase(fd, record(9));
        world.write(fd, record(41));
    });
}

void changePrecious(World &world) {
    const int fd = world.open("file", kManual);
    world.on(fd, "isprecious", [&] { return isprecious(fd, 1); });
    for (int i : {3, 8})
        world.erase(fd, record(i));
    world.write(fd, record(60));
    world.on(fd, "isprecious", [&] { return isprecious(fd, 0); });
    world.write(fd, record(61));
    world.write(fd, record(62));
    readSome(world, fd);
    world.close(fd);
}

// The key is the record; isrecnum goes with it.
void keysAlone(World &world) {
    const KeyDesc key = keyDesc(ISNODUPS, {{0, 4, LONGTYPE}, {4, 96}});
    const int fd = world.build("file", {0, 0, ISINOUT | ISLOCKMANUAL, key});
    for (int i = 1; i < 22; ++i) {
        isrecnum = i;
        world.write(fd, record(i).substr(0, 100));
    }
    world.close(fd);
}

void changeKeysAlone(World &world) {
    const int fd = world.open("file", kManual);
    for (int i = 30; i < 36; ++i) {
        isrecnum = i;
        world.write(fd, record(i).substr(0, 100));
    }
    std::string found;
    for (int mode : {ISFIRST, ISLAST})
        if (world.read(fd, &found, mode)) world.eraseCurrent(fd, found.substr(0, 100));
    world.close(fd);
}

}  // namespace

void addChangeScenarios(std::vector<Scenario> &all) {
    all.insert(all.end(), {
                              {"write_plain", fewRecords, writePlain},
                              {"write_root_split", fullRoot, writeRootSplit},
                              {"write_deep_split", deepTree, writeDeepSplit},
                              {"write_duplicates", equalKeys, writeDuplicates},
                              {"write_compressed", compressedKeys, writeCompressed},
                              {"rewrite_same_key", threeIndexes, rewriteSameKey},
                              {"rewrite_keys", threeIndexes, rewriteKeys},
                              {"rewrite_by_number", threeIndexes, rewriteByNumber},
                              {"delete_many", deepTree, deleteMany},
                              {"delete_compressed", compressedKeys, deleteCompressed},
                              {"reuse_numbers", longFreeList, reuseNumbers},
                              {"record_order", noPrimaryKey, recordOrder},
                              {"masks", masked, changeMasked},
                              {"precious", threeIndexes, changePrecious},
                              {"keys_alone", keysAlone, changeKeysAlone},
                          });
}

}  // namespace fault_testing
