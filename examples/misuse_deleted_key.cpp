// A faulty program, for the checked libraries (docs/checked-build.md): it
// deletes a key that the tree stored. With the normal libraries DeleteTree
// destroys that key a second time, far from the mistake; the checked
// libraries report the delete itself.
#include <zarncrt_core++.h>

#include <cstdio>

int main()
{
    BPlusNode* root = new BPlusNode(4096, 128, 1.0f);
    BPlusKey* keys[3];
    for (int i = 0; i < 3; ++i) {
        keys[i] = BPlusKey::NewIntegerKey(10 * i);
        root = root->Add(keys[i], false);
    }
    delete keys[1];  // wrong: the tree owns the keys that Add stored
    std::printf("%d keys\n", root->GetKeyCount());
    BPlusNode::DeleteTree(root);
    return 0;
}
