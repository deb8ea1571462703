// Writes the manual pages and the shell's completion of the command isam, from the declarations that its help comes
// from.
//
//   isam_manual MAN-DIRECTORY COMPLETION-DIRECTORY
#include "cli/manual.h"
#include "commands/commands.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {

void write(const std::filesystem::path &path, const std::string &text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        std::fprintf(stderr, "%s cannot be written\n", path.c_str());
        std::exit(1);
    }
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) return 2;
    tool::Program program;
    tool::addCommands(program);
    for (const tool::Page &page : tool::manualPages(program))
        write(std::filesystem::path(argv[1]) / page.file, page.text);
    write(std::filesystem::path(argv[2]) / "isam", tool::bashCompletion(program));
    return 0;
}
