#include "commands/whole.h"

#include "base/failure.h"

namespace tool {

CLI::Option *addOrder(CLI::App *command, int &index) {
    return command
        ->add_option("--index", index,
                     "the order: of this index, 0 for record numbers; of the first where it is not given")
        ->check(CLI::Range(0, ISMAXINDEXES))
        ->type_name("N");
}

KeyDesc *orderOf(const OpenFile &file, int index, KeyDesc &storage) {
    if (index < 0) return nullptr;
    storage = {};
    if (index == 0) return &storage;
    const std::vector<KeyDesc> keys = file.indexes();
    const auto place = static_cast<std::size_t>(index) - 1;
    if (place >= keys.size()) throw Failure(file.name() + ": there is no index " + std::to_string(index));
    storage = keys[place];
    return &storage;
}

}  // namespace tool
