// BPlusNode: the diagnostic text of a node and its subtree.
#include <cstdint>
#include <cstring>

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
#include "text/CStringBuffer.h"

namespace {

// The indentation is two spaces per level, taken from an area of 8192 bytes:
// 8190 spaces and the terminator, so 4095 is the deepest level printed.
constexpr int kMaxLevel = 4095;
constexpr int kSpaces = 2 * kMaxLevel;

int clampLevel(int level)
{
    return level < 0 ? 0 : (level > kMaxLevel ? kMaxLevel : level);
}

void appendKey(CStringBuffer& out, BPlusKey* key)
{
    if (key != nullptr) {
        key->PrintKey(out);
    } else {
        out.append("(null key)", 10);
    }
}

}  // namespace

void BPlusNode::PrintNode(CStringBuffer& out, int level)
{
    char spaces[kSpaces + 2];
    std::memset(spaces, ' ', kSpaces);
    spaces[kSpaces] = '\0';
    CStringBuffer line(256);  // scratch for each formatted line
    PrintSubtree(out, clampLevel(level), spaces, line);
}

void BPlusNode::PrintNode(FILE* stream, int level)
{
    CStringBuffer text;
    PrintNode(text, level);
    if (stream != nullptr) {
        std::fputs(static_cast<char*>(text), stream);
    }
}

void BPlusNode::PrintSubtree(CStringBuffer& out, int level, char const* spaces, CStringBuffer& line)
{
    char const* prefix = spaces + (kSpaces - 2 * level);
    // A node that is not valid has no arrays: it prints its block only.
    const int keyCount = m_pKeys != nullptr ? m_nKeyCount : 0;
    const int pointerCount = m_pPointers != nullptr && !m_bLeaf ? m_nPointerCount : 0;
    if (m_bLeaf) {
        out.append(line.format("\n%s_DAT_NODE 0x%08x\n", prefix, zarn::low32(this)));
        for (int i = 0; i < keyCount; ++i) {
            out.append(line.format("%s|--------------\n", prefix));
            out.append(line.format("%s| key=", prefix));
            appendKey(out, m_pKeys[i]);
            out.append("\n", 1);
        }
    } else {
        out.append(line.format("\n%s_IDX_NODE 0x%08x\n", prefix, zarn::low32(this)));
        for (int i = 0; i < pointerCount; ++i) {
            out.append(line.format("%s|--------------\n", prefix));
            out.append(line.format("%s| ptr=0x%08x\n", prefix, zarn::low32(m_pPointers[i])));
            if (i < keyCount) {
                out.append(line.format("%s| key=", prefix));
                appendKey(out, m_pKeys[i]);
                out.append("\n", 1);
            }
        }
    }
    out.append(line.format("%s|--------------\n", prefix));
    const int childLevel = clampLevel(level + 1);
    for (int i = 0; i < pointerCount; ++i) {
        if (m_pPointers[i] != nullptr) {
            m_pPointers[i]->PrintSubtree(out, childLevel, spaces, line);
        }
    }
}
