// FuzzInput: turns the fuzzer's byte string into the decisions of a harness.
//
// Every read takes bytes from the front of the input; once it is used up each
// read yields zero, so a harness never runs past its data and a short input
// still drives a short, valid operation sequence. Sizes drawn from the input
// are always capped by the caller's bounds, which keeps executions fast.
#ifndef ZARNCRT_FUZZ_FUZZINPUT_H
#define ZARNCRT_FUZZ_FUZZINPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

class FuzzInput {
public:
    FuzzInput(uint8_t const* data, size_t size) : data_(data), size_(size) {}

    bool empty() const
    {
        return size_ == 0;
    }
    size_t remaining() const
    {
        return size_;
    }

    uint8_t u8()
    {
        if (size_ == 0) {
            return 0;
        }
        --size_;
        return *data_++;
    }

    uint16_t u16()
    {
        return static_cast<uint16_t>(u8() | (u8() << 8));
    }

    uint32_t u32()
    {
        return static_cast<uint32_t>(u16()) | (static_cast<uint32_t>(u16()) << 16);
    }

    uint64_t u64()
    {
        return static_cast<uint64_t>(u32()) | (static_cast<uint64_t>(u32()) << 32);
    }

    bool flag()
    {
        return (u8() & 1) != 0;
    }

    // A value in lo..hi (both included); lo when the range is empty.
    int range(int lo, int hi)
    {
        if (hi <= lo) {
            return lo;
        }
        const uint32_t span = static_cast<uint32_t>(static_cast<int64_t>(hi) - lo + 1);
        const uint32_t raw = span <= 256 ? u8() : (span <= 65536 ? u16() : u32());
        return static_cast<int>(lo + static_cast<int64_t>(raw % span));
    }

    // Mostly small numbers, sometimes anything: counts, positions and values
    // that should hit both the ordinary and the out-of-range cases.
    int smallInt(int bound)
    {
        switch (u8() & 7) {
            case 0:
                return static_cast<int>(u32());
            case 1:
                return -range(0, bound);
            default:
                return range(0, bound);
        }
    }

    // Up to maxLength bytes. Most bytes come from alphabet, so that searches
    // and replacements find matches; a raw-byte flag lets any byte (NUL and
    // bytes above 127 included) appear too.
    std::string text(size_t maxLength, char const* alphabet, size_t alphabetLength)
    {
        const size_t length = static_cast<size_t>(range(0, static_cast<int>(maxLength)));
        const bool raw = (u8() & 7) == 0;
        std::string out;
        out.reserve(length);
        for (size_t i = 0; i < length && !empty(); ++i) {
            const uint8_t b = u8();
            out.push_back(raw && (b & 0x80) ? static_cast<char>(u8())
                                            : alphabet[b % alphabetLength]);
        }
        return out;
    }

private:
    uint8_t const* data_;
    size_t size_;
};

// A harness check: on failure prints where and why, then aborts so that
// libFuzzer records the input as a crash.
#define FUZZ_CHECK(cond, ...)                                                                   \
    do {                                                                                        \
        if (!(cond)) {                                                                          \
            std::fprintf(stderr, "FUZZ CHECK FAILED %s:%d: %s\n  ", __FILE__, __LINE__, #cond); \
            std::fprintf(stderr, __VA_ARGS__);                                                  \
            std::fprintf(stderr, "\n");                                                         \
            std::abort();                                                                       \
        }                                                                                       \
    } while (0)

#endif
