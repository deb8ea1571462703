#include "storage/isremstage.h"

#include <cstring>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "storage/ishead.h"
#include "storage/isidxio.h"
#include "storage/isremnant.h"
#include "storage/remnant_layout.h"

using namespace remnant;

namespace {

constexpr const char *kModule = "isremstage";
constexpr int kGrowth = 8;  // more links than a sound file's change sets

StagedNode *find(RemStage *stage, std::uint32_t number) {
    for (StagedNode &node : stage->nodes)
        if (node.number == number) return &node;
    return nullptr;
}

// A buffer that may be used for another node.
StagedNode *take(IsamFile *h, RemStage *stage, std::uint32_t number) {
    StagedNode *node = find(stage, number);
    for (StagedNode &other : stage->nodes)
        if (node == nullptr && !other.dirty) node = &other;
    if (node == nullptr) isBroken(kModule, __LINE__);
    if (node->bytes == nullptr) node->bytes = is_new<std::uint8_t>(static_cast<std::size_t>(h->nodeSize));
    *node = {node->bytes, 0, false};
    return node;
}

LinkWrite *findLink(RemStage *stage, std::uint32_t number, int offset) {
    for (int i = 0; i < stage->linkCount; ++i)
        if (stage->links[i].number == number && stage->links[i].offset == offset) return &stage->links[i];
    return nullptr;
}

LinkWrite *addLink(RemStage *stage) {
    if (stage->linkCount == stage->linkRoom) {
        const auto size = sizeof(LinkWrite) * static_cast<std::size_t>(stage->linkRoom);
        stage->links = static_cast<LinkWrite *>(is_realloc(stage->links, size, size + sizeof(LinkWrite) * kGrowth));
        stage->linkRoom += kGrowth;
    }
    return &stage->links[stage->linkCount++];
}

// Puts the links that are set for a node into a copy of it.
void applyLinks(const RemStage *stage, std::uint32_t number, std::uint8_t *node) {
    for (int i = 0; i < stage->linkCount; ++i)
        if (stage->links[i].number == number) st_long(stage->links[i].value, node + stage->links[i].offset);
}

bool isDirty(RemStage *stage, std::uint32_t number) {
    const StagedNode *node = find(stage, number);
    return node != nullptr && node->dirty;
}

void putNodes(IsamFile *h, RemStage *stage, bool all) {
    for (StagedNode &node : stage->nodes) {
        if (!node.dirty || !(all || node.number > isHeadLastNode(h))) continue;
        isPutNode(h, node.bytes, node.number);
        node.dirty = false;
    }
}

}  // namespace

void isStageClear(RemStage *stage) {
    for (StagedNode &node : stage->nodes)
        node = {node.bytes, 0, false};
    stage->linkCount = 0;
}

std::uint8_t *isStageLoad(IsamFile *h, RemStage *stage, std::uint32_t number) {
    isCheckNodeNumber(h, number);
    if (const StagedNode *staged = find(stage, number)) return staged->bytes;
    StagedNode *node = take(h, stage, number);
    isGetLinked(h, node->bytes, number);
    isCheckRemNode(h, node->bytes);
    applyLinks(stage, number, node->bytes);
    node->number = number;
    return node->bytes;
}

void isStagePeek(IsamFile *h, RemStage *stage, std::uint32_t number, std::uint8_t *head) {
    isCheckNodeNumber(h, number);
    if (const StagedNode *staged = find(stage, number)) {
        std::memcpy(head, staged->bytes, kDataStart);
        return;
    }
    isGetLinkedPart(h, head, kDataStart, number);
    applyLinks(stage, number, head);
}

std::uint8_t *isStageFresh(IsamFile *h, RemStage *stage, std::uint32_t number) {
    StagedNode *node = take(h, stage, number);
    std::memset(node->bytes, 0, static_cast<std::size_t>(h->nodeSize));
    node->number = number;
    node->dirty = true;
    return node->bytes;
}

void isStageDirty(RemStage *stage, std::uint32_t number) { find(stage, number)->dirty = true; }

void isStageDrop(RemStage *stage, std::uint32_t number) {
    if (StagedNode *node = find(stage, number)) *node = {node->bytes, 0, false};
    int kept = 0;
    for (int i = 0; i < stage->linkCount; ++i)
        if (stage->links[i].number != number) stage->links[kept++] = stage->links[i];
    stage->linkCount = kept;
}

void isStageLink(IsamFile *h, RemStage *stage, std::uint32_t number, int offset, std::uint32_t value) {
    isCheckNodeNumber(h, number);
    if (const StagedNode *node = find(stage, number)) st_long(value, node->bytes + offset);
    LinkWrite *link = findLink(stage, number, offset);
    if (link == nullptr) link = addLink(stage);
    *link = {number, offset, value};
}

void isStagePutNew(IsamFile *h, RemStage *stage) { putNodes(h, stage, false); }

void isStagePut(IsamFile *h, RemStage *stage) {
    // A node written whole has its links in it.
    int kept = 0;
    for (int i = 0; i < stage->linkCount; ++i)
        if (!isDirty(stage, stage->links[i].number)) stage->links[kept++] = stage->links[i];
    stage->linkCount = kept;
    putNodes(h, stage, true);
    for (int i = 0; i < stage->linkCount; ++i) {
        const LinkWrite &link = stage->links[i];
        std::uint8_t raw[kLinkSize];
        st_long(link.value, raw);
        isPutNodePart(h, raw, sizeof raw, link.number, link.offset);
    }
    isStageClear(stage);
}
