// Differential fuzzer for the B+ tree: interleaved Add, Remove, Search,
// cursor walks and bulk loads on a tree of integer, number, text or
// composite keys with a capacity from 3 to 32, against the shared model of
// tests/models/TreeModel.h. After every step VerifyTree must accept the
// tree and the leaf chain must list the model's key objects both ways;
// regularly every key is searched and the printed tree read back; at the end
// DeleteTree must release every stored key, and so its data, exactly once.
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <sstream>
#include <string>

#include "fuzz/FuzzInput.h"
#include "tests/models/TreeModel.h"

namespace {

constexpr int kMaxSteps = 600;

// One randomized operation, chosen by choice, on values around value.
// extra picks the variant (taking the removed key back, cursor mode,
// direction and length, bulk shape). Stored keys are removed as often as
// absent ones.
std::string step(treemodel::TreeDriver& driver, unsigned choice, int value, unsigned extra)
{
    auto const& model = driver.model;
    if ((choice %= 12) < 4) {
        return driver.add(value);
    }
    if (choice < 7 && !model.empty() && (extra & 2) != 0) {
        value = std::next(model.begin(), static_cast<long>(extra % model.size()))->first;
    }
    if (choice == 7) {
        return driver.search(value);
    }
    if (choice == 8 || choice == 9) {
        return driver.walk(static_cast<int>(extra % 3), value, static_cast<int>(extra % 101),
                           (extra & 8) != 0);
    }
    // Empty the tree now and then, so that bulk loads get their turn.
    std::string problem;
    while (choice == 10 && problem.empty() && !model.empty() && (extra & 4) != 0) {
        problem = driver.remove(model.begin()->first, false);
    }
    if (choice == 10 && problem.empty()) {
        return driver.bulk(value, static_cast<int>(extra % 400), 1 + static_cast<int>(extra % 3),
                           extra % 7 == 0);
    }
    return problem.empty() ? driver.remove(value, (extra & 1) != 0) : problem;
}

// The printed tree has one header per node and one "| ptr=" line per child;
// the "| key=" lines of its leaf blocks are the stored keys in order.
std::string checkPrinted(treemodel::TreeDriver& driver)
{
    CStringBuffer out, wanted;
    driver.root->PrintNode(out, 0);
    for (auto const& entry : driver.model) {
        entry.second->PrintKey(wanted);
        wanted.append("\n", 1);
    }
    std::istringstream lines(std::string(out.getBufferPointer(), size_t(out.length())));
    std::string line, leafKeys;
    long headers = 0, pointers = 0;
    bool inLeaf = false;
    while (std::getline(lines, line)) {
        line.erase(0, line.find_first_not_of(' '));
        const bool header = line.rfind("_IDX_NODE ", 0) == 0 || line.rfind("_DAT_NODE ", 0) == 0;
        headers += header ? 1 : 0;
        inLeaf = header ? line[1] == 'D' : inLeaf;
        pointers += line.rfind("| ptr=", 0) == 0 ? 1 : 0;
        leafKeys += inLeaf && line.rfind("| key=", 0) == 0 ? line.substr(6) + "\n" : "";
    }
    if (headers != pointers + 1) {
        return treemodel::say("printed %ld node headers for %ld child pointers", headers, pointers);
    }
    const std::string want(wanted.getBufferPointer(), size_t(wanted.length()));
    return leafKeys == want ? "" : "printed leaf keys differ from the model";
}

std::string runTree(FuzzInput& in)
{
    const int capacity = in.range(3, 32);
    const auto kind = static_cast<treemodel::KeyKind>(in.range(0, treemodel::kKeyKinds - 1));
    // A narrow value range makes duplicates and hits of removals common.
    const int spread = in.flag() ? 40 : 400;
    treemodel::TreeDriver driver(capacity, kind);
    std::string problem;
    for (int i = 0; i < kMaxSteps && !in.empty() && problem.empty(); ++i) {
        const unsigned choice = in.u8();
        const int value = in.range(-spread, spread);
        const unsigned extra = in.u16();
        problem = step(driver, choice, value, extra);
        problem = problem.empty() ? driver.check(i % 32 == 0) : problem;
        problem = problem.empty() && i % 32 == 0 ? checkPrinted(driver) : problem;
    }
    problem = problem.empty() ? driver.check(true) : problem;
    problem = problem.empty() ? checkPrinted(driver) : problem;
    return problem.empty() ? driver.finish() : problem;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    FuzzInput in(data, size);
    const std::string problem = runTree(in);
    FUZZ_CHECK(problem.empty(), "%s", problem.c_str());
    return 0;
}
