// KeywordScanner: one run of the keyword automaton over a text, appending a
// match record for every hit (used by AhoCorasickStringSearch).
//
//   KeywordScanner scanner(tree, caseSensitive, exactMatch, &matches);
//   scanner.Scan(piece, piece, piece + length);   // goes on from its state
//   scanner.Reset();                              // a new line
//
// A piece is the stretch of text the exact-match test may look into: a hit
// counts only when the bytes before and after it are not letters or digits
// (by isalnum of the lowered byte), a byte outside the piece counting as
// such a boundary. Bytes are lowered through tolower unless the search is
// case sensitive; the scanner never writes to the text.
//
// ScanStreams scans a stretch that starts in the empty state as up to eight
// streams at once, cut after bytes that occur in no keyword (every state
// goes back to the empty state on those, so each stream may start there):
// while one stream waits for memory the others step on. The hits of the
// later streams are gathered apart and appended in text order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "contscan/keyword_tree.h"

class KeywordScanner
{
public:
    KeywordScanner(const KEYWORDTREE *tree, bool caseSensitive, bool exactMatch,
                   KEYWORD_MATCH_SET *matches);

    void Reset() { m_state = 0; }
    // Length of the string the current state stands for.
    int Depth() const;
    // Lowers text in place through a table filled once from tolower (the
    // same bytes as tolower itself); nothing changes for a case-sensitive
    // scan.
    void Lower(unsigned char *text, size_t length) const;
    // Whether every state goes back to the empty state on a newline.
    bool NewlineResets() const { return m_class[static_cast<unsigned char>('\n')] == 0; }

    // Scans [from, end) of the piece [begin, end), going on from the
    // current state; false when a match record could not be allocated.
    bool Scan(const unsigned char *begin, const unsigned char *from, const unsigned char *end);
    // Scans the piece [begin, end) from the empty state, in streams.
    bool ScanStreams(const unsigned char *begin, const unsigned char *end);

private:
    struct Stream {
        const unsigned char *p;
        const unsigned char *end;
        uint32_t state;
        KEYWORD_MATCH_SET *matches;
    };

    uint32_t Step(uint32_t state, uint32_t c) const
    {
        return state < m_denseEnd ? m_rows[(state >> 1) + c] : SparseStep(state, c);
    }
    uint32_t SparseStep(uint32_t encoded, uint32_t c) const;
    bool ScanStream(Stream &stream, const unsigned char *begin, const unsigned char *end);
    template <int N>
    bool Interleave(Stream *streams, const unsigned char *begin, const unsigned char *end);
    template <int N>
    bool InterleaveUpTo(int count, Stream *streams, const unsigned char *begin,
                        const unsigned char *end);
    // Cuts [begin, end) into streams; returns how many.
    int CutStreams(const unsigned char *begin, const unsigned char *end, Stream *streams,
                   KEYWORD_MATCH_SET *later);
    bool StandsAlone(const unsigned char *begin, const unsigned char *start,
                     const unsigned char *last, const unsigned char *end) const;
    bool Report(uint32_t encoded, const unsigned char *begin, const unsigned char *last,
                const unsigned char *end, KEYWORD_MATCH_SET *matches);

    const KEYWORDTREE *m_tree;
    const uint32_t *m_rows;
    bool m_exactMatch;
    KEYWORD_MATCH_SET *m_matches;
    uint32_t m_denseEnd;
    uint32_t m_state = 0;
    const uint8_t *m_lower;    // 256 entries; identity when case sensitive
    const uint8_t *m_wordByte; // 256 entries
    bool m_asciiLower;         // folding case, and m_lower lowers just 'A'-'Z'
    uint8_t m_class[256];
};
