// Differential fuzzer for the B+ tree: interleaved Add, Remove, Search,
// cursor walks and bulk loads on a tree of integer, number, text or
// composite keys with a capacity from 3 to 32, against the shared model of
// tests/models/TreeModel.h. After every step VerifyTree must accept the
// tree and the leaf chain must list the model's key objects both ways;
// regularly every key is searched and the printed tree read back; at the end
// DeleteTree must release every stored key, and so its data, exactly once.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/FuzzInput.h"
#include "tests/models/TreeModel.h"

namespace {

constexpr int kMaxSteps = 600;

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
        problem = treemodel::step(driver, choice, value, extra);
        if (problem.empty()) {
            problem = driver.check(i % 32 == 0);
        }
    }
    if (problem.empty()) {
        problem = driver.check(true);
    }
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
