#include "picture/map_picture.h"

#include "base/table.h"
#include "picture/svg.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tool {

namespace {

constexpr double kWidth = 1200;
constexpr double kMargin = 40;
constexpr double kLabels = 60;
constexpr double kLegend = 250;
constexpr double kLeft = kMargin + kLabels;
constexpr double kAcross = kWidth - 2 * kMargin - kLabels - kLegend;
constexpr double kTop = 96;
constexpr std::uint64_t kMostCells = 4800;
constexpr std::uint64_t kMostColumns = 96;
constexpr std::uint64_t kFewestColumns = 16;

struct Pair {
    const char *leaf;
    const char *inner;
};
constexpr std::array<Pair, 10> kIndexes = {{{"#5aa0d6", "#1b4f7a"},
                                            {"#f0a35e", "#9c4f0c"},
                                            {"#8cc27a", "#2f6b1f"},
                                            {"#b695d8", "#57308a"},
                                            {"#e08fb0", "#8c2a55"},
                                            {"#6cc5c0", "#16625e"},
                                            {"#d9c65c", "#7d6b0b"},
                                            {"#a8907c", "#54402f"},
                                            {"#9aa7e0", "#35439a"},
                                            {"#c3cc8a", "#66701f"}}};

const char *colourOf(const MapKind &kind) {
    if (kind.shared) return "#000000";
    switch (kind.kind) {
    case NodeKind::kHeader: return "#22303c";
    case NodeKind::kDescription: return "#52616d";
    case NodeKind::kAudit: return "#8d99a3";
    case NodeKind::kRecordList: return "#b08968";
    case NodeKind::kFree: return "#dde3e8";
    case NodeKind::kTail: return "#f3dfa2";
    case NodeKind::kLeaf: return kIndexes[kind.index % kIndexes.size()].leaf;
    case NodeKind::kInner: return kIndexes[kind.index % kIndexes.size()].inner;
    case NodeKind::kRuined: return "#e5383b";
    case NodeKind::kLost: break;
    }
    return "#f72585";
}

// What must not vanish where a cell stands for several nodes comes first.
int rank(const MapKind &kind) {
    if (kind.shared) return 0;
    switch (kind.kind) {
    case NodeKind::kRuined:
    case NodeKind::kLost: return 1;
    case NodeKind::kHeader: return 2;
    case NodeKind::kDescription: return 3;
    case NodeKind::kAudit: return 4;
    case NodeKind::kRecordList: return 5;
    default: return 6;
    }
}

MapKind cellKind(const Survey &survey, std::uint64_t first, std::uint64_t end) {
    std::vector<MapCount> counts;
    for (std::uint64_t number = first; number < end; ++number) {
        const MapKind kind = mapKind(survey.nodes[static_cast<std::size_t>(number - 1)]);
        const auto at = std::find_if(counts.begin(), counts.end(), [&](const MapCount &c) { return c.kind == kind; });
        if (at == counts.end())
            counts.push_back({kind, 1});
        else
            ++at->nodes;
    }
    return std::min_element(counts.begin(), counts.end(),
                            [](const MapCount &a, const MapCount &b) {
                                const int x = rank(a.kind), y = rank(b.kind);
                                return x != y ? x < y : a.nodes > b.nodes;
                            })
        ->kind;
}

class MapDrawer {
  public:
    explicit MapDrawer(const Survey &survey) : survey_(survey), nodes_(survey.nodes.size()) {
        per_cell_ = std::max<std::uint64_t>(1, (nodes_ + kMostCells - 1) / kMostCells);
        cells_ = (nodes_ + per_cell_ - 1) / per_cell_;
        const auto square = static_cast<std::uint64_t>(std::ceil(std::sqrt(static_cast<double>(cells_) * 2)));
        columns_ = std::clamp(square, kFewestColumns, kMostColumns);
        rows_ = (cells_ + columns_ - 1) / columns_;
        cell_ = kAcross / static_cast<double>(columns_);
        counts_ = mapCounts(survey);
    }

    void draw(int node_size, const std::string &title, const std::string &path) {
        const double grid = cell_ * static_cast<double>(rows_);
        const double legend = 26 * static_cast<double>(counts_.size());
        Svg svg(kWidth, kTop + std::max(grid, legend) + kMargin);
        svg.text(kMargin, 44, 22, colour::kInk, title, Svg::Anchor::kStart, true);
        std::string below = counted(nodes_, "node", "nodes") + " of " + std::to_string(node_size) +
                            " bytes; a cell is " + counted(per_cell_, "node", "nodes");
        svg.text(kMargin, 70, 14, colour::kFaint, below + ", from left to right and from top to bottom");
        drawGrid(svg);
        drawLegend(svg);
        svg.write(path);
    }

  private:
    void drawGrid(Svg &svg) const {
        const std::uint64_t every = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::ceil(18 / cell_)));
        for (std::uint64_t row = 0; row < rows_; ++row) {
            const double top = kTop + cell_ * static_cast<double>(row);
            if (row % every == 0)
                svg.text(kLeft - 10, top + std::min(cell_ - 2, 12.0), 11, colour::kFaint,
                         std::to_string(row * columns_ * per_cell_ + 1), Svg::Anchor::kEnd);
            drawRow(svg, row, top);
        }
    }

    // Equal cells side by side are one box where they are small.
    void drawRow(Svg &svg, std::uint64_t row, double top) const {
        const double gap = cell_ > 12 ? 1.5 : 0.5;
        const std::uint64_t end = std::min(cells_, (row + 1) * columns_);
        for (std::uint64_t cell = row * columns_; cell < end;) {
            const MapKind kind = kindOf(cell);
            std::uint64_t next = cell + 1;
            while (cells_ > kSingleCells && next < end && kindOf(next) == kind)
                ++next;
            const double left = kLeft + cell_ * static_cast<double>(cell - row * columns_);
            const std::uint64_t first = cell * per_cell_ + 1, last = std::min(nodes_, next * per_cell_);
            const std::string who = first == last ? "node " + std::to_string(first)
                                                  : "nodes " + std::to_string(first) + " to " + std::to_string(last);
            svg.box(left, top, cell_ * static_cast<double>(next - cell) - gap, cell_ - gap, colourOf(kind),
                    who + ": " + mapKindInWords(kind));
            cell = next;
        }
    }

    MapKind kindOf(std::uint64_t cell) const {
        return cellKind(survey_, cell * per_cell_ + 1, std::min(nodes_, (cell + 1) * per_cell_) + 1);
    }

    void drawLegend(Svg &svg) const {
        const double left = kWidth - kMargin - kLegend + 30;
        double line = kTop + 12;
        for (const MapCount &count : counts_) {
            svg.box(left, line - 12, 16, 16, colourOf(count.kind));
            svg.text(left + 26, line, 13, colour::kInk, mapKindInWords(count.kind));
            svg.text(kWidth - kMargin, line, 13, colour::kFaint, std::to_string(count.nodes), Svg::Anchor::kEnd);
            line += 26;
        }
    }

    static constexpr std::uint64_t kSingleCells = 2500;

    const Survey &survey_;
    std::uint64_t nodes_;
    std::uint64_t per_cell_ = 1, cells_ = 0, columns_ = 1, rows_ = 0;
    double cell_ = 1;
    std::vector<MapCount> counts_;
};

// The order of a legend: what every file has, trees, the rest.
int legendPlace(const MapKind &kind) {
    if (kind.shared) return 1000;
    switch (kind.kind) {
    case NodeKind::kHeader: return 0;
    case NodeKind::kDescription: return 1;
    case NodeKind::kAudit: return 2;
    case NodeKind::kInner: return 10 + 2 * kind.index;
    case NodeKind::kLeaf: return 11 + 2 * kind.index;
    case NodeKind::kTail: return 600;
    case NodeKind::kRecordList: return 601;
    case NodeKind::kFree: return 602;
    case NodeKind::kLost: return 603;
    case NodeKind::kRuined: break;
    }
    return 604 + kind.index;
}

}  // namespace

MapKind mapKind(const NodeUse &use) {
    const bool of_tree = use.kind == NodeKind::kLeaf || use.kind == NodeKind::kInner || use.kind == NodeKind::kRuined;
    return {use.kind, of_tree ? use.index : std::uint8_t{0}, use.shared};
}

std::string mapKindInWords(const MapKind &kind) {
    std::string text = kindInWords(kind.kind);
    if (kind.kind == NodeKind::kLeaf || kind.kind == NodeKind::kInner || kind.kind == NodeKind::kRuined)
        text = "index " + std::to_string(kind.index + 1) + ", " + text;
    return kind.shared ? text + ", and in use twice" : text;
}

std::vector<MapCount> mapCounts(const Survey &survey) {
    std::vector<MapCount> counts;
    for (const NodeUse &use : survey.nodes) {
        const MapKind kind = mapKind(use);
        const auto at = std::find_if(counts.begin(), counts.end(), [&](const MapCount &c) { return c.kind == kind; });
        if (at == counts.end())
            counts.push_back({kind, 1});
        else
            ++at->nodes;
    }
    std::sort(counts.begin(), counts.end(),
              [](const MapCount &a, const MapCount &b) { return legendPlace(a.kind) < legendPlace(b.kind); });
    return counts;
}

std::vector<MapRun> mapRuns(const Survey &survey) {
    std::vector<MapRun> runs;
    for (std::size_t i = 0; i < survey.nodes.size(); ++i) {
        const MapKind kind = mapKind(survey.nodes[i]);
        if (runs.empty() || !(runs.back().kind == kind)) runs.push_back({kind, i + 1, i + 1});
        runs.back().last = i + 1;
    }
    return runs;
}

void drawMap(const Survey &survey, int node_size, const std::string &title, const std::string &path) {
    MapDrawer(survey).draw(node_size, title, path);
}

}  // namespace tool
