#include "picture/tree_picture.h"

#include "base/table.h"
#include "index/key_value.h"
#include "picture/svg.h"

#include <algorithm>

namespace tool {

namespace {

constexpr double kWidth = 1200;
constexpr double kMargin = 40;
constexpr double kLabels = 150;
constexpr double kLeft = kMargin + kLabels;
constexpr double kAcross = kWidth - kMargin - kLeft;
constexpr double kTop = 104;
constexpr double kBoxHeight = 64;
constexpr double kRow = 92;
constexpr double kChart = 190;
constexpr std::size_t kMostBoxes = 330;

constexpr std::array<const char *, kFillClasses> kColours = {"#e9b44c", "#7cc6c3", "#2f7fa3", "#c8553d"};

const char *colourOf(double fill) { return kColours[static_cast<std::size_t>(fillClass(fill))]; }

// The nodes of a level from first to end, and the leaves below them.
struct Box {
    std::size_t first, end;
    double left, right;
    double fill;
};

class TreeDrawer {
  public:
    TreeDrawer(const FileView &view, const Shape &shape, const Tree &tree)
        : view_(view), shape_(shape), tree_(tree), svg_(kWidth, kTop + kRow * rows() + kChart + kMargin) {}

    void draw(const std::string &title, const std::string &path) {
        placeNodes();
        drawHead(title);
        for (std::size_t level = tree_.levels.size(); level-- > 0;)
            drawLevel(level);
        drawChart();
        svg_.write(path);
    }

  private:
    double rows() const { return static_cast<double>(tree_.levels.size()); }
    double rowTop(std::size_t level) const { return kTop + kRow * (rows() - 1 - static_cast<double>(level)); }

    // Where each node's leaves begin, in leaves; children stand in their level in the order of their parents.
    void placeNodes() {
        starts_.resize(tree_.levels.size());
        for (std::size_t level = 0; level < tree_.levels.size(); ++level) {
            auto &starts = starts_[level];
            std::size_t child = 0;
            for (const TreeNode &node : tree_.levels[level]) {
                starts.push_back(level == 0 ? static_cast<double>(starts.size()) : startOf(level - 1, child));
                child += node.entries;
            }
        }
    }

    double leaves() const { return static_cast<double>(std::max<std::size_t>(1, tree_.levels[0].size())); }
    double startOf(std::size_t level, std::size_t node) const {
        return node < starts_[level].size() ? starts_[level][node] : leaves();
    }

    double nodeFill(const TreeNode &node) const { return fillOf(node, shape_.header.nodeSize); }

    std::vector<Box> boxesOf(std::size_t level) const {
        const auto &nodes = tree_.levels[level];
        const std::size_t group = (nodes.size() + kMostBoxes - 1) / kMostBoxes;
        std::vector<Box> boxes;
        for (std::size_t first = 0; first < nodes.size(); first += group) {
            Box box = {first, std::min(first + group, nodes.size()), 0, 0, 0};
            box.left = kLeft + kAcross * startOf(level, box.first) / leaves();
            box.right = kLeft + kAcross * startOf(level, box.end) / leaves();
            for (std::size_t i = box.first; i < box.end; ++i)
                box.fill += nodeFill(nodes[i]) / static_cast<double>(box.end - box.first);
            boxes.push_back(box);
        }
        return boxes;
    }

    void drawHead(const std::string &title) {
        svg_.text(kMargin, 44, 22, colour::kInk, title, Svg::Anchor::kStart, true);
        std::string below = counted(tree_.levels.size(), "level", "levels") + ", " +
                            counted(tree_.nodes(), "node", "nodes") + ", " + counted(tree_.keys, "key", "keys") + ", " +
                            percent(tree_.fill(shape_.header.nodeSize)) + " full";
        if (tree_.saved() > 0) below += ", compression saves " + percent(tree_.saved());
        if (!tree_.whole) below += ", damaged: what can be reached is shown";
        svg_.text(kMargin, 70, 14, colour::kFaint, below);
    }

    // First or last key of a node.
    std::string edge(const TreeNode &node, bool last) const {
        std::vector<std::uint8_t> bytes;
        if (!shape_.readNode(view_, node.number, bytes)) return "";
        EntryReader reader(bytes, tree_.key, tree_.serialWidth);
        KeyEntry entry;
        std::string key;
        while (reader.next(entry)) {
            if (last) continue;
            return keyInWords(tree_.key, entry.key);
        }
        return entry.key != nullptr ? keyInWords(tree_.key, entry.key) : key;
    }

    std::string titleOf(std::size_t level, const Box &box) const {
        const auto &nodes = tree_.levels[level];
        const TreeNode &first = nodes[box.first], &last = nodes[box.end - 1];
        const std::size_t count = box.end - box.first;
        std::uint64_t entries = 0;
        for (std::size_t i = box.first; i < box.end; ++i)
            entries += nodes[i].entries;
        const std::string who = count == 1 ? "node " + std::to_string(first.number) : counted(count, "node", "nodes");
        return who + ", " + counted(entries, "entry", "entries") + ", " + percent(box.fill) + " full; keys " +
               edge(first, false) + " to " + edge(last, true);
    }

    void drawLevel(std::size_t level) {
        const auto &nodes = tree_.levels[level];
        const double top = rowTop(level);
        const std::string name = level == 0 ? (tree_.levels.size() == 1 ? "root, a leaf" : "leaves")
                                 : level + 1 == tree_.levels.size() ? "root"
                                                                    : "level " + std::to_string(level);
        svg_.text(kMargin, top + 26, 15, colour::kInk, name, Svg::Anchor::kStart, true);
        std::string count = counted(nodes.size(), "node", "nodes");
        const std::vector<Box> boxes = boxesOf(level);
        svg_.text(kMargin, top + 45, 12, colour::kFaint, count);
        if (boxes.size() < nodes.size())
            svg_.text(kMargin, top + 60, 12, colour::kFaint, counted(boxes[0].end, "node", "nodes") + " a box");
        for (const Box &box : boxes)
            drawBox(level, box, boxes.size());
    }

    void drawBox(std::size_t level, const Box &box, std::size_t boxes) {
        const double gap = boxes > 160 ? 0.5 : boxes > 60 ? 1 : 2;
        const double width = std::max(0.5, box.right - box.left - gap);
        const double top = rowTop(level), filled = kBoxHeight * std::min(1.0, box.fill);
        svg_.box(box.left, top, width, kBoxHeight - filled, colour::kEmpty);
        svg_.box(box.left, top + kBoxHeight - filled, width, filled, colourOf(box.fill), titleOf(level, box));
        // Its share in words, where there is room for it: on the colour, or above it.
        if (width > 40) {
            const bool inside = filled > 22;
            const double line = top + kBoxHeight - (inside ? 8 : filled + 6);
            svg_.text(box.left + width / 2, line, 13, inside && box.fill >= 0.6 ? "#ffffff" : colour::kInk,
                      percent(box.fill), Svg::Anchor::kMiddle);
        }
    }

    // The leaves by their fill, and what the colours mean.
    void drawChart() {
        const auto histogram = fillHistogram(tree_.levels[0], shape_.header.nodeSize);
        const double top = kTop + kRow * rows() + 26, height = 100, width = 56;
        const auto most =
            static_cast<double>(std::max<std::uint64_t>(1, *std::max_element(histogram.begin(), histogram.end())));
        svg_.text(kMargin, top + 14, 15, colour::kInk, "leaves by fill", Svg::Anchor::kStart, true);
        for (std::size_t i = 0; i < histogram.size(); ++i) {
            const double left = kLeft + width * static_cast<double>(i);
            const double bar = height * static_cast<double>(histogram[i]) / most;
            svg_.box(left, top + 20 + height - bar, width - 4, bar, colourOf(static_cast<double>(i) / 10 + 0.05));
            if (histogram[i] != 0)
                svg_.text(left + width / 2 - 2, top + 14 + height - bar, 11, colour::kFaint,
                          std::to_string(histogram[i]), Svg::Anchor::kMiddle);
            svg_.text(left - 2, top + 36 + height, 11, colour::kFaint, std::to_string(i * 10) + "%",
                      Svg::Anchor::kMiddle);
        }
        svg_.box(kLeft, top + 20 + height, width * 10 - 4, 1, colour::kLine);
        svg_.text(kLeft + width * 10 - 4, top + 36 + height, 11, colour::kFaint, "100%", Svg::Anchor::kMiddle);
        const double legend = kLeft + width * 10 + 50;
        for (int i = 0; i < kFillClasses; ++i) {
            const double line = top + 34 + 26 * i;
            svg_.box(legend, line - 11, 16, 13, kColours[static_cast<std::size_t>(i)]);
            svg_.text(legend + 26, line, 13, colour::kInk, fillClassInWords(static_cast<FillClass>(i)));
        }
    }

    const FileView &view_;
    const Shape &shape_;
    const Tree &tree_;
    Svg svg_;
    std::vector<std::vector<double>> starts_;
};

}  // namespace

FillClass fillClass(double fill) {
    if (fill < 0.4) return FillClass::kSparse;
    if (fill < 0.6) return FillClass::kHalf;
    return fill < 0.9 ? FillClass::kUsual : FillClass::kFull;
}

const char *fillClassInWords(FillClass fill) {
    switch (fill) {
    case FillClass::kSparse: return "below 40%: few keys";
    case FillClass::kHalf: return "40 to 60%: as a split leaves it";
    case FillClass::kUsual: return "60 to 90%";
    case FillClass::kFull: break;
    }
    return "from 90%: about to be split";
}

double fillOf(const TreeNode &node, int node_size) {
    return std::max(0.0, static_cast<double>(node.used - 2) / static_cast<double>(entryRoom(node_size)));
}

std::array<std::uint64_t, 10> fillHistogram(const std::vector<TreeNode> &level, int node_size) {
    std::array<std::uint64_t, 10> histogram{};
    for (const TreeNode &node : level)
        ++histogram[static_cast<std::size_t>(std::min(9.0, fillOf(node, node_size) * 10))];
    return histogram;
}

void drawTree(const FileView &view, const Shape &shape, const Tree &tree, const std::string &title,
              const std::string &path) {
    TreeDrawer(view, shape, tree).draw(title, path);
}

}  // namespace tool
