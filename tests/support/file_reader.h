// Reads a file set straight from its bytes: header, key descriptions, tree nodes and slots.
//
// It knows the layouts alone and shares nothing with the library. It opens the files for itself and keeps
// them open until it goes: closing a descriptor of a file drops every lock the process has on it, so a
// reader should outlive the handles of its own process, or be used when no lock matters.
#ifndef TESTS_SUPPORT_FILE_READER_H
#define TESTS_SUPPORT_FILE_READER_H

#include "bytes.h"
#include "key_image.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace testing_support {

struct FileHeader {
    int nodeSize = 0;
    int indexCount = 0;  // one more for a file without primary key
    int serialWidth = 0;
    int recordLength = 0;  // of the fixed part
    std::uint32_t descriptionNode = 0;
    std::uint32_t dataFreeHead = 0;
    std::uint32_t indexFreeHead = 0;
    std::uint32_t lastRecord = 0;
    std::uint32_t lastNode = 0;
    std::uint32_t changeCounter = 0;
    std::uint32_t uniqueId = 0;
    std::uint32_t auditNode = 0;
    int variableMaximum = 0;                     // 0 for records of one length
    std::array<std::uint32_t, 5> bucketHeads{};  // of the nodes with room for tails
    std::array<std::uint8_t, 10> userInfo{};     // the application's own
    unsigned flags = 0;

    bool masked() const { return (flags & 1U) != 0; }
    bool precious() const { return (flags & 2U) != 0; }
    bool compressed() const { return (flags & 4U) != 0; }
    bool variable() const { return variableMaximum != 0; }
};

struct TreeEntry {
    Key key;
    std::uint32_t serial = 0;
    std::uint32_t pointer = 0;
    bool share = false;    // the pointer's top bit
    bool keyless = false;  // stored without a key of its own
    int offset = 0;
};

struct TreeNode {
    std::uint32_t number = 0;
    int used = 0;
    int level = 0;
    std::vector<TreeEntry> entries;
    std::string problem;  // why decoding stopped, empty when all is well
};

// Where a new key would go, found from the root by "first greater entry".
struct InsertPoint {
    int levels = 0;        // nodes on the way, leaf included
    int leafEntries = 0;   // entries of the leaf
    int position = 0;      // entries before the new one in the leaf
    int parentChild = -1;  // which child of its parent the leaf is, -1 without parent
    TreeEntry before;      // the entry before the position, when position > 0
    TreeEntry branch;      // the parent's entry before the leaf's, when parentChild > 0
};

struct FoundEntry {
    bool found = false;
    int position = 0;  // in its leaf, from 0
    TreeEntry entry;
};

class FileReader {
  public:
    explicit FileReader(const std::string &base);
    ~FileReader();
    FileReader(const FileReader &) = delete;
    FileReader &operator=(const FileReader &) = delete;

    // Reads header and key descriptions anew. Problems found are appended.
    bool refresh(std::vector<std::string> *problems);

    const FileHeader &header() const { return header_; }
    const std::vector<IndexSpec> &indexes() const { return indexes_; }
    const std::vector<std::uint32_t> &descriptionNodes() const { return descriptionNodes_; }
    bool noPrimaryKey() const { return noPrimaryKey_; }
    int serialWidth(const IndexSpec &spec) const { return spec.duplicates() ? header_.serialWidth : 0; }

    std::int64_t indexFileSize() const;
    std::int64_t dataFileSize() const;  // -1 when there is no data file
    int slotLength() const;
    Bytes indexFile() const;  // all of it
    Bytes dataFile() const;

    bool node(std::uint32_t number, Bytes *out) const;
    bool slot(long recnum, Bytes *out) const;
    TreeNode tree(const IndexSpec &spec, std::uint32_t number) const;

    // The entries of a node's bytes, without reading anything else.
    TreeNode decode(const IndexSpec &spec, const Bytes &bytes) const;
    // The bytes from offset 2 to used that these entries should have. The share bit of the last one stays as given.
    Bytes encode(const IndexSpec &spec, const std::vector<TreeEntry> &entries) const;

    InsertPoint insertPoint(const IndexSpec &spec, const Key &key) const;
    FoundEntry lookup(const IndexSpec &spec, const Key &key, std::uint32_t recnum) const;

    // The tree of an index, one line per entry, for messages.
    std::string dump(std::size_t index) const;

  private:
    bool readDescriptions(std::vector<std::string> *problems);
    void dumpNode(const IndexSpec &spec, std::uint32_t number, int depth, std::string *out) const;
    // Returns 1 found, 0 look further right, -1 passed the key.
    int lookupIn(const IndexSpec &spec, const Key &key, std::uint32_t recnum, std::uint32_t number, int depth,
                 FoundEntry *out) const;

    int indexFd_ = -1;
    int dataFd_ = -1;
    FileHeader header_;
    std::vector<IndexSpec> indexes_;
    std::vector<std::uint32_t> descriptionNodes_;
    bool noPrimaryKey_ = false;
};

}  // namespace testing_support

#endif
