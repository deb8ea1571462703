// What the library has changed since a mark.
#pragma once

namespace memory_files {

// From here on changes are noted.
void mark();
// Has anything been written?
bool written();
// Are all files as they were at the mark, whatever was written meanwhile? An index file's change counter does not
// count.
bool asMarked();

}  // namespace memory_files
