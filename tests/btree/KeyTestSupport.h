// Helpers shared by the tests of keys, composite keys and tree nodes.
#ifndef ZARNCRT_TESTS_BTREE_KEYTESTSUPPORT_H
#define ZARNCRT_TESTS_BTREE_KEYTESTSUPPORT_H

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "models/TreeModel.h"
#include "text/CStringBuffer.h"

using Key = std::unique_ptr<BPlusKey>;
using Composite = std::unique_ptr<BPlusCompositeKey>;
using CountingData = treemodel::CountedData;

inline BPlusKey* I(int value)
{
    return BPlusKey::NewIntegerKey(value);
}

inline Key text(char const* value)
{
    return Key(BPlusKey::NewCharKey(value));
}

// Compares two keys held by any pointer (b may hold NULL).
template <typename A, typename B>
int cmp(A const& a, B const& b)
{
    return BPlusKey::Compare(&*a, b == nullptr ? nullptr : &*b);
}

inline std::string str(CStringBuffer& buffer)
{
    return std::string(buffer.getBufferPointer(), static_cast<size_t>(buffer.length()));
}

// A key's whole state on one line: type, integer and number fields, text
// and its length, name, null flag and whether it holds data.
inline std::string state(BPlusKey& key)
{
    int length = -1;
    char const* text = key.GetCharValue(&length);
    std::ostringstream out;
    out << "type " << key.GetType() << ", int " << key.GetIntValue() << ", number "
        << key.GetFloatValue() << ", text " << (text ? text : "none") << "/" << length << ", name "
        << (key.GetName() ? key.GetName() : "none") << (key.IsNull() ? ", null" : "")
        << (key.GetData() ? ", data" : "");
    return out.str();
}

// What PrintKey appends to a buffer that holds `before`.
inline std::string printed(BPlusKey& key, char const* before = "")
{
    CStringBuffer out(before);
    key.PrintKey(out);
    return str(out);
}

inline std::string printed(BPlusNode* node, int level = 0)
{
    CStringBuffer out;
    node->PrintNode(out, level);
    return str(out);
}

// The tree as I[keys](children) / L[keys], read back from the printed text:
// blocks in pre-order, each an empty line, a header and its lines.
inline std::string shape(std::istream& in)
{
    std::string line, keys;
    std::getline(in, line);  // the empty line
    std::getline(in, line);
    std::string out = line.find("_DAT_NODE ") != std::string::npos ? "L[" : "I[";
    int children = 0;
    while (in.peek() != '\n' && std::getline(in, line)) {
        line.erase(0, line.find_first_not_of(' '));
        keys += line.compare(0, 6, "| key=") ? "" : (keys.empty() ? "" : ", ") + line.substr(6);
        children += line.compare(0, 6, "| ptr=") == 0 ? 1 : 0;
    }
    out += keys + "]";
    for (int i = 0; i < children; ++i) {
        out += (i == 0 ? "(" : ", ") + shape(in) + (i == children - 1 ? ")" : "");
    }
    return out;
}

inline std::string shape(BPlusNode* root)
{
    std::istringstream in(printed(root));
    return shape(in);
}

// A tree of capacity 3 grown by adding integer keys one by one.
inline BPlusNode* grow(std::vector<int> const& keys)
{
    BPlusNode* root = new BPlusNode();
    for (int k : keys) {
        root = root->Add(I(k), false);
    }
    return root;
}

#endif
