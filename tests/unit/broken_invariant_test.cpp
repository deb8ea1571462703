// What must never happen stops the process at once, under the name of the place that saw it.
#include <cstring>

#include "base/ismemory.h"
#include "keys/iscomp.h"
#include "keys/isnode.h"
#include "shim/system_calls.h"
#include "storage/isfree.h"
#include "storage/isremstage.h"
#include "storage/node_layout.h"
#include "tree/isgrow.h"
#include "tree/ispath.h"
#include "tree/isprune.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

// The message goes to the standard error, where the framework looks for it.
void showOnError(char *message) { std::fprintf(stderr, "%s\n", message); }

class BrokenInvariant : public testing::Test {
  protected:
    void SetUp() override { isfatal(showOnError); }
    void TearDown() override { isfatal(nullptr); }

    IsamFile *h() { return file_.handle(); }
    IndexPath *path() { return file_.path(); }
    ScratchFile &file() { return file_; }
    static const std::uint8_t *key(const char *text) { return reinterpret_cast<const std::uint8_t *>(text); }

    template <typename Body> void expectStop(const std::string &name, Body body) {
        EXPECT_EXIT(file_.change([&] { body(); }), testing::ExitedWithCode(1), "fatal isam error " + name) << name;
    }

  private:
    ScratchFile file_{40, charKey(8)};
};

TEST_F(BrokenInvariant, PathIsReplacedOnlyAtItsRoot) {
    expectStop("ispath\\(53\\)", [&] {
        NodeBuf *root = isPathRoot(h(), path());
        NodeBuf *child = isMakeNode(h(), path());
        child->parent = root;
        path()->top = child;
        isPathIns(h(), path(), 0);
    });
}

TEST_F(BrokenInvariant, NodeIsSplitOnce) {
    expectStop("ispath\\(67\\)", [&] {
        isPathRoot(h(), path());
        isPathSplit(h(), path());
        isPathSplit(h(), path());
    });
}

TEST_F(BrokenInvariant, PathIsFreedWithItsFile) {
    expectStop("ispath\\(269\\)", [&] { isPathFree(nullptr, path()); });
}

TEST_F(BrokenInvariant, SplitNodeIsNeitherFreedNorWritten) {
    expectStop("isnode\\(66\\)", [&] { isFreeNode(nullptr); });
    expectStop("isidxio\\(40\\)", [&] { isUpdNode(h(), nullptr); });
    const auto split = [&] {
        NodeBuf *n = isPathRoot(h(), path());
        isPathSplit(h(), path());
        return n;
    };
    expectStop("isnode\\(66\\)", [&] { isFreeNode(split()); });
    expectStop("isidxio\\(40\\)", [&] { isUpdNode(h(), split()); });
}

TEST_F(BrokenInvariant, ListsOfFreeNumbersAreNotForgottenUnwritten) {
    expectStop("isfree\\(197\\)", [&] {
        h()->indexFree.state = ISBUF_DIRTY;
        isFreeFree(h());
    });
    expectStop("isfree\\(198\\)", [&] {
        h()->dataFree.state = ISBUF_DIRTY;
        isFreeFree(h());
    });
}

TEST_F(BrokenInvariant, EntryGoesInsideItsNode) {
    for (const int offset : {1, 1000}) {
        expectStop("isgrow\\(218\\)", [&] {
            NodeBuf *root = isPathRoot(h(), path());
            root->position = offset;
            flatgrow(h(), path(), key("aaaaaaaa"), 1, kBeforeCurrent);
        });
    }
}

TEST_F(BrokenInvariant, CompressedEntryIsReadInsideItsNode) {
    ScratchFile other(40, charKey(8, ISLEADCOMP));
    ASSERT_EQ(other.write("aaaaaaaa"), 1);
    std::uint8_t out[ISMAXKEYLEN];
    const auto readAt = [&](int offset) {
        const NodeBuf *root = isPathRoot(other.handle(), other.path());
        isCompNext(other.path(), root->buffer, root->used, out, offset < 0 ? root->used : offset);
    };
    expectStop("iscomp\\(59\\)", [&] { readAt(node::kTreeStart - 1); });
    expectStop("iscomp\\(59\\)", [&] { readAt(-1); });
}

TEST_F(BrokenInvariant, TailHasAsManyNodesInMemoryAsAChangeNeeds) {
    expectStop("isremstage\\([0-9]+\\)", [&] {
        static RemStage stage;
        for (std::uint32_t number = 2; number < 40; ++number)
            isStageFresh(h(), &stage, number);
    });
}

// Refuses memory from now on.
class NoMemory : public shim::Observer {
    shim::Answer before(const shim::Arguments &arguments) override {
        if (!shim::isMemory(arguments.call) || arguments.call == shim::Call::Free) return {};
        return {.replaced = true, .result = -1, .error = ENOMEM, .cutTo = 0};
    }
};

TEST_F(BrokenInvariant, MemoryThatIsExhausted) {
    static NoMemory none;
    expectStop("ismemory\\([0-9]+\\)", [] {
        shim::observe(&none);
        is_malloc(10);
    });
    expectStop("ismemory\\([0-9]+\\)", [] {
        void *block = is_malloc(10);
        shim::observe(&none);
        is_realloc(block, 10, 20);
    });
}

TEST(Memory, OfNoBytesIsNoExhaustion) {
    void *block = is_malloc(0);
    EXPECT_NE(block, nullptr);
    is_free(block);
    block = is_malloc(10);
    is_free(is_realloc(block, 10, 0));
}

// Half-way through a split of the root there are two halves; both are let go.
TEST(Failure, WhileTheRootIsSplitLeavesTheTreeAsItWas) {
    ScratchFile file(40, charKey(8));
    ASSERT_EQ(file.write("aaaaaaaa"), 1);
    EXPECT_EQ(file.change([&] {
        isPathRoot(file.handle(), file.path());
        isPathSplit(file.handle(), file.path());
        isFail(file.handle(), 105);
    }),
              105);
    EXPECT_EQ(file.write("bbbbbbbb"), 2);
    EXPECT_EQ(ischeckindex(file.fd(), 1), 0);
}

TEST(Tree, GrowsToTheLevelsThatAMarkCanTell) {
    ScratchFile file(40, charKey(8));
    EXPECT_EQ(file.change([&] {
        isPathRoot(file.handle(), file.path())->level = node::kFreeLevel - 1;
        growRoot(file.handle(), file.path());
    }),
              105);
}

TEST(Tree, GivesUpNoEntryWithoutAPosition) {
    ScratchFile file(0, charKey(8));
    isrecnum = 1;
    char key[] = "aaaaaaaa";
    ASSERT_EQ(iswrite(file.fd(), key), 0);
    EXPECT_EQ(file.change([&] {
        isPathRoot(file.handle(), file.path())->position = 0;
        isTreeDelete(file.handle(), file.path(), reinterpret_cast<const std::uint8_t *>(key), 1);
    }),
              105);
    EXPECT_EQ(ischeckindex(file.fd(), 1), 0);
}

}  // namespace
