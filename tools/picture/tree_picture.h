// A tree as a picture: a row for each level, the root on top; a box for each node, as wide as the leaves below it,
// filled as far as the node is. Where there are more nodes than can be told apart, a box stands for several.
#pragma once

#include "index/survey.h"

#include <array>
#include <string>

namespace tool {

// How full a node is, as the picture's colours tell it.
enum class FillClass { kSparse, kHalf, kUsual, kFull };
constexpr int kFillClasses = 4;
FillClass fillClass(double fill);
const char *fillClassInWords(FillClass fill);

// Part of a node's room that its entries take.
double fillOf(const TreeNode &node, int node_size);

// Nodes of a level by tenths of their fill.
std::array<std::uint64_t, 10> fillHistogram(const std::vector<TreeNode> &level, int node_size);

void drawTree(const FileView &view, const Shape &shape, const Tree &tree, const std::string &title,
              const std::string &path);

}  // namespace tool
