// The order of the source files: no circles, and every floor rests on those below it alone.
#include "project/include_graph.h"

#include <gtest/gtest.h>

namespace {

std::string joined(const std::vector<std::string> &path) {
    std::string text;
    for (const std::string &file : path)
        text += (text.empty() ? "" : " -> ") + file;
    return text;
}

const IncludeGraph &graph() {
    static const IncludeGraph kGraph = readIncludeGraph(ISAM_SOURCE_DIR);
    return kGraph;
}

}  // namespace

TEST(IncludeGraph, HoldsTheSources) {
    EXPECT_GT(graph().size(), 30U);
    ASSERT_EQ(graph().count("base/isfail.cpp"), 1U);
    EXPECT_EQ(graph().at("base/isfail.cpp").count("base/isfail.h"), 1U);
}

TEST(IncludeGraph, EveryQuotedIncludeNamesAProjectFile) {
    for (const auto &[file, includes] : graph())
        for (const std::string &name : includes)
            EXPECT_NE(name.front(), '?') << file << " includes " << name.substr(1);
}

TEST(IncludeGraph, HasNoCircle) { EXPECT_EQ(joined(findCircle(graph())), ""); }

TEST(IncludeGraph, PublicHeaderIncludesTheNamesAlone) {
    EXPECT_EQ(graph().at("isam.h"), std::set<std::string>{"isam_names.h"});
    EXPECT_TRUE(graph().at("isam_names.h").empty());
}

TEST(IncludeGraph, MaintenanceHeaderIncludesThePublicOneAlone) {
    EXPECT_EQ(graph().at("isam_maint.h"), std::set<std::string>{"isam.h"});
}

TEST(IncludeGraph, EveryFileHasAFloor) {
    for (const auto &[file, unused] : graph())
        EXPECT_GT(floorOf(file), 0) << file;
}

TEST(IncludeGraph, FloorsPointDownwards) {
    for (const auto &[file, includes] : graph())
        for (const std::string &name : includes)
            EXPECT_GE(floorOf(file), floorOf(name)) << file << " includes " << name;
}

TEST(IncludeGraph, CircleFinderFindsCirclesOfEveryLength) {
    EXPECT_EQ(joined(findCircle({{"a", {"a"}}})), "a -> a");
    EXPECT_EQ(joined(findCircle({{"a", {"b"}}, {"b", {"c"}}, {"c", {"b"}}})), "b -> c -> b");
    EXPECT_EQ(joined(findCircle({{"a", {"b", "c"}}, {"b", {"d"}}, {"c", {"d"}}, {"d", {}}})), "");
}
