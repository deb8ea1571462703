// isam build: an empty file, from a layout.
#include "base/failure.h"
#include "commands/commands.h"
#include "layout/layout.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace tool {

namespace {

// Descriptions of null keys with more parts are kept in a form that cannot be read back.
constexpr int kMostPartsOfNullKeys = 4;

struct Options {
    std::string file;
    std::string layout;
};

void check(const Layout &layout, const std::string &path) {
    if (layout.indexes.empty() && layout.primary)
        throw Failure(path + ": has no index lines; 'index record-number' makes a file without primary key");
    for (const KeyDesc &key : layout.indexes) {
        if ((key.flags & ISNULLKEY) != 0 && key.nparts > kMostPartsOfNullKeys)
            throw Failure(path + ": a key with nullkeys has " + std::to_string(kMostPartsOfNullKeys) +
                          " parts at most");
    }
}

OpenFile make(const Options &options, const Layout &layout) {
    int mode = ISINOUT | ISLOCKEXCL;
    if (layout.variable) mode |= ISVARLEN;
    if (layout.compressed) mode |= ISCOMPRESS;
    if (layout.masks) mode |= ISMASK;
    KeyDesc first = {};
    if (layout.primary) first = layout.indexes.front();
    return OpenFile::built(options.file, layout.minimum, layout.maximum, first, mode);
}

void addIndexes(const OpenFile &file, const Layout &layout) {
    for (std::size_t i = layout.primary ? 1 : 0; i < layout.indexes.size(); ++i) {
        KeyDesc key = layout.indexes[i];
        if (isaddindex(file.fd(), &key) != 0)
            failCall(file.name(), "index " + std::to_string(i + 1) + " cannot be made");
    }
}

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The layout stays with the file, so that the other commands find it.
class KeptLayout {
  public:
    // Throws Failure where another layout has the place.
    explicit KeptLayout(const Options &options) : from_(options.layout), to_(layoutPath(options.file)) {
        std::error_code ignored;
        there_ = from_.empty() || std::filesystem::exists(to_, ignored);
        if (!from_.empty() && there_ && contents(from_) != contents(to_))
            throw Failure(to_ + ": is there already, and is not " + from_);
    }
    void keep() const {
        std::error_code error, ignored;
        if (there_ || std::filesystem::copy_file(from_, to_, error)) return;
        std::filesystem::remove(to_, ignored);
        throw Failure(to_ + ": cannot be made: " + error.message());
    }

  private:
    std::string from_;
    std::string to_;
    bool there_;
};

int run(const Options &options) {
    const std::string path = options.layout.empty() ? layoutPath(options.file) : options.layout;
    const Layout layout = readLayout(path);
    check(layout, path);
    const KeptLayout kept(options);
    OpenFile file = make(options, layout);
    try {
        addIndexes(file, layout);
        kept.keep();
    } catch (const Failure &) {
        file.close();
        iserase(options.file.c_str());
        throw;
    }
    file.close();
    return kClean;
}

}  // namespace

void addBuild(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "build", "Make an empty file by a layout",
        "Makes FILE.idx and FILE.dat as a layout says: its record and index lines, and its fields where indexes name "
        "them. No file is overwritten. The layout becomes FILE.layout where there is none. 'man isam-layout' tells of "
        "layouts.",
        {{"isam build planets --layout planets.txt", "By planets.txt, which becomes planets.layout."},
         {"isam build planets", "By planets.layout."}});
    Program::addFile(command, options->file);
    command->add_option("--layout", options->layout, "the layout, where it is not FILE.layout")->type_name("LAYOUT");
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
