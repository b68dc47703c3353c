// KeywordScanner: stepping the keyword automaton over text and reporting its
// hits (see keyword_scanner.h).
#include <algorithm>
#include <cctype>

#include "contscan/keyword_scanner.h"

namespace
{

constexpr int kMaxStreams = 8;
// A stretch shorter than this per stream is not worth cutting.
constexpr size_t kMinStreamBytes = 2048;
// How far past its ideal place a cut may move to find a byte of no keyword.
constexpr size_t kCutSearch = 1024;

// What a byte is for a scan, filled once per case mode from tolower and
// isalnum: the byte as scanned, and whether it is a letter or digit.
struct ByteTables {
    uint8_t lower[256]; // identity when case sensitive
    uint8_t wordByte[256];
    bool asciiLower = true; // lower moves exactly 'A'-'Z' to 'a'-'z'

    explicit ByteTables(bool caseSensitive)
    {
        for (int c = 0; c < 256; ++c) {
            int lowered = caseSensitive ? c : std::tolower(c);
            lower[c] = static_cast<uint8_t>(lowered);
            wordByte[c] = std::isalnum(lowered) ? 1 : 0;
            asciiLower = asciiLower && lowered == AsciiLower(c);
        }
    }
    static int AsciiLower(int c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; }
};

const ByteTables &TablesFor(bool caseSensitive)
{
    static const ByteTables sensitive(true), folded(false);
    return caseSensitive ? sensitive : folded;
}

} // namespace

KeywordScanner::KeywordScanner(const KEYWORDTREE *tree, bool caseSensitive, bool exactMatch,
                               KEYWORD_MATCH_SET *matches)
    : m_tree(tree), m_rows(tree->m_Rows.data()), m_exactMatch(exactMatch), m_matches(matches),
      m_denseEnd((tree->m_nDenseStates * tree->m_nClasses) << 1),
      m_lower(TablesFor(caseSensitive).lower), m_wordByte(TablesFor(caseSensitive).wordByte),
      m_asciiLower(!caseSensitive && TablesFor(caseSensitive).asciiLower)
{
    for (int c = 0; c < 256; ++c)
        m_class[c] = tree->m_ByteClass[m_lower[c]];
}

void KeywordScanner::Lower(unsigned char *text, size_t length) const
{
    if (m_asciiLower) {
        // The table of the usual locales, as arithmetic the compiler turns
        // into vector instructions.
        for (size_t i = 0; i < length; ++i) {
            const unsigned char byte = text[i];
            text[i] = static_cast<unsigned char>(
                byte + (static_cast<unsigned char>(byte - 'A') < 26 ? 'a' - 'A' : 0));
        }
        return;
    }
    for (size_t i = 0; i < length; ++i)
        text[i] = m_lower[text[i]];
}

int KeywordScanner::Depth() const
{
    return m_tree->m_States[DecodeKeywordState(m_tree, m_state)].m_nDepth;
}

// A step from a state without a row: its children, else its failure state's,
// until a state with a row answers.
uint32_t KeywordScanner::SparseStep(uint32_t encoded, uint32_t c) const
{
    if (c == 0)
        return 0;
    uint32_t state = (encoded >> 1) - m_tree->m_nSparseBias;
    const KeywordState *states = m_tree->m_States.data();
    while (state >= m_tree->m_nDenseStates) {
        const KeywordState &info = states[state];
        if (uint32_t child = FindStateChild(m_tree, info, c))
            return EncodeKeywordState(m_tree, child);
        state = info.m_nFailure;
    }
    return m_rows[state * m_tree->m_nClasses + c];
}

bool KeywordScanner::Scan(const unsigned char *begin, const unsigned char *from,
                          const unsigned char *end)
{
    Stream stream{from, end, m_state, m_matches};
    bool scanned = ScanStream(stream, begin, end);
    m_state = stream.state;
    return scanned;
}

bool KeywordScanner::ScanStream(Stream &stream, const unsigned char *begin,
                                const unsigned char *end)
{
    const uint8_t *classes = m_class;
    const uint32_t *rows = m_rows;
    const uint32_t denseEnd = m_denseEnd;
    uint32_t state = stream.state;
    for (const unsigned char *p = stream.p; p < stream.end; ++p) {
        uint32_t c = classes[*p];
        state = state < denseEnd ? rows[(state >> 1) + c] : SparseStep(state, c);
        if ((state & 1) && !Report(state, begin, p, end, stream.matches)) {
            stream.state = state;
            return false;
        }
    }
    stream.p = stream.end;
    stream.state = state;
    return true;
}

// Steps N streams byte by byte side by side as long as all have bytes, then
// finishes each alone.
template <int N>
bool KeywordScanner::Interleave(Stream *streams, const unsigned char *begin,
                                const unsigned char *end)
{
    const uint8_t *classes = m_class;
    const uint32_t *rows = m_rows;
    const uint32_t denseEnd = m_denseEnd;
    size_t common = static_cast<size_t>(streams[0].end - streams[0].p);
    uint32_t state[N];
    for (int i = 0; i < N; ++i) {
        common = std::min(common, static_cast<size_t>(streams[i].end - streams[i].p));
        state[i] = streams[i].state;
    }
    for (size_t k = 0; k < common; ++k) {
        for (int i = 0; i < N; ++i) {
            uint32_t c = classes[streams[i].p[k]];
            state[i] = state[i] < denseEnd ? rows[(state[i] >> 1) + c] : SparseStep(state[i], c);
            if ((state[i] & 1) &&
                !Report(state[i], begin, streams[i].p + k, end, streams[i].matches))
                return false;
        }
    }
    for (int i = 0; i < N; ++i) {
        streams[i].p += common;
        streams[i].state = state[i];
        if (!ScanStream(streams[i], begin, end))
            return false;
    }
    return true;
}

// Interleave<count> for a count from 1 to N.
template <int N>
bool KeywordScanner::InterleaveUpTo(int count, Stream *streams, const unsigned char *begin,
                                    const unsigned char *end)
{
    if constexpr (N > 1) {
        if (count < N)
            return InterleaveUpTo<N - 1>(count, streams, begin, end);
    }
    return Interleave<N>(streams, begin, end);
}

int KeywordScanner::CutStreams(const unsigned char *begin, const unsigned char *end,
                               Stream *streams, KEYWORD_MATCH_SET *later)
{
    size_t length = static_cast<size_t>(end - begin);
    size_t wanted = std::min<size_t>(kMaxStreams, std::max<size_t>(1, length / kMinStreamBytes));
    int count = 0;
    const unsigned char *start = begin;
    for (size_t i = 1; i < wanted; ++i) {
        const unsigned char *cut = std::max(begin + length * i / wanted, start + 1);
        const unsigned char *limit = std::min(end, cut + kCutSearch);
        while (cut < limit && m_class[cut[-1]] != 0)
            ++cut;
        if (cut >= limit)
            continue;
        streams[count] = Stream{start, cut, 0, count == 0 ? m_matches : &later[count]};
        ++count;
        start = cut;
    }
    streams[count] = Stream{start, end, 0, count == 0 ? m_matches : &later[count]};
    return count + 1;
}

bool KeywordScanner::ScanStreams(const unsigned char *begin, const unsigned char *end)
{
    Stream streams[kMaxStreams];
    KEYWORD_MATCH_SET later[kMaxStreams] = {};
    int count = CutStreams(begin, end, streams, later);
    bool scanned = InterleaveUpTo<kMaxStreams>(count, streams, begin, end);
    for (int i = 1; i < count; ++i) {
        if (scanned)
            AppendKeywordMatchSet(m_matches, &later[i]);
        else
            FreeKeywordMatchSet(&later[i]);
    }
    m_state = streams[count - 1].state;
    return scanned;
}

bool KeywordScanner::StandsAlone(const unsigned char *begin, const unsigned char *start,
                                 const unsigned char *last, const unsigned char *end) const
{
    if (start > begin && m_wordByte[start[-1]])
        return false;
    return last + 1 >= end || !m_wordByte[last[1]];
}

// Appends the outputs of the state reached at byte last: those of its output
// suffixes, shortest first, then its own.
bool KeywordScanner::Report(uint32_t encoded, const unsigned char *begin, const unsigned char *last,
                            const unsigned char *end, KEYWORD_MATCH_SET *matches)
{
    const KeywordStateOutputs *chain[OV_KEYWORD_DEPTH_LISTS];
    int links = 0;
    const KeywordStateOutputs *outputs =
        &KeywordStateOutputsOf(m_tree, DecodeKeywordState(m_tree, encoded));
    if (outputs->m_nCount == 0)
        outputs = &KeywordStateOutputsOf(m_tree, outputs->m_nSuffix);
    for (;;) {
        chain[links++] = outputs;
        if (!outputs->m_nSuffix || links == OV_KEYWORD_DEPTH_LISTS)
            break;
        outputs = &KeywordStateOutputsOf(m_tree, outputs->m_nSuffix);
    }
    while (links > 0) {
        outputs = chain[--links];
        if (m_exactMatch && !StandsAlone(begin, last + 1 - outputs->m_nDepth, last, end))
            continue;
        for (uint32_t i = 0; i < outputs->m_nCount; ++i) {
            if (!AddKeywordMatchInfo(matches, &m_tree->m_Outputs[outputs->m_nFirst + i]))
                return false;
        }
    }
    return true;
}
