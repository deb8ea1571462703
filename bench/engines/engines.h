// One maker for each engine.
#pragma once

#include "../subject.h"

namespace bench {

std::unique_ptr<Subject> makeFloor();
std::unique_ptr<Subject> makeIsam();
std::unique_ptr<Subject> makeIsamMapped();
std::unique_ptr<Subject> makeIsamExclusive();
std::unique_ptr<Subject> makeBerkeleyDb();
std::unique_ptr<Subject> makeSqliteWal();
std::unique_ptr<Subject> makeSqliteJournal();
std::unique_ptr<Subject> makeLmdb();
std::unique_ptr<Subject> makeTdb();
std::unique_ptr<Subject> makeGdbm();
std::unique_ptr<Subject> makeLevelDb();
std::unique_ptr<Subject> makeTokyoCabinet();

}  // namespace bench
