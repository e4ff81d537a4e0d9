// BPlusKey: setting the value, normalizing text and printing.
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "btree/BPlusKey.h"
#include "btree/CheckedKeys.h"
#include "btree/KeyMemory.h"
#include "core/Limits.h"
#include "core/QorCore.h"
#include "text/CStringBuffer.h"

namespace {

// Text formatted from a number gets a block of this fixed size, so at most
// 63 characters are kept.
constexpr int kNumberTextBlock = 64;

// The low 32 bits of text read as a base-10 long, as strtol reads it.
int lowBitsOfLong(char const* text)
{
    const unsigned long bits = static_cast<unsigned long>(std::strtol(text, nullptr, 10));
    return static_cast<int>(static_cast<unsigned int>(bits & 0xFFFFFFFFUL));
}

// A double truncated toward zero into the int range: NaN gives 0, values
// beyond the range give its nearest end.
int truncateToInt(double value)
{
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    if (value <= static_cast<double>(INT_MIN)) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

}  // namespace

void BPlusKey::TakeText(char* text, int length)
{
    if (m_szValue != nullptr) {
        QorMemFree(m_szValue);
    }
    m_szValue = text;
    m_nLength = length;
    // A normalized copy always belongs to the current text, or does not exist.
    if (m_szNormalized != nullptr) {
#ifdef ZARNCRT_CHECKED
        zarn::btreecheck::copyDropped(this);
#endif
        QorMemFree(m_szNormalized);
        m_szNormalized = nullptr;
        m_nNormalizedLength = 0;
    }
    Normalize();
}

template <typename Number>
void BPlusKey::SetNumber(int asInteger, Number value, char const* format)
{
    switch (m_type) {
        case eIntegerKey:
            m_nValue = asInteger;
            break;
        case eNumberKey:
            m_fValue = value;
            break;
        case eCharKey: {
            char* text = static_cast<char*>(QorMemAlloc(kNumberTextBlock));
            const int wanted = std::snprintf(text, kNumberTextBlock, format, value);
            // snprintf reports the length it wanted; longer output was cut.
            TakeText(text, wanted < kNumberTextBlock ? wanted : kNumberTextBlock - 1);
            break;
        }
        default:
            break;
    }
}

void BPlusKey::SetKey(int value)
{
    SetNumber(value, value, "%d");
}

void BPlusKey::SetKey(double value)
{
    SetNumber(truncateToInt(value), value, "%0.2lf");
}

void BPlusKey::SetKey(char const* text)
{
    if (text == nullptr) {
        return;
    }
    switch (m_type) {
        case eIntegerKey:
            m_nValue = lowBitsOfLong(text);
            break;
        case eNumberKey:
            m_fValue = std::strtod(text, nullptr);
            break;
        case eCharKey: {
            // Copied before the old text is freed: text may be the key's own.
            const size_t length = std::strlen(text);
            const int counted = zarn::checkedLength(length, "BPlusKey::SetKey");
            TakeText(zarn::copyText(text, length), counted);
            break;
        }
        default:
            break;
    }
}

void BPlusKey::SetKey(CStringBuffer& text)
{
    if (m_type != eCharKey) {
        SetKey(static_cast<char const*>(text));
        return;
    }
    const int length = text.length();
    TakeText(zarn::copyText(static_cast<char const*>(text), static_cast<size_t>(length)), length);
}

void BPlusKey::SetNormalizer(int (*normalizer)(char*, int*, int), int data)
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::normalizerInstalled(normalizer, data);
#endif
    m_normalizer = normalizer;
    m_nNormalizeData = data;
}

void BPlusKey::Normalize()
{
    if (m_normalizer == nullptr || m_szValue == nullptr) {
        return;
    }
    if (m_szNormalized != nullptr) {
        QorMemFree(m_szNormalized);
    }
    m_szNormalized = zarn::copyText(m_szValue, static_cast<size_t>(m_nLength));
    m_nNormalizedLength = m_nLength;
    m_normalizer(m_szNormalized, &m_nNormalizedLength, m_nNormalizeData);
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::copyNormalized(this);
#endif
    // A length outside the copy would make Compare read past its end.
    if (m_nNormalizedLength < 0) {
        m_nNormalizedLength = 0;
    } else if (m_nNormalizedLength > m_nLength) {
        m_nNormalizedLength = m_nLength;
    }
}

void BPlusKey::PrintKey(CStringBuffer& out)
{
    // Formatted through a buffer of its own so that the text goes through
    // format's length limit, then appended behind what out holds.
    CStringBuffer text(256);
    switch (m_type) {
        case eIntegerKey:
            text.format("%d", m_nValue);
            break;
        case eNumberKey:
            text.format("%0.2lf", m_fValue);
            break;
        case eCharKey:
            if (m_szValue == nullptr) {
                return;
            }
            text.format("%s", m_szValue);
            break;
        default:
            return;
    }
    out.append(text);
}

void BPlusKey::PrintKey(FILE* stream)
{
    if (stream == nullptr) {
        return;
    }
    CStringBuffer text(256);
    PrintKey(text);
    std::fputs(static_cast<char const*>(text), stream);
}
