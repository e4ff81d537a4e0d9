// Uses one class of every family through the umbrella header; exits 0 when
// the installed headers and libraries work together.
#include <zarncrt_core++.h>

#include <cstdio>
#include <cstring>

int main()
{
    CStringBuffer text;
    text.format("%d-%s", 42, "answer");

    BPlusNode* root = new BPlusNode();
    for (int i = 1; i <= 50; ++i) {
        root = root->Add(BPlusKey::NewIntegerKey(i), false);
    }
    BPlusKey* probe = BPlusKey::NewIntegerKey(17);
    const bool found = root->Search(probe) != nullptr;
    delete probe;
    BPlusNode::DeleteTree(root);

    QorStringMap map(eQorAllocNone);
    map.insert("key", &text);
    CPtrStack stack;
    stack.push(&map);

    QorFileLogger logger;
    logger.SetLogLevel(IQorLogger::eLogInformation);
    logger.ToggleDateUsage(false);
    logger.SetFile(stdout, false);
    logger.Information("consumer", "%s", static_cast<char*>(text));

    const bool ok = found && map.get("key") == &text && stack.pop() == &map &&
                    std::strcmp(text, "42-answer") == 0;
    std::puts(ok ? "consumer: ok" : "consumer: FAILED");
    return ok ? 0 : 1;
}
