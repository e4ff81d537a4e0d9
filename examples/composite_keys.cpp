// Building and walking a B+ tree ordered by composite keys.
//
// Each entry is (city, year): the tree orders by the first part, then by the
// second. The application owns the root pointer and must continue with the
// root that Add returns; DeleteTree releases the whole tree, keys included.
#include <zarncrt_core++.h>

#include <cstdio>

int main()
{
    struct Entry {
        const char* city;
        int year;
    };
    const Entry entries[] = {{"Oslo", 1990}, {"Lima", 2001}, {"Oslo", 1985},
                             {"Kyiv", 2010}, {"Lima", 1999}, {"Oslo", 1985}};

    BPlusNode* root = new BPlusNode(4096, 128, 1.0f);  // capacity 31 pointers per node
    for (const Entry& e : entries) {
        // The key owns its parts; the tree takes the key when it stores it.
        BPlusCompositeKey* key = BPlusCompositeKey::New(BPlusKey::NewCharKey(e.city),
                                                        BPlusKey::NewIntegerKey(e.year), nullptr);
        if (root->Search(key) != nullptr) {
            std::printf("duplicate ");
            key->PrintKey(stdout);
            std::printf(" not added\n");
            delete key;  // a key the tree did not store stays ours
            continue;
        }
        root = root->Add(key, false);
    }

    // The leaf chain visits every key in ascending order.
    for (BPlusNode* leaf = root->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
        for (int i = 0; i < leaf->GetKeyCount(); ++i) {
            leaf->GetKey(i)->PrintKey(stdout);
            std::putchar('\n');
        }
    }
    BPlusNode::DeleteTree(root);
    return 0;
}
