#include "records/record_file.h"

#include <utility>

namespace tool {

void addRecordFile(CLI::App *command, RecordFileOptions &options) {
    Program::addFile(command, options.file);
    auto *layout = command->add_option("--layout", options.layout, "the layout, where it is not FILE.layout");
    layout->type_name("LAYOUT");
    command->add_flag("--no-layout", options.no_layout, "show key parts and bytes, although there is a layout")
        ->excludes(layout);
}

namespace {

Layout layoutFor(const OpenFile &file, const RecordFileOptions &options, bool &named) {
    std::optional<Layout> layout;
    if (!options.no_layout) layout = namedLayout(file, options.layout);
    named = layout.has_value();
    return named ? *std::move(layout) : layoutOf(file);
}

}  // namespace

RecordFile::RecordFile(OpenFile opened, const RecordFileOptions &options)
    : file(std::move(opened)), named(false), layout(layoutFor(file, options, named)), columns(layout) {}

RowOptions RecordFile::rowOptions(bool numbers) const {
    RowOptions options;
    options.numbers = numbers || layout.keysAlone();
    options.masks = layout.masks;
    return options;
}

}  // namespace tool
