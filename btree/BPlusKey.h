/// \file
/// BPlusKey: the value a B+ tree orders, and IBPlusData, the payload a key
/// carries.
///
/// A key holds one value of one type, fixed at construction: a 32-bit
/// integer, a double, or a text (BPlusCompositeKey adds composite keys).
/// Besides its value it carries an optional name, a null flag and attached
/// data. BPlusKey::Compare is the order of the whole tree; callers use only
/// the sign of its result.
///
/// Text order: without a normalizer, text keys already compare
/// case-insensitively (QorCompareNoCase: ASCII letters folded to lower case,
/// other bytes as unsigned values, up to the first NUL), so "Whale" and
/// "WHALE" are one key. One process-wide normalizer (SetNormalizer) may bring
/// text keys into a canonical form: it runs once whenever a text key's value
/// is set, on a copy of the text, and two keys that both have such a
/// normalized copy compare by memcmp of the copies, byte for byte, which is
/// case-sensitive. So a normalizer that folds ASCII letters to lower case is
/// an optimisation (the same order for texts without NUL bytes, a single
/// memcmp per comparison), while a normalizer that does not fold makes text
/// comparison case-sensitive ("Whale" and "whale" become two keys). One that
/// folds to upper case also moves the six ASCII characters between 'Z' and
/// 'a' (square brackets, backslash, caret, underscore, backquote) from before
/// the letters to after them. SetNormalizer tells what a normalizer receives
/// and returns.
///
/// Ownership: a key owns its text, normalized copy and name. Keys are made
/// with new (by the factories and Clone) and destroyed with delete; whoever
/// receives a new key owns it. Attached data is released by the release rule:
/// its Dealloc() is asked, and the object is deleted only when it answers true.
///
/// Pointers: GetCharValue's text lives until the key's value is set again
/// (any SetKey, CopyTo into the key) or the key is destroyed; GetName's until
/// SetName, CopyTo into the key or destruction. GetData's object follows the
/// release rule.
///
/// Cost: Compare of two text keys is O(text length) (one memcmp when both are
/// normalized, else a case-insensitive comparison); of composite keys, the
/// parts in turn. Setting a text value copies it and runs the normalizer.
///
/// Threads: thread-compatible. Separate keys may be used from separate
/// threads at once, calls on one key need the caller's serialisation. The
/// normalizer is process-wide state read by every text key: install it before
/// other threads make or set keys.
#ifndef ZARNCRT_BTREE_BPLUSKEY_H
#define ZARNCRT_BTREE_BPLUSKEY_H

#include <cstdio>

#include "core/ZarnExport.h"

class CStringBuffer;

namespace zarn {
/// The order summaries that tree nodes keep of their keys (internal).
struct KeySummary;
}  // namespace zarn

/// Data attached to a key. Derive from it; answer Dealloc() with true to have
/// the holder delete the object when it lets go of it, false to keep it alive.
class ZARNCRT_EXPORT IBPlusData {
public:
    /// Virtual, so that a holder deleting the object runs the derived destructor.
    virtual ~IBPlusData();
    /// Asked whenever a holder lets go of this object: true means "delete me".
    virtual bool Dealloc() = 0;
};

/// The value a B+ tree orders: a 32-bit integer, a double or a text, with an
/// optional name, a null flag and attached data. The description of
/// BPlusKey.h gives ownership, pointer validity, costs, threads and the text
/// normalizer's contract.
class ZARNCRT_EXPORT BPlusKey {
public:
    /// Stored as a 32-bit int; a key may carry any other number as its type,
    /// in which case it holds no value (setters and printing do nothing and it
    /// compares equal to any key when it is the first operand).
    enum EBPlusKeyType : int {
        eIntegerKey = 0,   ///< value in m_nValue
        eNumberKey = 1,    ///< value in m_fValue
        eCharKey = 2,      ///< value in m_szValue / m_nLength
        eCompositeKey = 3  ///< parts of a BPlusCompositeKey
    };

    /// A key of the given type with no value: 0, 0.0, no text, no name, not
    /// null, no data.
    BPlusKey(EBPlusKeyType type);
    /// A key of other's type into which other's own CopyTo copies its value
    /// and name (and null flag).
    BPlusKey(BPlusKey& other);
    /// Frees the text, releases the data, frees the normalized copy and name.
    virtual ~BPlusKey();
    BPlusKey& operator=(BPlusKey const&) = delete;

    /// A new integer key holding value; the caller owns it.
    static BPlusKey* NewIntegerKey(int value);
    /// A new number key holding value; the caller owns it.
    static BPlusKey* NewNumberKey(double value);
    /// A new text key holding a copy of text (normalized when a normalizer is
    /// installed); the caller owns it. NULL gives a text key without text.
    static BPlusKey* NewCharKey(char const* text);

    /// A new key of this key's type holding a copy of its value, name and null
    /// flag (no data); the caller owns it.
    virtual BPlusKey* Clone();
    /// Copies this key's value (into the field this key's type uses), name and
    /// null flag into target; target's data pointer is dropped without being
    /// released. Copying a key onto itself does nothing.
    virtual void CopyTo(BPlusKey& target);
    /// Releases the data held (release rule), then holds data (may be NULL).
    /// Handing the key the data it already holds changes nothing.
    virtual void SetData(IBPlusData* data);
    /// The attached data, or NULL; the key keeps it.
    virtual IBPlusData* GetData();
    /// Writes the value as text to stream (no line end).
    virtual void PrintKey(FILE* stream);
    /// Appends the value as text to out: "%d", "%0.2lf" or the text itself,
    /// formatted through "%s" and so cut at its first NUL and at 16383 bytes.
    virtual void PrintKey(CStringBuffer& out);

    /// The key's type.
    EBPlusKeyType GetType();
    /// m_nValue, whatever the type.
    int GetIntValue();
    /// m_fValue, whatever the type.
    double GetFloatValue();
    /// The key's own text (NULL when none); stores its length through length
    /// when length is not NULL.
    char* GetCharValue(int* length);

    /// Replaces the name by a copy of name (NULL removes it).
    void SetName(char const* name);
    /// The key's name, or NULL.
    char* GetName();
    /// Sets the null flag, which only the composite comparison consults.
    void SetNull(bool isNull);
    /// The null flag.
    bool IsNull();

    /// Sets the value from an int: integer as is, number converted, text
    /// formatted with "%d".
    void SetKey(int value);
    /// Sets the value from a double: integer truncated toward zero (NaN: 0,
    /// saturating at the 32-bit limits), number as is, text formatted with
    /// "%0.2lf" and cut to 63 characters.
    void SetKey(double value);
    /// Sets the value from text: integer read as strtol does (low 32 bits),
    /// number as strtod does, text copied. NULL changes nothing.
    void SetKey(char const* text);
    /// Sets the value from a buffer's text, as SetKey(char const*) does; a text
    /// key copies the buffer's length() bytes.
    void SetKey(CStringBuffer& text);

    /// Installs the process-wide text normalizer (NULL switches normalizing
    /// off) and the value passed as its third argument. Existing keys are not
    /// touched. Set it before keys are made and compared, from one thread.
    ///
    /// normalizer(text, length, data) is called with
    /// - text: a private copy of the key's text (never the key's own text and
    ///   never NULL), *length bytes followed by a NUL. It may change these
    ///   bytes in place but cannot grow the text: it writes at most *length
    ///   bytes and should leave the NUL alone.
    /// - length: in, the text's length in bytes; out, how many leading bytes
    ///   of text form the normalized copy. Leave it as it came to keep every
    ///   byte; a result below 0 counts as 0 and one above the input as the
    ///   input.
    /// - data: the value given here as data (read at each call).
    ///
    /// Its return value is ignored. It runs once each time a text key gets a
    /// text (NewCharKey, SetKey on a text key) and on Normalize(); never for a
    /// key without text, never during Compare. Clone and CopyTo copy the
    /// normalized copy as it is.
    ///
    /// Compare uses the normalized copies (memcmp; over a common prefix the
    /// shorter sorts first) only while a normalizer is installed and both keys
    /// have one; otherwise, after SetNormalizer(NULL, 0) or for a key made
    /// before the normalizer was installed, it compares the texts
    /// case-insensitively. Keys of one tree must all be made under the same
    /// normalizer, or the tree's order breaks.
    ///
    /// Example: ASCII lower case, the order Compare has without a normalizer,
    /// at the cost of one memcmp per comparison.
    ///
    ///     int lowerAscii(char* t, int* n, int)  // data unused; *n unchanged: every byte counts
    ///     { for (int i = 0; i < *n; ++i) if (t[i] >= 'A' && t[i] <= 'Z') t[i] += 32; return 0; }
    ///     BPlusKey::SetNormalizer(lowerAscii, 0);  // once, before the first key is made
    static void SetNormalizer(int (*normalizer)(char*, int*, int), int data);
    /// Remakes the normalized copy from the text with the installed
    /// normalizer (called with a fresh copy of the text, as SetNormalizer
    /// describes); does nothing without a normalizer or without text.
    void Normalize();

    /// The tree order: negative, 0 or positive as a sorts before, equal to or
    /// after b. a's type chooses the rule. a must not be NULL; b may be NULL
    /// only when a is composite.
    static int Compare(BPlusKey* a, BPlusKey* b);

    /// Lets go of the attached data without releasing it and returns it; the
    /// caller becomes responsible for it.
    IBPlusData* DetachData();

    /// The normalizer installed with SetNormalizer, or NULL.
    static int (*m_normalizer)(char*, int*, int);
    /// Third argument handed to the normalizer.
    static int m_nNormalizeData;

protected:
    EBPlusKeyType m_type;     ///< fixed at construction
    int m_nValue;             ///< integer value
    double m_fValue;          ///< number value
    char* m_szValue;          ///< text (core memory), or NULL
    int m_nLength;            ///< text length
    char* m_szNormalized;     ///< normalized copy (core memory), or NULL
    int m_nNormalizedLength;  ///< significant bytes of the normalized copy
    char* m_szName;           ///< optional name (core memory), or NULL
    bool m_bNull;             ///< stands for no value (composite comparison)
    IBPlusData* m_pData;      ///< attached data, or NULL

private:
    /// Reads the value fields to summarize a key for the tree's nodes.
    friend struct zarn::KeySummary;

    /// Makes text (core memory, length bytes) the key's text in place of the
    /// old one, and remakes the normalized copy from it.
    ZARNCRT_HIDDEN void TakeText(char* text, int length);
    /// The number setters: asInteger for an integer key, value for a number
    /// key, value printed with format for a text key.
    template <typename Number>
    ZARNCRT_HIDDEN void SetNumber(int asInteger, Number value, char const* format);
};

#endif
