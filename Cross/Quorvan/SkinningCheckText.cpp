// QuorvanSkinningCheckText: an answer of QuorvanSkinningCheck as one line.
//
// The line is put together here rather than by snprintf: the Microsoft-ABI
// build's C library (msvcrt.dll) has no reliable conversion of a 64-bit
// value, and its numbers are printed without a 64-bit division, which on
// i386 would call a runtime routine that build does not link.

#include "QuorvanSkinning.h"

namespace {

// Text cut to a capacity, as snprintf cuts it: it keeps the first
// capacity - 1 characters and a terminating zero, and counts them all.
class Line {
public:
    Line(char* text, uint32_t capacity) : m_text(text), m_capacity(text ? capacity : 0) {}

    Line& operator<<(const char* s) {
        while (*s) Put(*s++);
        return *this;
    }

    Line& operator<<(uint64_t n) {
        // Digit by digit from the highest power of ten below 2^64, by
        // subtraction.
        uint64_t powers[20];
        powers[0] = 1;
        for (int e = 1; e < 20; ++e) powers[e] = powers[e - 1] * 10;
        bool started = false;
        for (int e = 19; e >= 0; --e) {
            char digit = '0';
            for (; n >= powers[e]; n -= powers[e]) ++digit;
            started |= digit != '0' || e == 0;
            if (started) Put(digit);
        }
        return *this;
    }

    uint32_t Finish() {
        if (m_capacity != 0) m_text[m_length < m_capacity ? m_length : m_capacity - 1] = '\0';
        return m_length;
    }

private:
    void Put(char c) {
        if (m_length + 1 < m_capacity) m_text[m_length] = c;
        ++m_length;
    }

    char* m_text;
    uint32_t m_capacity, m_length = 0;
};

const char* AccessName(uint32_t access) {
    static const char* const kNames[] = {"position", "bone and weight", "normal", "tangent",
                                         "binormal", "pass-through",    "auxiliary"};
    return access < sizeof kNames / sizeof kNames[0] ? kNames[access] : "unknown";
}

// "the tangent store ends 12 bytes past the destination buffer"
void Outside(Line& line, const QuorvanSkinningCheckAnswer& a) {
    const bool store = a.problem == QuorvanSkinningCheckStoreBeforeBuffer ||
                       a.problem == QuorvanSkinningCheckStorePastBuffer;
    const bool before = a.problem == QuorvanSkinningCheckReadBeforeBuffer ||
                        a.problem == QuorvanSkinningCheckStoreBeforeBuffer;
    const char* buffer = store ? "destination" : a.access == QuorvanSkinningCheckAuxiliary ? "auxiliary" : "source";
    line << "vertex " << a.vertex << ": the " << AccessName(a.access) << (store ? " store " : " read ")
         << (before ? "starts " : "ends ") << a.bytes << (a.bytes == 1 ? " byte " : " bytes ")
         << (before ? "before the " : "past the ") << buffer << " buffer";
}

}  // namespace

uint32_t QuorvanSkinningCheckText(const QuorvanSkinningCheckAnswer* answer, char* text, uint32_t capacity) {
    Line line(text, capacity);
    QuorvanSkinningCheckAnswer a{};
    a.problem = QuorvanSkinningCheckNothingToCheck;
    if (answer) a = *answer;
    switch (a.problem) {
    case QuorvanSkinningCheckFine:
        line << "fine";
        break;
    case QuorvanSkinningCheckNothingToCheck:
        line << "nothing to check: the job or the buffer extents are missing";
        break;
    case QuorvanSkinningCheckUnsupportedExtraSize:
        line << "extraSize " << a.value << " is not one of 0, 4, ..., 84";
        break;
    case QuorvanSkinningCheckNoVertices:
        line << "vertexCount is 0";
        break;
    case QuorvanSkinningCheckReadBeforeBuffer:
    case QuorvanSkinningCheckReadPastBuffer:
    case QuorvanSkinningCheckStoreBeforeBuffer:
    case QuorvanSkinningCheckStorePastBuffer:
        Outside(line, a);
        break;
    case QuorvanSkinningCheckUnloadedBone:
        line << "vertex " << a.vertex << ": influence " << a.influence << " uses bone " << a.value
             << ", which is not loaded";
        break;
    default:
        line << "unknown problem " << a.problem;
    }
    const uint32_t overlaps = a.notes & (QuorvanSkinningCheckOverlapsSource | QuorvanSkinningCheckOverlapsAuxiliary);
    if (overlaps != 0) {
        line << "; note: the destination overlaps the "
             << (overlaps == QuorvanSkinningCheckOverlapsSource      ? "source"
                 : overlaps == QuorvanSkinningCheckOverlapsAuxiliary ? "auxiliary stream"
                                                                     : "source and the auxiliary stream");
    }
    return line.Finish();
}
