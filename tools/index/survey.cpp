#include "index/survey.h"

#include "storage/node_layout.h"
#include "storage/remnant_layout.h"

#include <algorithm>

namespace tool {

namespace {

constexpr std::size_t kMostFindings = 100;

bool isOfTree(NodeKind kind) {
    return kind == NodeKind::kInner || kind == NodeKind::kLeaf || kind == NodeKind::kRuined;
}

std::string numbered(const char *what, std::uint64_t number) { return what + (" " + std::to_string(number)); }

class Surveyor {
  public:
    Surveyor(const FileView &view, const Shape &shape, const std::function<void(std::uint64_t)> &step)
        : view_(view), shape_(shape), step_(step) {}

    Survey run() {
        survey_.nodes.resize(static_cast<std::size_t>(shape_.nodesInFile(view_)));
        survey_.bytesBehind = view_.indexSize() % static_cast<std::uint64_t>(shape_.header.nodeSize);
        if (!survey_.nodes.empty()) use(1).kind = NodeKind::kHeader;
        for (const std::uint32_t number : shape_.descriptionNodes)
            claim(number, {NodeKind::kDescription}, "the list of indexes");
        if (shape_.header.auditNode != 0) claim(shape_.header.auditNode, {NodeKind::kAudit}, "the header");
        // What the list of indexes says goes before what stands in a tree or in a list.
        std::vector<bool> has_root;
        for (std::size_t i = 0; i < shape_.indexes.size(); ++i)
            has_root.push_back(claimRoot(i));
        for (std::size_t i = 0; i < shape_.indexes.size(); ++i)
            walkTree(i, has_root[i]);
        walkList(shape_.header.nodeListHead, NodeKind::kFree);
        if (!shape_.header.precious()) walkList(shape_.header.recordListHead, NodeKind::kRecordList);
        lookAtTheRest();
        return std::move(survey_);
    }

  private:
    NodeUse &use(std::uint64_t number) { return survey_.nodes[static_cast<std::size_t>(number - 1)]; }

    void found(Severity severity, const std::string &text) {
        if (survey_.findings.size() < kMostFindings) survey_.findings.push_back({severity, text});
    }

    // Takes a node for what leads to it; false where it is not in the file, or something has it already.
    bool claim(std::uint32_t number, NodeUse as, const std::string &owner) {
        if (number == 0 || number > survey_.nodes.size()) {
            found(Severity::kDamage,
                  owner + " leads to " + numbered("node", number) + ", which the file does not have");
            return false;
        }
        NodeUse &node = use(number);
        if (node.kind != NodeKind::kLost) {
            node.shared = true;
            const std::string other =
                isOfTree(node.kind) ? numbered("index", node.index + 1U) : std::string(kindInWords(node.kind));
            found(Severity::kDamage, owner + " leads to " + numbered("node", number) + ", which is in use: " + other);
            return false;
        }
        node = as;
        step_(1);
        return true;
    }

    bool claimRoot(std::size_t i) {
        const auto index = static_cast<std::uint8_t>(i);
        return claim(shape_.indexes[i].rootNode, {NodeKind::kRuined, index}, numbered("index", i + 1));
    }

    void walkTree(std::size_t i, bool has_root) {
        Tree &tree = survey_.trees.emplace_back();
        tree.key = shape_.indexes[i];
        tree.serialWidth = shape_.serialWidthOf(tree.key);
        if (!has_root || !walkNode(tree, i, tree.key.rootNode, -1)) tree.whole = false;
        survey_.treesWhole = survey_.treesWhole && tree.whole;
    }

    // Until it has been seen to be a node of the tree, it counts as ruined.
    // level: -1 for the root, which says itself what it is.
    bool walkNode(Tree &tree, std::size_t i, std::uint32_t number, int level) {
        const std::string name = numbered("index", i + 1) + ": " + numbered("node", number);
        std::vector<std::uint8_t> bytes;
        if (!shape_.readNode(view_, number, bytes)) {
            found(Severity::kDamage, name + " cannot be read");
            return false;
        }
        EntryReader reader(bytes, tree.key, tree.serialWidth);
        if (reader.problem() == nullptr && level >= 0 && reader.level() != level) {
            found(Severity::kDamage,
                  name + " is of level " + std::to_string(reader.level()) + ", not " + std::to_string(level));
            return false;
        }
        std::vector<std::uint32_t> children;
        KeyEntry entry;
        std::size_t entries = 0;
        bool whole = true;
        const bool leaf = reader.level() == 0;
        while (reader.next(entry)) {
            ++entries;
            if (!leaf) {
                children.push_back(entry.pointer);
            } else if (shape_.header.recordLength != 0 &&
                       (entry.pointer == 0 || entry.pointer > shape_.header.lastRecord)) {
                found(Severity::kDamage,
                      name + " leads to " + numbered("record", entry.pointer) + ", which the file does not have");
                whole = false;
            }
        }
        if (reader.problem() != nullptr) {
            found(Severity::kDamage, name + ": " + reader.problem());
            return false;
        }
        if (!leaf && children.empty()) {
            found(Severity::kDamage, name + " is above the leaves and empty");
            return false;
        }
        use(number).kind = leaf ? NodeKind::kLeaf : NodeKind::kInner;
        note(tree, number, reader, entries);
        for (const std::uint32_t child : children) {
            if (!claim(child, {NodeKind::kRuined, static_cast<std::uint8_t>(i)}, name) ||
                !walkNode(tree, i, child, reader.level() - 1))
                whole = false;
        }
        return whole;
    }

    static void note(Tree &tree, std::uint32_t number, const EntryReader &reader, std::size_t entries) {
        const auto level = static_cast<std::size_t>(reader.level());
        if (tree.levels.size() <= level) tree.levels.resize(level + 1);
        tree.levels[level].push_back(
            {number, static_cast<std::uint16_t>(reader.used()), static_cast<std::uint16_t>(entries)});
        (level == 0 ? tree.keys : tree.entries) += entries;
        tree.bytesUsed += static_cast<std::uint64_t>(reader.used() - node::kTreeStart);
    }

    void walkList(std::uint32_t head, NodeKind kind) {
        const bool of_nodes = kind == NodeKind::kFree;
        const std::string name = of_nodes ? "the list of free nodes" : "the list of free records";
        bool &whole = of_nodes ? survey_.nodeListWhole : survey_.recordListWhole;
        std::vector<std::uint8_t> bytes;
        for (std::uint32_t number = head; number != 0; number = node::link(bytes.data())) {
            if (!claim(number, {kind}, name)) {
                whole = false;
                return;
            }
            if (of_nodes) ++survey_.freeNodes;
            if (!shape_.readNode(view_, number, bytes) || !isListNode(bytes)) {
                found(Severity::kDamage, name + " leads to " + numbered("node", number) + ", which is no list node");
                whole = false;
                return;
            }
            whole = takeNumbers(bytes, of_nodes, name) && whole;
        }
    }

    bool isListNode(const std::vector<std::uint8_t> &bytes) const {
        const int size = shape_.header.nodeSize;
        const int used = node::used(bytes.data());
        return node::mark(bytes.data(), size) == node::kListMark &&
               node::level(bytes.data(), size) == node::kFreeLevel && used >= node::kListStart &&
               used <= size - node::kTrailerSize && (used - node::kListStart) % 4 == 0;
    }

    bool takeNumbers(const std::vector<std::uint8_t> &bytes, bool of_nodes, const std::string &name) {
        bool good = true;
        for (int at = node::kListStart; at < node::used(bytes.data()); at += 4) {
            const std::uint32_t number = ld_long(&bytes[static_cast<std::size_t>(at)]);
            if (!of_nodes) {
                ++survey_.freeRecords;
                if (number == 0 || number > shape_.header.lastRecord) {
                    found(Severity::kDamage, name + " names " + numbered("record", number));
                    good = false;
                }
                continue;
            }
            ++survey_.freeNodes;
            // A node that a change took beyond the file's end and gave back may never have been written.
            const bool unwritten = number > survey_.nodes.size() && number <= shape_.header.lastNode;
            if (!unwritten && !claim(number, {NodeKind::kFree}, name)) good = false;
        }
        return good;
    }

    void lookAtTheRest() {
        std::vector<std::uint8_t> bytes;
        for (std::uint64_t number = 2; number <= survey_.nodes.size(); ++number) {
            NodeUse &node = use(number);
            if (node.kind != NodeKind::kLost) continue;
            step_(1);
            if (!shape_.readNode(view_, number, bytes)) continue;
            if (shape_.header.variable() && isTailNode(bytes)) {
                node.kind = NodeKind::kTail;
                ++survey_.tailNodes;
                survey_.tailFreeBytes += static_cast<std::uint64_t>(remnant::freeBytes(bytes.data()));
            } else {
                ++survey_.lostNodes;
            }
        }
        if (survey_.lostNodes != 0)
            found(Severity::kNote, std::to_string(survey_.lostNodes) +
                                       (survey_.lostNodes == 1 ? " node belongs" : " nodes belong") +
                                       " to nobody: room lost, nothing else");
        if (survey_.nodes.size() < shape_.header.lastNode && survey_.nodes.empty())
            found(Severity::kDamage, "the index file has no whole node");
        if (!shape_.header.genuine && !survey_.nodes.empty())
            found(Severity::kNote, "the header lacks bytes that every header has; nobody reads them");
    }

    bool isTailNode(const std::vector<std::uint8_t> &bytes) const {
        return bytes[bytes.size() - remnant::kMarkBack] == remnant::kMark &&
               ld_int(&bytes[remnant::kMagicOffset]) == remnant::kMagic;
    }

    const FileView &view_;
    const Shape &shape_;
    const std::function<void(std::uint64_t)> &step_;
    Survey survey_;
};

}  // namespace

std::uint64_t Tree::nodes() const {
    std::uint64_t count = 0;
    for (const auto &level : levels)
        count += level.size();
    return count;
}

double Tree::fill(int node_size) const {
    const std::uint64_t room = nodes() * static_cast<std::uint64_t>(entryRoom(node_size));
    return room == 0 ? 0 : static_cast<double>(bytesUsed) / static_cast<double>(room);
}

double Tree::saved() const {
    const std::uint64_t full = (keys + entries) * static_cast<std::uint64_t>(wholeEntry(key, serialWidth));
    return full <= bytesUsed ? 0 : 1 - static_cast<double>(bytesUsed) / static_cast<double>(full);
}

bool Survey::damaged() const {
    return std::any_of(findings.begin(), findings.end(),
                       [](const NodeFinding &finding) { return finding.severity == Severity::kDamage; });
}

std::uint64_t Survey::count(NodeKind kind) const {
    return static_cast<std::uint64_t>(
        std::count_if(nodes.begin(), nodes.end(), [kind](const NodeUse &use) { return use.kind == kind; }));
}

Survey surveyNodes(const FileView &view, const Shape &shape, const std::function<void(std::uint64_t)> &step) {
    return Surveyor(view, shape, step).run();
}

const char *kindInWords(NodeKind kind) {
    switch (kind) {
    case NodeKind::kHeader: return "header";
    case NodeKind::kDescription: return "key descriptions";
    case NodeKind::kAudit: return "audit settings";
    case NodeKind::kInner: return "inner node";
    case NodeKind::kLeaf: return "leaf";
    case NodeKind::kFree: return "free";
    case NodeKind::kRecordList: return "free record numbers";
    case NodeKind::kTail: return "tails";
    case NodeKind::kRuined: return "ruined";
    case NodeKind::kLost: break;
    }
    return "lost";
}

}  // namespace tool
