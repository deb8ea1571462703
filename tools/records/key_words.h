// Keys as people type them: "4711", "Meyer,Anna" or "name=Meyer".
#pragma once

#include "records/columns.h"

#include <string>
#include <vector>

namespace tool {

// A key to look for, or the beginning of one.
struct SearchKey {
    std::string image;  // a record that has it
    std::string key;    // the same as an index has it
    int length = 0;     // leading bytes of the key that count
};

class KeyWords {
  public:
    KeyWords(const Layout &layout, const Columns &columns);

    // The first index whose leading parts are the fields that the text names, "name=Meyer,first=Anna"; 0 where it names
    // none. Throws Failure where no index is such.
    int indexFor(const std::string &text) const;

    // The key in an index, all of its parts or the first ones. Throws Failure.
    SearchKey key(int index, const std::string &text) const;
    // The same, but of the last part, where it is text, only what stands there counts.
    SearchKey beginning(int index, const std::string &text) const;

  private:
    struct Named {
        std::string name;  // empty: the next part
        std::string value;
    };
    std::vector<Named> cut(const std::string &text) const;
    bool isFieldName(const std::string &name) const;
    Field fieldOf(const KeyPart &part) const;
    bool begins(const KeyDesc &key, const std::vector<Named> &named) const;
    SearchKey make(int index, const std::string &text, bool open) const;

    const Layout &layout_;
    const Columns &columns_;
};

}  // namespace tool
